#include "Installation.h"

#include "ServiceHost.h"
#include "base/Handle.h"
#include "ServiceClient/PipeConnection.h"

namespace {

constexpr DWORD kStopLimit = 10000;
constexpr DWORD kStopPause = 50;

struct Registration {
    const wchar_t* name;
    const wchar_t* title;
};
constexpr Registration kServices[] = {
    {kSensorServiceName, L"Biometric service (simulated)"},
    {kFingerprintServiceName, L"Fingerprint service (simulated)"},
};

std::wstring CommandLine(const wchar_t* name)
{
    wchar_t path[MAX_PATH];
    std::wstring own(path, GetModuleFileNameW(nullptr, path, MAX_PATH));
    return L"\"" + own + L"\" --service " + name;
}

DWORD Install(SC_HANDLE manager, const Registration& registration)
{
    std::wstring command = CommandLine(registration.name);
    ServiceHandle service(CreateServiceW(manager, registration.name, registration.title,
                                         SERVICE_CHANGE_CONFIG, SERVICE_WIN32_OWN_PROCESS,
                                         SERVICE_DEMAND_START, SERVICE_ERROR_NORMAL, command.c_str(), nullptr,
                                         nullptr, nullptr, nullptr, nullptr));
    if (service)
        return ERROR_SUCCESS;
    if (GetLastError() != ERROR_SERVICE_EXISTS)
        return GetLastError();
    service.Reset(OpenServiceW(manager, registration.name, SERVICE_CHANGE_CONFIG));
    if (!service || !ChangeServiceConfigW(service.Get(), SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START,
                                          SERVICE_ERROR_NORMAL, command.c_str(), nullptr, nullptr, nullptr,
                                          nullptr, nullptr, registration.title))
        return GetLastError();
    return ERROR_SUCCESS;
}

void StopAndWait(SC_HANDLE service)
{
    SERVICE_STATUS status = {};
    if (!ControlService(service, SERVICE_CONTROL_STOP, &status))
        return;
    ULONGLONG deadline = GetTickCount64() + kStopLimit;
    while (QueryServiceStatus(service, &status) && status.dwCurrentState != SERVICE_STOPPED &&
           ServiceClient::Remaining(deadline) > 0)
        Sleep(kStopPause);
}

DWORD Uninstall(SC_HANDLE manager, const Registration& registration)
{
    ServiceHandle service(
        OpenServiceW(manager, registration.name, SERVICE_STOP | SERVICE_QUERY_STATUS | DELETE));
    if (!service)
        return GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST ? ERROR_SUCCESS : GetLastError();
    StopAndWait(service.Get());
    if (!DeleteService(service.Get()) && GetLastError() != ERROR_SERVICE_MARKED_FOR_DELETE)
        return GetLastError();
    return ERROR_SUCCESS;
}

DWORD ForEachService(DWORD managerAccess, DWORD (*apply)(SC_HANDLE, const Registration&))
{
    ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, managerAccess));
    if (!manager)
        return GetLastError();
    DWORD firstError = ERROR_SUCCESS;
    for (const Registration& registration : kServices) {
        DWORD error = apply(manager.Get(), registration);
        if (firstError == ERROR_SUCCESS)
            firstError = error;
    }
    return firstError;
}

} // namespace

DWORD InstallServices()
{
    return ForEachService(SC_MANAGER_CONNECT | SC_MANAGER_CREATE_SERVICE, Install);
}

DWORD UninstallServices()
{
    return ForEachService(SC_MANAGER_CONNECT, Uninstall);
}
