#include "Services.h"

#include "Server.h"
#include "ServiceState.h"
#include "Text.h"
#include "base/Handle.h"

namespace {

constexpr wchar_t FingerprintService[] = L"VexaFPService";
constexpr struct {
    const wchar_t* name;
    const wchar_t* title;
} Services[] = {
    {L"vcsFPService", L"Biometric service (simulated)"},
    {FingerprintService, L"Fingerprint service (simulated)"},
};

constexpr DWORD StopLimit = 10000;
constexpr DWORD StopPause = 50;
// Who asks for the state of a pending service sleeps for the hint, so it is short.
constexpr DWORD PendingHint = 200;

// The functions that the manager calls take no argument of ours, and controls may come in until the process
// ends.
const wchar_t* g_name;
SERVICE_STATUS_HANDLE g_status;

void ReportStatus(DWORD state, DWORD exitCode = NO_ERROR)
{
    const bool pending = state == SERVICE_START_PENDING || state == SERVICE_STOP_PENDING;
    SERVICE_STATUS status = {};
    status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
    status.dwCurrentState = state;
    status.dwControlsAccepted = state == SERVICE_RUNNING ? SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN : 0;
    status.dwWin32ExitCode = exitCode;
    status.dwCheckPoint = pending ? 1 : 0;
    status.dwWaitHint = pending ? PendingHint : 0;
    SetServiceStatus(g_status, &status);
}

DWORD WINAPI OnControl(DWORD code, DWORD, void*, void*)
{
    switch (code) {
    case SERVICE_CONTROL_STOP:
    case SERVICE_CONTROL_SHUTDOWN:
        ReportStatus(SERVICE_STOP_PENDING);
        Locked()->quit = true;
        return NO_ERROR;
    case SERVICE_CONTROL_INTERROGATE:
        return NO_ERROR;
    default:
        return ERROR_CALL_NOT_IMPLEMENTED;
    }
}

void WINAPI ServiceMain(DWORD, wchar_t**)
{
    g_status = RegisterServiceCtrlHandlerExW(g_name, OnControl, nullptr);
    if (!g_status)
        return;
    ReportStatus(SERVICE_START_PENDING);
    FingerprintServer server;
    const DWORD error = wcscmp(g_name, FingerprintService) == 0 ? server.Start() : ERROR_SUCCESS;
    if (error == ERROR_SUCCESS) {
        ReportStatus(SERVICE_RUNNING);
        WaitForQuit();
        ReportStatus(SERVICE_STOP_PENDING);
    }
    // Only a service that no longer serves is stopped: a start may follow this report at once.
    server.Stop();
    ReportStatus(SERVICE_STOPPED, error);
}

std::wstring OwnPath()
{
    wchar_t path[MAX_PATH];
    return {path, GetModuleFileNameW(nullptr, path, MAX_PATH)};
}

std::wstring Arguments(const wchar_t* name)
{
    return std::wstring(L"\" --service ") + name;
}

/// The command line that the manager starts the service with; empty when it can't be had.
std::wstring CommandOf(SC_HANDLE service)
{
    DWORD bytes = 0;
    QueryServiceConfigW(service, nullptr, 0, &bytes);
    std::vector<BYTE> buffer(bytes);
    auto* const config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer.data());
    if (buffer.empty() || !QueryServiceConfigW(service, config, bytes, &bytes))
        return {};
    return config->lpBinaryPathName;
}

/// A copy of this program in another folder counts as this program.
bool IsOurs(const std::wstring& command, const wchar_t* name)
{
    const std::wstring own = OwnPath();
    const std::wstring end = own.substr(own.find_last_of(L'\\')) + Arguments(name);
    return command.size() > end.size() && CompareStringOrdinal(command.c_str() + command.size() - end.size(),
                                                               -1, end.c_str(), -1, TRUE) == CSTR_EQUAL;
}

bool Failed(const wchar_t* what, DWORD error = GetLastError())
{
    PrintError(Format(L"%s: %s\n", what, ErrorText(error).c_str()));
    return false;
}

/// Nothing when there is none or it is ours.
bool IsFree(SC_HANDLE manager, const wchar_t* name)
{
    const ServiceHandle service(OpenServiceW(manager, name, SERVICE_QUERY_CONFIG));
    if (!service)
        return GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST || Failed(name);
    const std::wstring command = CommandOf(service.Get());
    if (IsOurs(command, name))
        return true;
    PrintError(Format(L"%s is another program's service and is left alone: %s\n", name, command.c_str()));
    return false;
}

bool Install(SC_HANDLE manager, const wchar_t* name, const wchar_t* title)
{
    const std::wstring command = L"\"" + OwnPath() + Arguments(name);
    const ServiceHandle made(CreateServiceW(
        manager, name, title, SERVICE_CHANGE_CONFIG, SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START,
        SERVICE_ERROR_NORMAL, command.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr));
    if (made)
        return true;
    if (GetLastError() != ERROR_SERVICE_EXISTS)
        return Failed(name);
    const ServiceHandle service(OpenServiceW(manager, name, SERVICE_CHANGE_CONFIG));
    return (service && ChangeServiceConfigW(service.Get(), SERVICE_WIN32_OWN_PROCESS, SERVICE_DEMAND_START,
                                            SERVICE_ERROR_NORMAL, command.c_str(), nullptr, nullptr, nullptr,
                                            nullptr, nullptr, title)) ||
           Failed(name);
}

void StopAndWait(SC_HANDLE service)
{
    SERVICE_STATUS status = {};
    if (!ControlService(service, SERVICE_CONTROL_STOP, &status))
        return;
    const ULONGLONG deadline = GetTickCount64() + StopLimit;
    while (QueryServiceStatus(service, &status) && status.dwCurrentState != SERVICE_STOPPED &&
           GetTickCount64() < deadline)
        Sleep(StopPause);
}

bool Uninstall(SC_HANDLE manager, const wchar_t* name)
{
    const ServiceHandle service(OpenServiceW(manager, name, SERVICE_STOP | SERVICE_QUERY_STATUS | DELETE));
    if (!service)
        return GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST || Failed(name);
    StopAndWait(service.Get());
    return DeleteService(service.Get()) || GetLastError() == ERROR_SERVICE_MARKED_FOR_DELETE || Failed(name);
}

} // namespace

DWORD RunAsService(wchar_t* name)
{
    g_name = name;
    const SERVICE_TABLE_ENTRYW table[] = {{name, ServiceMain}, {nullptr, nullptr}};
    return StartServiceCtrlDispatcherW(table) ? ERROR_SUCCESS : GetLastError();
}

bool InstallServices()
{
    const ServiceHandle manager(
        OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT | SC_MANAGER_CREATE_SERVICE));
    if (!manager)
        return Failed(L"service control manager");
    bool good = true;
    for (const auto& [name, title] : Services)
        good &= IsFree(manager.Get(), name);
    for (const auto& [name, title] : Services)
        good = good && Install(manager.Get(), name, title);
    return good;
}

bool UninstallServices()
{
    const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    if (!manager)
        return Failed(L"service control manager");
    bool good = true;
    for (const auto& [name, title] : Services)
        good &= IsFree(manager.Get(), name) && Uninstall(manager.Get(), name);
    return good;
}
