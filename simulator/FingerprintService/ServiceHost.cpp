#include "ServiceHost.h"

#include "FingerprintServer.h"
#include "Simulation.h"

namespace {

// Who asks for the state of a pending service sleeps for the hint, so it is short.
constexpr DWORD kPendingHint = 200;

// The entry point that the manager calls takes no argument of ours.
std::wstring g_name;

class Status {
public:
    bool Register()
    {
        m_handle = RegisterServiceCtrlHandlerExW(g_name.c_str(), Handler, this);
        return m_handle != nullptr;
    }

    void Report(DWORD state, DWORD exitCode = NO_ERROR)
    {
        bool pending = state == SERVICE_START_PENDING || state == SERVICE_STOP_PENDING;
        SERVICE_STATUS status = {};
        status.dwServiceType = SERVICE_WIN32_OWN_PROCESS;
        status.dwCurrentState = state;
        status.dwControlsAccepted =
            state == SERVICE_RUNNING ? SERVICE_ACCEPT_STOP | SERVICE_ACCEPT_SHUTDOWN : 0;
        status.dwWin32ExitCode = exitCode;
        status.dwCheckPoint = pending ? 1 : 0;
        status.dwWaitHint = pending ? kPendingHint : 0;
        SetServiceStatus(m_handle, &status);
    }

private:
    static DWORD WINAPI Handler(DWORD code, DWORD, void*, void* self)
    {
        switch (code) {
        case SERVICE_CONTROL_STOP:
        case SERVICE_CONTROL_SHUTDOWN:
            static_cast<Status*>(self)->Report(SERVICE_STOP_PENDING);
            Simulation::Instance().Quit();
            return NO_ERROR;
        case SERVICE_CONTROL_INTERROGATE:
            return NO_ERROR;
        default:
            return ERROR_CALL_NOT_IMPLEMENTED;
        }
    }

    SERVICE_STATUS_HANDLE m_handle = nullptr;
};

// Controls may come in until the process ends, so the status outlives ServiceMain.
Status g_status;

// Windows' manager notices at once when a service's process is gone. Not every manager does, so a scripted
// death reports what would be found.
void ReportDeath()
{
    g_status.Report(SERVICE_STOPPED, ERROR_PROCESS_ABORTED);
}

void WINAPI ServiceMain(DWORD, wchar_t**)
{
    if (!g_status.Register())
        return;
    g_status.Report(SERVICE_START_PENDING);
    Simulation::Instance().Sensor().OnDeath(ReportDeath);
    FingerprintServer server;
    DWORD error = g_name == kFingerprintServiceName ? server.Start() : ERROR_SUCCESS;
    if (error == ERROR_SUCCESS) {
        g_status.Report(SERVICE_RUNNING);
        WaitForSingleObject(Simulation::Instance().QuitEvent(), INFINITE);
        g_status.Report(SERVICE_STOP_PENDING);
    }
    // Only a service that no longer serves is stopped: a start may follow this report at once.
    server.Stop();
    g_status.Report(SERVICE_STOPPED, error);
}

} // namespace

int RunAsService(const std::wstring& name)
{
    g_name = name;
    SERVICE_TABLE_ENTRYW table[] = {{g_name.data(), ServiceMain}, {nullptr, nullptr}};
    return StartServiceCtrlDispatcherW(table) ? 0 : 1;
}
