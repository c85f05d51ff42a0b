// A stand-in for LogonUI; see Usage.cpp for what it does.
#include "Leftovers.h"
#include "LogonSession.h"
#include "Names.h"
#include "Registration.h"
#include "Watchdog.h"

#include "Text.h"

namespace {

// How long threads of the provider may take to leave after its last Release.
constexpr DWORD g_leaveLimitMs = 10000;
// Longer than any wait of a provider that is still to be called well-behaved.
constexpr DWORD g_callLimitMs = 60000;

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
    Print(STD_ERROR_HANDLE, L"LogonScreen: " + message + L"\nTry --help.\n");
    return ExitStatus::Usage;
}

ExitStatus ChangeRegistration(const Options& options)
{
    const bool add = options.action == Options::Action::Register;
    const LSTATUS error =
        add ? Registration::Write(options.clsid, options.dll) : Registration::Remove(options.clsid);
    const std::wstring what = GuidText(options.clsid) + (add ? L" registered" : L" unregistered");
    if (error != ERROR_SUCCESS)
        return UsageError(Format(L"%s: error %ld", what.c_str(), error));
    Print(STD_OUTPUT_HANDLE, what + L"\n");
    return ExitStatus::Expected;
}

/// The DLL to load: the one on the command line, or the registered one.
std::wstring FindProvider(const Options& options, Transcript& transcript)
{
    if (!options.dll.empty())
        return options.dll;
    const std::wstring path = Registration::ServerPath(options.clsid);
    if (path.empty()) {
        transcript.Line(L"note", L"%s is not registered", GuidText(options.clsid).c_str());
        return path;
    }
    transcript.Line(L"note", L"registered as %s, threading model %s", Quoted(path).c_str(),
                    Registration::ThreadingModel(options.clsid).c_str());
    if (!Registration::IsListed(options.clsid))
        transcript.Line(L"note",
                        L"not among the credential providers of this system: LogonUI would not ask it");
    return path;
}

class Run {
public:
    Run(const Options& options, Transcript& transcript)
        : m_options(options), m_log(transcript), m_findings(transcript), m_watchdog(m_log), m_module(m_log),
          m_activity(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
          m_simulation(options, transcript, m_activity.Get())
    {
    }

    ExitStatus All();

private:
    bool Load();
    void Unload();
    ExitStatus Life(DWORD number);

    const Options& m_options;
    CallLog m_log;
    Findings m_findings;
    Watchdog m_watchdog;
    ProviderModule m_module;
    KernelHandle m_activity;
    Simulation m_simulation;
};

bool Run::Load()
{
    if (m_module.IsLoaded())
        return true;
    const std::wstring path = FindProvider(m_options, m_log.Lines());
    if (path.empty() || !m_module.Load(path))
        return false;
    if (!m_options.real)
        m_simulation.Install(m_module.Get());
    return true;
}

void Run::Unload()
{
    if (!m_module.CanUnload()) {
        // COM would not unload it either, and the next life finds it as it is.
        m_findings.LeftBehind(L"the DLL still counts something in use: it is not unloaded");
        return;
    }
    m_module.Free();
    if (m_module.WaitUntilGone(g_leaveLimitMs))
        m_simulation.ModuleGone();
    else
        m_findings.LeftBehind(L"the DLL is still in the process");
}

ExitStatus Run::Life(DWORD number)
{
    Transcript& lines = m_log.Lines();
    lines.Line(L"life", L"%lu of %lu, %s", number, m_options.lives, ScenarioName(m_options.scenario));
    m_watchdog.Allow(m_options.timeLimitMs + m_options.holdMs + g_callLimitMs);
    const LONG violations = m_findings.Violations();
    const LONG leftovers = m_findings.Leftovers();
    LifeResult result;
    if (Load()) {
        m_simulation.BeginLife();
        LogonSession session(m_options, m_log, m_findings, m_options.real ? nullptr : &m_simulation,
                             m_activity.Get());
        result = session.Run(m_module);
        if (!m_options.keepLoaded || number == m_options.lives)
            Unload();
        Leftovers::Check(lines, m_findings, g_leaveLimitMs);
    }
    std::wstring why;
    const ExitStatus status = Judge(m_options, result, m_findings.Violations() - violations,
                                    m_findings.Leftovers() - leftovers, why);
    lines.Line(L"life", L"%lu of %lu: %s%s%s", number, m_options.lives, ExitText(status),
               why.empty() ? L"" : L": ", why.c_str());
    return status;
}

ExitStatus Run::All()
{
    if (!m_options.real) {
        std::wstring message;
        if (!m_simulation.SetUp(message))
            return UsageError(message);
        m_log.SetNews([this] { m_simulation.WriteNews(); });
    }
    // The first life that goes wrong decides.
    ExitStatus verdict = ExitStatus::Expected;
    for (DWORD number = 1; number <= m_options.lives; ++number) {
        const ExitStatus status = Life(number);
        if (verdict == ExitStatus::Expected)
            verdict = status;
    }
    m_log.Lines().Line(L"verdict", L"%s", ExitText(verdict));
    if (m_module.IsLoaded())
        m_module.Abandon();
    return verdict;
}

ExitStatus Start(int argc, wchar_t** argv)
{
    std::wstring message;
    const std::optional<Options> options = ParseOptions(argc, argv, message);
    if (!options)
        return UsageError(message);
    if (options->action == Options::Action::Help) {
        Print(STD_OUTPUT_HANDLE, UsageText());
        return ExitStatus::Expected;
    }
    if (options->action != Options::Action::Run)
        return ChangeRegistration(*options);

    Transcript transcript;
    if (!options->transcript.empty() && !transcript.AlsoInto(options->transcript))
        return UsageError(Format(L"can't write %s: error %lu", options->transcript.c_str(), GetLastError()));
    const ComApartment apartment;
    return Run(*options, transcript).All();
}

} // namespace

int wmain(int argc, wchar_t** argv)
{
    const ExitStatus status = Start(argc, argv);
    // Threads of a provider that would not go are not to run into a process that is being taken down.
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(status));
    return static_cast<int>(status);
}
