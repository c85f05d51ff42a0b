#include "ServiceClient/ServiceProcess.h"

#include "ServiceClient/ServiceControl.h"
#include "Text.h"

extern "C" LONG NTAPI NtSuspendProcess(HANDLE process);
extern "C" LONG NTAPI NtResumeProcess(HANDLE process);

namespace ServiceClient {
namespace {

constexpr int StartAttempts = 5;
constexpr DWORD StartPause = 300;
constexpr DWORD AnswerLimit = 20000;
constexpr DWORD ProbePatience = 100;
constexpr DWORD KillLimit = 5000;
/// The service's exit code when it found that it cannot serve, for instance because another one does.
constexpr DWORD RefusedToServe = 1;

} // namespace

bool ServiceProcess::Start()
{
    Kill();
    wchar_t path[MAX_PATH];
    std::wstring program(path, GetModuleFileNameW(nullptr, path, MAX_PATH));
    program.replace(program.find_last_of(L'\\') + 1, std::wstring::npos, L"FingerprintService.exe");
    // A process start fails now and then on a loaded machine, and succeeds when repeated.
    for (int attempt = 0; attempt < StartAttempts; ++attempt) {
        if (attempt > 0)
            Sleep(StartPause);
        if (!Launch(program.c_str()))
            continue;
        if (WaitForAnswer())
            return true;
        DWORD exitCode = STILL_ACTIVE;
        GetExitCodeProcess(m_process.Get(), &exitCode);
        Kill();
        if (exitCode == RefusedToServe)
            return false;
    }
    return false;
}

bool ServiceProcess::Launch(const wchar_t* program)
{
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    wchar_t commandLine[] = L"FingerprintService --console";
    if (!CreateProcessW(program, commandLine, nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr, nullptr,
                        &startup, &process))
        return false;
    CloseHandle(process.hThread);
    m_process.Reset(process.hProcess);
    return true;
}

bool ServiceProcess::WaitForAnswer() const
{
    // The answer must be the child's own: a service left over from elsewhere answers as well.
    const std::wstring own = Format(L"ok process %lu,", GetProcessId(m_process.Get()));
    const ULONGLONG deadline = GetTickCount64() + AnswerLimit;
    while (IsRunning() && GetTickCount64() < deadline) {
        const std::optional<std::wstring> reply = Tell(L"state", ProbePatience);
        if (reply && reply->starts_with(own))
            return true;
        if (reply)
            Sleep(ProbePatience);
    }
    return false;
}

bool ServiceProcess::IsRunning() const
{
    return m_process && WaitForSingleObject(m_process.Get(), 0) == WAIT_TIMEOUT;
}

bool ServiceProcess::Suspend() const
{
    return NtSuspendProcess(m_process.Get()) == 0;
}

bool ServiceProcess::Resume() const
{
    return NtResumeProcess(m_process.Get()) == 0;
}

void ServiceProcess::Kill()
{
    if (IsRunning()) {
        TerminateProcess(m_process.Get(), ERROR_PROCESS_ABORTED);
        WaitForSingleObject(m_process.Get(), KillLimit);
    }
    m_process.Reset();
}

} // namespace ServiceClient
