#include "Machine.h"

#include "IniFile.h"
#include "unit/base/LogFixture.h"

#include <winternl.h>

#include <algorithm>
#include <regex>
#include <set>

namespace {

constexpr char LogFolder[] = "C:\\CPLog";

std::string Narrow(std::wstring_view text)
{
    return {text.begin(), text.end()};
}

/// How long the DLL's waits last. Outlives every test, for the DLL's threads may outlive theirs.
struct {
    KernelHandle sleepGate{CreateEventW(nullptr, TRUE, TRUE, nullptr)};
    DWORD logonUi = 0; // the thread that plays LogonUI
    std::atomic<DWORD> watch = INFINITE;
    bool hurry = false;
    std::function<void()> meanwhile;
} g_waits;

std::optional<DWORD> OnWait(const WindowsModel::Wait& wait)
{
    constexpr DWORD watchdogWait = 5000; // ms
    if (wait.object == nullptr) {
        WindowsModel::RealWait(g_waits.sleepGate.Get(), Patience);
        return std::nullopt;
    }
    if (wait.milliseconds != watchdogWait)
        return std::nullopt;
    if (wait.thread != g_waits.logonUi)
        return g_waits.watch;
    if (!g_waits.hurry)
        return std::nullopt;
    g_waits.meanwhile();
    return watchdogWait / 100;
}

struct ThreadInformation {
    NTSTATUS exitStatus;
    NT_TIB* block;
    CLIENT_ID client;
    ULONG_PTR affinity;
    LONG priority, basePriority;
};

bool IsOnStackOf(DWORD id, const std::wstring& text)
{
    const KernelHandle thread(OpenThread(THREAD_QUERY_INFORMATION, FALSE, id));
    ThreadInformation information{};
    // One that has ended may have left its id to another process.
    if (!thread ||
        NtQueryInformationThread(thread.Get(), THREADINFOCLASS(0), &information, sizeof information,
                                 nullptr) != 0 ||
        information.client.UniqueProcess != HANDLE(ULONG_PTR(GetCurrentProcessId())))
        return false;
    const auto* const limit = static_cast<const wchar_t*>(information.block->StackLimit);
    const auto* const base = static_cast<const wchar_t*>(information.block->StackBase);
    return std::wstring_view(limit, size_t(base - limit)).find(text) != std::wstring_view::npos;
}

} // namespace

Machine::Machine()
{
    REQUIRE(fitness.IsFit());
    windows.Reset();
    {
        auto state = windows.Lock();
        state->accounts.accounts.push_back({L"SIMULATED-PC", L"anna", L"secret"});
        state->services.Script(L"vcsFPService", {{}});
        state->services.Script(L"VexaFPService", {{}});
        state->clock.sleepScale = 0.01;
        ReleaseSleeps();
        g_waits.logonUi = GetCurrentThreadId();
        g_waits.hurry = false;
        g_waits.watch = INFINITE;
        state->clock.onWait = OnWait;
    }
    // A thread that outlives its test has the log open until it notices.
    if (service.IsRunning())
        Tell(L"reset");
    const auto isGone = [] { return GetModuleHandleW(L"VexaFPCredentialProvider.dll") == nullptr; };
    // Once it has stayed, waiting again would only make each test that follows fail later.
    static bool stayed = false;
    stayed = stayed ? !isGone() : !Await(isGone);
    REQUIRE_FALSE(stayed);
    fs::remove_all(LogFolder);
    fs::create_directories(LogFolder);
    fs::remove(IniPath);
    if (!service.IsRunning()) {
        // One that a test program left when it was ended.
        ServiceClient::Tell(L"quit", 0);
        REQUIRE(service.Start());
    }
    Tell(L"reset");
    Tell(L"clear");
}

std::vector<LogLine> Machine::Log() const
{
    static const std::wregex form(LR"(\d\d:\d\d:\d\d  (\S+) L=\d+ (\S+) : (.*))");
    std::vector<LogLine> lines;
    for (const std::wstring& line : ReadLines(LogFolder)) {
        if (std::wsmatch parts; std::regex_match(line, parts, form))
            lines.push_back({Narrow(parts.str(1)), Narrow(parts.str(2)), parts.str(3)});
    }
    return lines;
}

Texts Machine::LogOf(const std::string& label) const
{
    Texts messages;
    for (const LogLine& line : Log()) {
        if (line.label == label)
            messages.push_back(line.message);
    }
    return messages;
}

bool Machine::WaitForLog(const std::string& label, const std::wstring& message, int times) const
{
    return Await([&] { return Count(LogOf(label), message) >= times; });
}

KernelHandle Machine::OpenWatchdog() const
{
    // The one worker that waits for another.
    DWORD watchdog = 0;
    for (const WindowsModel::Wait& wait : windows.Snapshot().clock.waits) {
        if (wait.object != nullptr && wait.thread != g_waits.logonUi)
            watchdog = wait.thread;
    }
    KernelHandle thread(OpenThread(SYNCHRONIZE, FALSE, watchdog));
    REQUIRE(thread);
    return thread;
}

bool Machine::IsOnAnyStack(const std::wstring& text) const
{
    std::set<DWORD> threads;
    for (const WindowsModel::Call& call : windows.Snapshot().recorder.calls)
        threads.insert(call.thread);
    threads.erase(GetCurrentThreadId());
    return std::any_of(threads.begin(), threads.end(), [&](DWORD id) { return IsOnStackOf(id, text); });
}

std::ptrdiff_t Count(const Texts& texts, const std::wstring& text)
{
    return std::count(texts.begin(), texts.end(), text);
}

bool HasCome(const KernelHandle& object)
{
    return WindowsModel::RealWait(object.Get(), Patience) == WAIT_OBJECT_0;
}

void Machine::FailNext(const std::string& function, unsigned skip, unsigned times)
{
    REQUIRE(windows.FailNext(function, ERROR_NOT_FOUND, skip, times));
}

void Machine::Tell(const std::wstring& command) const
{
    INFO(Narrow(command));
    REQUIRE(ServiceClient::TellOk(command, Patience));
}

void Machine::AwaitCalls(const std::wstring& procedure, int count) const
{
    Tell(L"wait " + procedure + L" " + std::to_wstring(count) + L" " + std::to_wstring(Patience));
}

void Machine::HoldSleeps()
{
    ResetEvent(g_waits.sleepGate.Get());
}

void Machine::ReleaseSleeps()
{
    SetEvent(g_waits.sleepGate.Get());
}

void Machine::HurryWatch()
{
    g_waits.watch = 20;
}

void Machine::HurryWaits(std::function<void()> meanwhile)
{
    g_waits.meanwhile = std::move(meanwhile);
    g_waits.hurry = true;
}

Texts Machine::Calls() const
{
    const auto report = ServiceClient::Report(Patience);
    REQUIRE(report);
    Texts names;
    for (const ServiceClient::ReportedCall& call : *report)
        names.push_back(call.name);
    return names;
}
