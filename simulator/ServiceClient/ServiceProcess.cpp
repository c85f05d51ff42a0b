#include "ServiceClient/ServiceProcess.h"

#include "ServiceClient/PipeConnection.h"
#include "ServiceClient/ServiceControl.h"

namespace ServiceClient {
namespace {

constexpr int kStartAttempts = 5;
constexpr DWORD kStartPause = 300;
constexpr DWORD kAnswerLimit = 20000;
constexpr DWORD kProbePatience = 100;
constexpr DWORD kKillLimit = 5000;
/// The service's exit code when it found that it cannot serve, for instance because another one does.
constexpr DWORD kRefusedToServe = 1;
constexpr wchar_t kDefaultExecutable[] = L"FingerprintService.exe";

std::wstring BesideThisProgram(const wchar_t* name)
{
    wchar_t path[MAX_PATH];
    std::wstring own(path, GetModuleFileNameW(nullptr, path, MAX_PATH));
    return own.substr(0, own.find_last_of(L'\\') + 1) + name;
}

} // namespace

ServiceProcess& ServiceProcess::operator=(ServiceProcess&& other) noexcept
{
    Kill();
    m_process = std::move(other.m_process);
    m_id = other.m_id;
    return *this;
}

bool ServiceProcess::Start(const std::wstring& executable)
{
    Kill();
    std::wstring path = executable.empty() ? BesideThisProgram(kDefaultExecutable) : executable;
    // A process start fails now and then on a loaded machine, and succeeds when repeated.
    for (int attempt = 0; attempt < kStartAttempts; ++attempt) {
        if (attempt > 0)
            Sleep(kStartPause);
        if (Launch(L"\"" + path + L"\" --console")) {
            if (WaitForAnswer())
                return true;
            DWORD exitCode = STILL_ACTIVE;
            GetExitCodeProcess(m_process.Get(), &exitCode);
            Kill();
            if (exitCode == kRefusedToServe)
                return false;
        } else if (GetLastError() == ERROR_FILE_NOT_FOUND || GetLastError() == ERROR_PATH_NOT_FOUND) {
            return false;
        }
    }
    return false;
}

bool ServiceProcess::Launch(std::wstring commandLine)
{
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process = {};
    if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW, nullptr,
                        nullptr, &startup, &process))
        return false;
    CloseHandle(process.hThread);
    m_process.Reset(process.hProcess);
    m_id = process.dwProcessId;
    return true;
}

bool ServiceProcess::WaitForAnswer() const
{
    // The answer must be the child's own: a service left over from elsewhere answers as well.
    std::wstring ownLine = L"\nprocess " + std::to_wstring(m_id) + L"\n";
    ULONGLONG deadline = GetTickCount64() + kAnswerLimit;
    while (IsRunning() && Remaining(deadline) > 0) {
        std::optional<std::wstring> reply = Tell(L"state", kProbePatience);
        if (reply && reply->find(ownLine) != std::wstring::npos)
            return true;
        if (reply)
            Sleep(kProbePatience);
    }
    return false;
}

bool ServiceProcess::IsRunning() const
{
    return m_process && WaitForSingleObject(m_process.Get(), 0) == WAIT_TIMEOUT;
}

bool ServiceProcess::WaitForEnd(DWORD milliseconds) const
{
    return m_process && WaitForSingleObject(m_process.Get(), milliseconds) == WAIT_OBJECT_0;
}

bool ServiceProcess::Quit(DWORD milliseconds) const
{
    return IsRunning() && TellOk(L"quit") && WaitForEnd(milliseconds);
}

void ServiceProcess::Kill()
{
    if (IsRunning()) {
        TerminateProcess(m_process.Get(), ERROR_PROCESS_ABORTED);
        WaitForSingleObject(m_process.Get(), kKillLimit);
    }
    m_process.Reset();
    m_id = 0;
}

} // namespace ServiceClient
