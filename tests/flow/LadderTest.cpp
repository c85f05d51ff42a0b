// The retry ladders of the two worker threads: every count and every wait.
#include "ProviderLife.h"

#include "Registry.h"

#include <doctest/doctest.h>

#include <algorithm>

using simwindows::ServiceStep;
using Texts = std::vector<std::wstring>;
using Waits = std::vector<DWORD>;

namespace {

/// The waits that ThreadFP and DeamonThread asked for, without those of other threads.
struct WorkerWaits {
    Waits identification; // of all runs of ThreadFP, in order
    Waits watchdog;       // Sleeps alone
};

/// DeamonThread is the thread that waits for another with 5000 ms, or that starts commands.
WorkerWaits SplitWaits(const Machine& machine)
{
    const simwindows::State state = machine.windows.Snapshot();
    DWORD watchdog = 0;
    for (const simwindows::Wait& wait : state.clock.waits) {
        if (wait.object != nullptr && wait.milliseconds == 5000 && wait.thread != GetCurrentThreadId())
            watchdog = wait.thread;
    }
    WorkerWaits waits;
    for (const simwindows::Wait& wait : state.clock.waits) {
        if (wait.object == nullptr && wait.thread != GetCurrentThreadId())
            (wait.thread == watchdog ? waits.watchdog : waits.identification).push_back(wait.milliseconds);
    }
    return waits;
}

Waits Repeat(size_t times, const Waits& one)
{
    Waits all;
    for (size_t i = 0; i < times; ++i)
        all.insert(all.end(), one.begin(), one.end());
    return all;
}

/// IsServiceRunning sleeps for the wait hint of either service, 0 for a settled one.
const Waits BothServicesRun = {0, 0};

std::ptrdiff_t Count(const Texts& texts, const std::wstring& text)
{
    return std::count(texts.begin(), texts.end(), text);
}

} // namespace

TEST_CASE("no service: ten connects 300 ms apart, three runs, then the sensor has failed")
{
    Machine machine;
    machine.StopService();
    ProviderLife life(machine);
    life.Start();
    REQUIRE(machine.WaitForLog("DeamonThread", L"end"));
    CHECK(life.SeePrompt(L"Fingerprint sensor failed."));
    const WorkerWaits waits = SplitWaits(machine);
    CHECK(waits.identification == Waits(30, 300));
    CHECK(waits.watchdog == Repeat(3, {0, 0, 200}));
    CHECK(machine.windows.Snapshot().commands.commands.empty());
    Texts log = machine.LogOf("DeamonThread");
    std::erase(log, L"WAIT_TIMEOUT");
    CHECK(log == Texts{L"start", L"WAIT_OBJECT_0", L"GetExitCodeThread != 0", L"WAIT_OBJECT_0",
                       L"GetExitCodeThread != 0", L"WAIT_OBJECT_0", L"GetExitCodeThread != 0", L"end"});
    CHECK(machine.LogOf("ThreadFP") == Texts(3, L"ThreadFP(LPVOID lp) Start"));
}

TEST_CASE("a stopped service is restarted with two commands, 200 ms after each")
{
    Machine machine;
    machine.StopService();
    std::wstring note;
    SUBCASE("the fingerprint service")
    {
        machine.windows.Lock()->services.Script(L"VexaFPService", {{SERVICE_STOPPED}});
        note = L"vcsFPService stopped 1 0";
    }
    SUBCASE("the sensor's service")
    {
        machine.windows.Lock()->services.Script(L"vcsFPService", {{SERVICE_STOPPED}});
        note = L"vcsFPService stopped 0 0";
    }
    ProviderLife life(machine);
    life.Start();
    REQUIRE(machine.WaitForLog("DeamonThread", L"end"));
    const auto commands = machine.windows.Snapshot().commands.commands;
    REQUIRE(commands.size() == 6);
    for (size_t i = 0; i < commands.size(); ++i) {
        CHECK(commands[i].line == (i % 2 == 0 ? "net stop VexaFPService" : "net start VexaFPService"));
        CHECK(commands[i].show == SW_HIDE);
    }
    CHECK(Count(machine.LogOf("DeamonThread"), note) == 3);
    const Waits watchdog = SplitWaits(machine).watchdog;
    CHECK(watchdog == Repeat(3, note.ends_with(L"1 0") ? Waits{0, 0, 200, 200, 200} : Waits{0, 200, 200, 200}));
}

