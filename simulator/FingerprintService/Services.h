// The process as the service control manager runs it, and its registration there: under the name of the
// fingerprint service, and under that of the sensor vendor's, which runs and does nothing that anyone in this
// system could see.
#pragma once

#include <windows.h>

/// Serves under the name until the manager stops the service. ERROR_FAILED_SERVICE_CONTROLLER_CONNECT when
/// the process was not started by the manager.
DWORD RunAsService(wchar_t* name);

/// Creates both services, or points those that are there at this program. Changes nothing when one of them is
/// another program's. False, with the reason on the standard error, when that or anything else is in the way.
bool InstallServices();
/// Stops and deletes the services; one that is not there is no error. Another program's is left alone, and
/// named.
bool UninstallServices();
