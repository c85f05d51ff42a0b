// The process as the service control manager runs it.
#pragma once

#include <string>

constexpr wchar_t kFingerprintServiceName[] = L"VexaFPService";
/// The sensor vendor's service: runs, and does nothing that anyone in this system could see.
constexpr wchar_t kSensorServiceName[] = L"vcsFPService";

/// Serves under the name until the manager stops the service. The exit code of the process; fails when the
/// process was not started by the manager.
int RunAsService(const std::wstring& name);
