#include "Machine.h"

#include <doctest/doctest.h>

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
    std::string narrow;
    std::transform(text.begin(), text.end(), std::back_inserter(narrow),
                   [](wchar_t unit) { return static_cast<char>(unit); });
    return narrow;
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
        // Waits for another thread end by themselves and keep real time: shorter ones would make the watchdog
        // take the stop that ThreadFP is to see.
        state->clock.sleepScale = 0.01;
    }
    // A thread that outlives its test has the log open until it notices.
    if (s_service.IsRunning())
        Tell(L"reset");
    REQUIRE(Await([] { return GetModuleHandleW(L"VexaFPCredentialProvider.dll") == nullptr; }));
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

std::vector<std::wstring> Machine::LogOf(const std::string& label) const
{
    std::vector<std::wstring> messages;
    for (const LogLine& line : Log()) {
        if (line.label == label)
            messages.push_back(line.message);
    }
    return messages;
}

bool Machine::WaitForLog(const std::string& label, const std::wstring& message, size_t times) const
{
    return Await([&] {
        const std::vector<std::wstring> messages = LogOf(label);
        return static_cast<size_t>(std::count(messages.begin(), messages.end(), message)) >= times;
    });
}

WorkerWaits Machine::Waits() const
{
    const std::vector<WindowsModel::Wait> all = windows.Snapshot().clock.waits;
    // The watchdog is the thread that waits for another, 5000 ms at a time.
    DWORD watchdog = 0;
    for (const WindowsModel::Wait& wait : all) {
        if (wait.object != nullptr && wait.milliseconds == 5000 && wait.thread != GetCurrentThreadId())
            watchdog = wait.thread;
    }
    WorkerWaits waits;
    for (const WindowsModel::Wait& wait : all) {
        if (wait.object == nullptr && wait.thread != GetCurrentThreadId())
            (wait.thread == watchdog ? waits.watchdog : waits.identification).push_back(wait.milliseconds);
    }
    return waits;
}

void Machine::Tell(const std::wstring& command) const
{
    INFO(Narrow(command));
    REQUIRE(ServiceClient::TellOk(command));
}

std::vector<std::wstring> Machine::Calls() const
{
    const auto report = ServiceClient::Report();
    REQUIRE(report);
    std::vector<std::wstring> names;
    for (const ServiceClient::ReportedCall& call : *report)
        names.push_back(call.name);
    return names;
}