TEST_CASE("the service comes back while the watchdog restarts it")
{
    Machine machine;
    machine.StopService();
    machine.windows.Lock()->services.Script(L"VexaFPService", {{SERVICE_STOPPED}});
    machine.windows.Lock()->commands.onCommand = [&](const std::string& line, UINT) -> UINT {
        if (line == "net start VexaFPService") {
            machine.windows.Lock()->services.Script(L"VexaFPService", {{}});
            machine.StartService();
        }
        return 33;
    };
    ProviderLife life(machine);
    life.StartAndWaitForPrompt();
    machine.Tell(L"place SIMULATED-PC anna secret");
    CHECK(life.sink.WaitFor(1));
}

TEST_CASE("sensor not usable: five checks 200 ms apart and a last one that decides")
{
    Machine machine;
    SetFPEnable(1);
    int pba = 0;
    SUBCASE("absent: switched off for good, and nobody restarts the thread") { pba = 0; }
    SUBCASE("any other answer: three runs") { pba = 7; }
    machine.Tell(L"pba " + std::to_wstring(pba));
    ProviderLife life(machine);
    life.Start();
    REQUIRE(machine.WaitForLog("DeamonThread", pba == 0 ? L"GetExitCodeThread 0" : L"end"));
    const size_t runs = pba == 0 ? 1 : 3;
    CHECK(SplitWaits(machine).identification == Waits(5 * runs, 200));
    CHECK(GetFPEnable() == (pba != 0));
    const Texts calls = machine.Calls();
    CHECK(Count(calls, L"IsPbaEnable") == static_cast<std::ptrdiff_t>(6 * runs));
    Texts run = {L"ThreadFP(LPVOID lp) Start"};
    for (int attempt = 0; attempt < 5; ++attempt) {
        run.push_back(L"CheckDeviceIsEnable start");
        run.push_back(L"CheckDeviceIsEnable end");
    }
    run.push_back(L"CheckDeviceDisable");
    Texts expected;
    for (size_t i = 0; i < runs; ++i)
        expected.insert(expected.end(), run.begin(), run.end());
    CHECK(machine.LogOf("ThreadFP") == expected);
    CHECK(life.SeePrompt(L"Fingerprint sensor failed.") == (pba != 0));
}

TEST_CASE("nobody enrolled shows the sensor's failure; a failing list does not")
{
    Machine machine;
    ProviderLife life(machine);
    SUBCASE("nobody")
    {
        machine.Tell(L"nobody");
        life.Start();
        CHECK(life.SeePrompt(L"Fingerprint sensor failed."));
        REQUIRE(machine.WaitForLog("DeamonThread", L"end"));
        CHECK(Count(machine.Calls(), L"ListEnroll") == 3);
        CHECK(Count(machine.Calls(), L"IdentifyEnroll") == 0);
    }
    SUBCASE("failing")
    {
        machine.Tell(L"nobody");
        machine.Tell(L"result ListEnroll 9");
        life.StartAndWaitForPrompt();
        machine.Tell(L"wait IdentifyEnroll");
    }
}

TEST_CASE("busy answers are retried every 2000 ms, errors every 100 ms")
{
    Machine machine;
    machine.Tell(L"busy 5");
    machine.Tell(L"error 7 2");
    machine.Tell(L"place SIMULATED-PC anna secret");
    ProviderLife life(machine);
    life.Start();
    REQUIRE(life.sink.WaitFor(1));
    machine.Tell(L"wait IdentifyEnroll 9");
    CHECK(SplitWaits(machine).identification == Waits{2000, 2000, 2000, 2000, 2000, 100, 100, 100});
    const Texts log = machine.LogOf("ThreadFP");
    CHECK(Count(log, L"retrytimes_ErrorCode501 1 times") == 5);
    CHECK(Count(log, L"Credential Provider:RPCIdentifyEnroll Error  7:") == 2);
    CHECK(Count(log, L"Credential Provider:RPCIdentifyEnroll End") == 3);
}

TEST_CASE("a service that dies under a call is an exception, and the thread is started again")
{
    Machine machine;
    ProviderLife life(machine);
    life.StartAndWaitForPrompt();
    machine.Tell(L"wait IdentifyEnroll");
    machine.Tell(L"die");
    CHECK(machine.WaitForLog("ThreadFP", L"RpcExcept"));
    CHECK(machine.WaitForLog("DeamonThread", L"GetExitCodeThread != 0"));
    machine.StopService();
    machine.StartService();
    REQUIRE(life.SeePrompt(L"Please scan a finger"));
    machine.Tell(L"place SIMULATED-PC anna secret");
    CHECK(life.sink.WaitFor(1));
}
