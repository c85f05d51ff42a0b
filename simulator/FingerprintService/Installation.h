// Registers this program with the service control manager as both services.
#pragma once

#include <windows.h>

/// Creates the services, or points those that exist at this program. The error of what failed.
DWORD InstallServices();
/// Stops and deletes the services; one that is not there is no error.
DWORD UninstallServices();
