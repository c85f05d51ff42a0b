// A fingerprint service that is not there, or goes away. Each case runs in a process of its own.
#include "ProviderLife.h"

#include <algorithm>
#include <atomic>

using Waits = std::vector<DWORD>;

namespace {

Waits Repeat(size_t times, const Waits& one)
{
    Waits all;
    for (size_t i = 0; i < times; ++i)
        all.insert(all.end(), one.begin(), one.end());
    return all;
}

// IsServiceRunning sleeps for a service's wait hint, which is 0 for a settled one.

/// Runs the watchdog to its end with a service that `name` says is stopped.
void CheckRestarts(const wchar_t* name, const std::wstring& note, const Waits& oneRun)
{
    Machine machine;
    machine.StopService();
    machine.windows.Lock()->services.Script(name, {{SERVICE_STOPPED}});
    ProviderLife life(machine);
    life.Start();
    REQUIRE(machine.WaitForLog("DeamonThread", L"end"));
    const auto commands = machine.windows.Snapshot().commands.commands;
    REQUIRE(commands.size() == 6);
    for (size_t i = 0; i < commands.size(); ++i) {
        CHECK(commands[i].line == (i % 2 == 0 ? "net stop VexaFPService" : "net start VexaFPService"));
        CHECK(commands[i].show == SW_HIDE);
    }
    const Texts log = machine.LogOf("DeamonThread");
    CHECK(std::count(log.begin(), log.end(), note) == 3);
    CHECK(machine.Waits().watchdog == Repeat(3, oneRun));
}

} // namespace

TEST_SUITE_BEGIN("service loss");

TEST_CASE("no service: ten connects 300 ms apart, three runs, then the sensor has failed")
{
    Machine machine;
    machine.StopService();
    ProviderLife life(machine);
    life.Start();
    REQUIRE(machine.WaitForLog("DeamonThread", L"end"));
    CHECK(life.SeePrompt(L"Fingerprint sensor failed."));
    const WorkerWaits waits = machine.Waits();
    CHECK(waits.identification == Waits(30, 300));
    CHECK(waits.watchdog == Repeat(3, {0, 0, 200}));
    CHECK(machine.windows.Snapshot().commands.commands.empty());
    CHECK(machine.LogOf("DeamonThread") == Texts{L"start", L"WAIT_OBJECT_0", L"GetExitCodeThread != 0",
                                                 L"WAIT_OBJECT_0", L"GetExitCodeThread != 0",
                                                 L"WAIT_OBJECT_0", L"GetExitCodeThread != 0", L"end"});
    CHECK(machine.LogOf("ThreadFP") == Texts(3, L"ThreadFP(LPVOID lp) Start"));
}

TEST_CASE("a stopped fingerprint service is restarted with two commands, 200 ms after each")
{
    CheckRestarts(L"VexaFPService", L"vcsFPService stopped 1 0", {0, 0, 200, 200, 200});
}

TEST_CASE("a stopped sensor service has the fingerprint service restarted")
{
    CheckRestarts(L"vcsFPService", L"vcsFPService stopped 0 0", {0, 200, 200, 200});
}

TEST_CASE("the service comes back while the watchdog restarts it")
{
    Machine machine;
    machine.StopService();
    machine.windows.Lock()->services.Script(L"VexaFPService", {{SERVICE_STOPPED}});
    std::atomic<bool> started = false;
    machine.windows.Lock()->commands.onCommand = [&](const std::string& line, UINT) -> UINT {
        if (line == "net start VexaFPService") {
            machine.windows.Lock()->services.Script(L"VexaFPService", {{}});
            started = machine.TryStartService();
        }
        return 33;
    };
    ProviderLife life(machine);
    life.StartAndWaitForPrompt();
    REQUIRE(started);
    machine.Tell(L"place SIMULATED-PC anna secret");
    CHECK(life.sink.WaitFor(1));
}

TEST_CASE("the service dies under a call: an exception, and the thread is started again")
{
    Machine machine;
    ProviderLife life(machine);
    life.StartAndWaitForPrompt();
    machine.AwaitCalls(L"IdentifyEnroll");
    // The watchdog stays in its pause until there is a service again.
    machine.HoldSleeps();
    machine.Tell(L"die");
    CHECK(machine.WaitForLog("ThreadFP", L"RpcExcept"));
    CHECK(machine.WaitForLog("DeamonThread", L"GetExitCodeThread != 0"));
    machine.StartService();
    machine.ReleaseSleeps();
    REQUIRE(life.SeePrompt(L"Please scan a finger"));
    machine.Tell(L"place SIMULATED-PC anna secret");
    CHECK(life.sink.WaitFor(1));
}

TEST_CASE("the life ends while the service is dead, and the next one works")
{
    Machine machine;
    machine.StopService();
    // Between two attempts to connect.
    machine.HoldSleeps();
    ProviderLife life(machine);
    life.Start();
    CHECK(machine.windows.WaitUntil(
        [](const WindowsModel::State& state) { return state.clock.Sleeps() == Waits{0, 0, 300}; }, Patience));
    machine.HurryWaits();
    CHECK(life.End() < StopBound);
    CHECK(WaitForNoEventWindow());
    machine.ReleaseSleeps();
    CHECK(life.EndAndUnload());
    machine.StartService();
    CheckNextLife(machine);
}

TEST_SUITE_END();
