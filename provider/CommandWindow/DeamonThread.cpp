// The watchdog: keeps the services and the identification thread running.
#include "Workers.h"

#include "CommandWindow.h"
#include "LogFile.h"
#include "Service.h"

namespace {

constexpr char LogSource[] = "CommandWindow.cpp";
constexpr char Label[] = "DeamonThread";

constexpr DWORD Pause = 200;       // ms
constexpr DWORD WatchSlice = 5000; // ms
constexpr int RunLimit = 3;

/// How watching one run of ThreadFP ended.
enum class Watched {
    End,    // nothing is left to watch
    Failed, // ThreadFP is to be started again
};

/// Waits as long as a service is pending, unless the window is about to go.
class ServiceQuery {
public:
    explicit ServiceQuery(const CCommandWindow& window) : m_window(window) {}

    int IsRunning(const wchar_t* service) { return IsServiceRunning(service, GoOn, this); }
    bool WasGivenUp() const { return m_givenUp; }

private:
    static bool GoOn(void* query)
    {
        auto* const self = static_cast<ServiceQuery*>(query);
        self->m_givenUp = self->m_window.ReadStop() != StopState::Run;
        return !self->m_givenUp;
    }

    const CCommandWindow& m_window;
    bool m_givenUp = false;
};

/// False when the window has gone, or is to go while a service is pending: there is nothing left to watch.
bool RestartStoppedServices(const CCommandWindow& window)
{
    // Only the fingerprint service is restarted, also when it is the sensor's that is down; nobody waits for
    // the commands beyond the pauses, nor looks at their results.
    ServiceQuery query(window);
    const int sensorService = query.IsRunning(L"vcsFPService");
    const int fingerprintService = sensorService != 0 ? query.IsRunning(L"VexaFPService") : 0;
    if (query.WasGivenUp() || window.IsClosed())
        return false;
    if (sensorService != 0 && fingerprintService != 0)
        return true;
    FP_LOG(Label, L"vcsFPService stopped %d %d", sensorService, fingerprintService);
    WinExec("net stop VexaFPService", SW_HIDE);
    Sleep(Pause);
    WinExec("net start VexaFPService", SW_HIDE);
    Sleep(Pause);
    return !window.IsClosed();
}

DWORD ExitCodeOf(const KernelHandle& thread)
{
    DWORD exitCode = 0;
    GetExitCodeThread(thread.Get(), &exitCode);
    return exitCode;
}

/// The window is about to go: gives ThreadFP time to notice. True when it ended deliberately.
bool AwaitStop(const KernelHandle& thread)
{
    // Nothing is terminated; the texts bracket the wait.
    FP_LOG(Label, L"TerminateThread 1");
    const DWORD waited = WaitForSingleObject(thread.Get(), WatchSlice);
    FP_LOG(Label, L"TerminateThread 2");
    return waited == WAIT_OBJECT_0 && ExitCodeOf(thread) == 0;
}

Watched Watch(CCommandWindow& window, KernelHandle& thread)
{
    for (;;) {
        const StopState stop = window.TakeStop();
        if (stop == StopState::Closed)
            return Watched::End;
        if (stop == StopState::Stop && AwaitStop(thread)) {
            thread.Release(); // left open, deliberately
            return Watched::End;
        }
        const DWORD waited = WaitForSingleObject(thread.Get(), WatchSlice);
        if (waited == WAIT_OBJECT_0)
            break;
        if (waited != WAIT_TIMEOUT) {
            thread.Release(); // left open, deliberately
            return Watched::Failed;
        }
        FP_LOG(Label, L"WAIT_TIMEOUT");
    }
    FP_LOG(Label, L"WAIT_OBJECT_0");
    if (ExitCodeOf(thread) != 0)
        return Watched::Failed;
    FP_LOG(Label, L"GetExitCodeThread 0");
    thread.Release(); // left open, deliberately
    return Watched::End;
}

Watched RunThreadFP(CCommandWindow& window)
{
    KernelHandle thread = window.StartThread<ThreadFP>();
    return thread ? Watch(window, thread) : Watched::Failed;
}

} // namespace

DWORD DeamonThread(void* argument)
{
    auto& window = *static_cast<CCommandWindow*>(argument);
    FP_LOG(Label, L"start");
    for (int failures = 0; failures < RunLimit; ++failures) {
        if (!RestartStoppedServices(window) || RunThreadFP(window) == Watched::End || window.IsClosed())
            return 0;
        FP_LOG(Label, L"GetExitCodeThread != 0");
        Sleep(Pause);
        if (window.IsClosed())
            return 0;
    }
    window.ShowPrompt(MSG_SENSOR_FAILED);
    FP_LOG(Label, L"end");
    return 0;
}
