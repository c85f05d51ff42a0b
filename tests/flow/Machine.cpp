#include "Machine.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace fs = std::filesystem;

namespace {

constexpr char LogFolder[] = "C:\\CPLog";
constexpr wchar_t IniFile[] = L"C:\\Users\\Public\\VEXA\\FingerPrint\\config.ini";

std::wstring ReadLog()
{
    std::error_code error;
    std::string bytes;
    for (const fs::directory_entry& entry : fs::directory_iterator(LogFolder, error)) {
        std::ifstream file(entry.path(), std::ios::binary);
        bytes.append(std::istreambuf_iterator<char>(file), {});
    }
    REQUIRE(bytes.size() % 2 == 0);
    return std::wstring(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / 2);
}

std::string Narrow(std::wstring_view text)
{
    return {text.begin(), text.end()};
}

/// "14:03:59  Source.cpp L=12 Label : message"
LogLine Parse(const std::wstring& line)
{
    const size_t number = line.find(L" L=");
    const size_t label = line.find(L' ', number + 1);
    const size_t message = line.find(L" : ", label);
    INFO(Narrow(line));
    REQUIRE(number != std::wstring::npos);
    REQUIRE(message != std::wstring::npos);
    REQUIRE(line.substr(8, 2) == L"  ");
    return {Narrow(line.substr(10, number - 10)), Narrow(line.substr(label + 1, message - label - 1)),
            line.substr(message + 3)};
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

} // namespace

ServiceClient::ServiceProcess Machine::s_service;

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
    if (s_service.IsRunning())
        Tell(L"reset");
    const auto isGone = [] { return GetModuleHandleW(L"VexaFPCredentialProvider.dll") == nullptr; };
    // Once it has stayed, waiting again would only make each test that follows fail later.
    static bool stayed = false;
    stayed = stayed ? !isGone() : !Await(isGone);
    REQUIRE_FALSE(stayed);
    fs::remove_all(LogFolder);
    fs::create_directories(LogFolder);
    fs::remove(IniFile);
    if (!s_service.IsRunning())
        StartService();
    Tell(L"reset");
    Tell(L"clear");
}

void Machine::StartService()
{
    // One that a test program left when it was ended.
    ServiceClient::Tell(L"quit", 0);
    REQUIRE(s_service.Start());
}

void Machine::SetLockOut(int enable, int count) const
{
    fs::create_directories(fs::path(IniFile).parent_path());
    REQUIRE(WritePrivateProfileStringW(L"Public", L"LockEnable", std::to_wstring(enable).c_str(), IniFile));
    REQUIRE(WritePrivateProfileStringW(L"Public", L"LockCount", std::to_wstring(count).c_str(), IniFile));
}

std::vector<LogLine> Machine::Log() const
{
    std::vector<LogLine> lines;
    const std::wstring text = ReadLog();
    for (size_t start = 0, end = 0; (end = text.find(L"\r\n", start)) != std::wstring::npos; start = end + 2)
        lines.push_back(Parse(text.substr(start, end - start)));
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

bool Machine::WaitForLog(const std::string& label, const std::wstring& message, size_t times) const
{
    return Await([&] {
        const Texts messages = LogOf(label);
        return static_cast<size_t>(std::count(messages.begin(), messages.end(), message)) >= times;
    });
}

DWORD Machine::Watchdog() const
{
    // The one worker that waits for another.
    DWORD watchdog = 0;
    for (const WindowsModel::Wait& wait : windows.Snapshot().clock.waits) {
        if (wait.object != nullptr && wait.thread != g_waits.logonUi)
            watchdog = wait.thread;
    }
    return watchdog;
}

WorkerWaits Machine::Waits() const
{
    const DWORD watchdog = Watchdog();
    WorkerWaits waits;
    for (const WindowsModel::Wait& wait : windows.Snapshot().clock.waits) {
        if (wait.object == nullptr && wait.thread != g_waits.logonUi)
            (wait.thread == watchdog ? waits.watchdog : waits.identification).push_back(wait.milliseconds);
    }
    return waits;
}

KernelHandle Machine::OpenWatchdog() const
{
    KernelHandle thread(OpenThread(SYNCHRONIZE, FALSE, Watchdog()));
    REQUIRE(thread);
    return thread;
}

bool HasCome(const KernelHandle& object)
{
    return WindowsModel::RealWait(object.Get(), Patience) == WAIT_OBJECT_0;
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
