// A stand-in for LogonUI; see Options.cpp for what it does.
#include "LogonSession.h"
#include "Names.h"
#include "Registration.h"
#include "Watchdog.h"

namespace {

// Longer than any wait of a provider that is still to be called well-behaved, and its threads' leaving.
constexpr DWORD CallLimitMs = 60000;

struct ComApartment {
    HRESULT result = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    ~ComApartment()
    {
        if (SUCCEEDED(result))
            CoUninitialize();
    }
};

ExitStatus UsageError(const std::wstring& message)
{
    PrintError(L"LogonScreen: " + message + L"\nTry --help.\n");
    return ExitStatus::Usage;
}

class Run {
public:
    Run(const Options& options, Transcript& log)
        : m_options(options), m_log(log), m_watchdog(log), m_provider(log),
          m_activity(CreateEventW(nullptr, FALSE, FALSE, nullptr))
    {
        if (options.real)
            return;
        m_windows.emplace(options, log, m_activity.Get());
        log.SetNews([this] { m_windows->WriteNews(); });
    }
    ~Run() { m_log.SetNews(nullptr); }
    Run(const Run&) = delete;
    Run& operator=(const Run&) = delete;

    ExitStatus All();

private:
    bool Load();
    ExitStatus Life(DWORD number);

    const Options& m_options;
    Transcript& m_log;
    Watchdog m_watchdog;
    Provider m_provider;
    KernelHandle m_activity;
    std::optional<WindowsSetup> m_windows; // nothing on the system as it is
};

bool Run::Load()
{
    if (m_provider.IsLoaded())
        return true;
    const std::wstring path = m_options.dll.empty() ? Registration::Read().dll : m_options.dll;
    if (path.empty())
        m_log.Line(L"note", L"no DLL is registered");
    if (path.empty() || !m_provider.Load(path))
        return false;
    if (m_windows)
        m_windows->Install(m_provider.Module());
    return true;
}

ExitStatus Run::Life(DWORD number)
{
    m_log.Line(L"life", L"%lu of %lu, %s", number, m_options.lives, ScenarioName(m_options.scenario));
    m_watchdog.Allow(m_options.timeLimitSeconds * 1000 + m_options.holdMs + CallLimitMs);
    const Findings before = m_log.Found();
    LifeResult result;
    if (Load()) {
        if (m_windows)
            m_windows->BeginLife();
        result = LogonSession(m_options, m_log, m_windows ? &*m_windows : nullptr, m_activity.Get())
                     .Run(m_provider);
        if (m_provider.Unload() && m_windows)
            m_windows->ModuleGone();
        m_provider.CheckWindows();
    }
    const Findings found = {m_log.Found().violations - before.violations,
                            m_log.Found().leftBehind - before.leftBehind};
    std::wstring why;
    const ExitStatus status = Judge(m_options, result, found, why);
    m_log.Line(L"life", L"%lu of %lu: %s%s%s", number, m_options.lives, ExitText(status),
               why.empty() ? L"" : L": ", why.c_str());
    return status;
}

ExitStatus Run::All()
{
    // The first life that goes wrong decides.
    ExitStatus verdict = ExitStatus::Expected;
    for (DWORD number = 1; number <= m_options.lives; ++number) {
        const ExitStatus status = Life(number);
        if (verdict == ExitStatus::Expected)
            verdict = status;
    }
    m_log.Line(L"verdict", L"%s", ExitText(verdict));
    return verdict;
}

ExitStatus Start(int argc, wchar_t** argv)
{
    std::wstring message;
    const std::optional<Options> options = ParseOptions(argc, argv, message);
    if (!options)
        return UsageError(message);
    switch (options->action) {
    case Options::Action::Help:
        PrintOut(UsageText());
        return ExitStatus::Expected;
    case Options::Action::Register:
        return Registration::Write(options->dll) ? ExitStatus::Expected : ExitStatus::Usage;
    case Options::Action::Unregister:
        return Registration::Remove() ? ExitStatus::Expected : ExitStatus::Usage;
    case Options::Action::Status:
        return Registration::Tell() ? ExitStatus::Expected : ExitStatus::OtherOutcome;
    case Options::Action::Run:
        break;
    }
    Transcript log;
    if (!options->transcript.empty() && !log.AlsoInto(options->transcript))
        return UsageError(L"can't write " + options->transcript + L": " + ErrorText(GetLastError()));
    const ComApartment apartment;
    return Run(*options, log).All();
}

} // namespace

int wmain(int argc, wchar_t** argv)
{
    const ExitStatus status = Start(argc, argv);
    // Threads of a provider that would not go are not to run into a process that is being taken down.
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(status));
    return static_cast<int>(status);
}
