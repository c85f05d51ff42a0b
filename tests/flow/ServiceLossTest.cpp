// A fingerprint service that is not there, or goes away. Each case runs in a process of its own.
#include "ProviderLife.h"

#include <atomic>

TEST_SUITE_BEGIN("service loss");

TEST_CASE("no service: ten connects 300 ms apart, three runs, then the sensor has failed")
{
    struct Row {
        const wchar_t* stopped;
        Waits waits; // for the hints of the services asked, and after each of the two commands of a restart
        Texts note;
    };
    // Whichever is stopped, it is the fingerprint service that is restarted. No call has to reach a service
    // here, so that all three may share a process.
    for (const Row& row : {
             Row{nullptr, {0, 0}, {}},
             Row{L"VexaFPService", {0, 0, 200, 200}, {L"vcsFPService stopped 1 0"}},
             Row{L"vcsFPService", {0, 200, 200}, {L"vcsFPService stopped 0 0"}},
         }) {
        CAPTURE(row.waits.size());
        Machine machine;
        machine.service.Kill();
        if (row.stopped != nullptr)
            machine.windows.Lock()->services.Script(row.stopped, {{SERVICE_STOPPED}});
        ProviderLife life(machine);
        life.Start();
        REQUIRE(machine.WaitForLog("DeamonThread", L"end"));
        CHECK(life.SeePrompt(L"Fingerprint sensor failed."));
        Waits waits;
        Texts log = {L"start"};
        for (int run = 0; run < 3; ++run) {
            waits.insert(waits.end(), row.waits.begin(), row.waits.end());
            waits.insert(waits.end(), 10, 300);
            waits.push_back(200);
            log.insert(log.end(), row.note.begin(), row.note.end());
            log.insert(log.end(), {L"WAIT_OBJECT_0", L"GetExitCodeThread != 0"});
        }
        log.push_back(L"end");
        CHECK(machine.Sleeps() == waits);
        CHECK(machine.LogOf("DeamonThread") == log);
        CHECK(machine.LogOf("ThreadFP") == Texts(3, L"ThreadFP(LPVOID lp) Start"));
        const auto commands = machine.windows.Snapshot().commands.commands;
        CHECK(commands.size() == 6 * row.note.size());
        for (size_t i = 0; i < commands.size(); ++i) {
            CHECK(commands[i].line == (i % 2 == 0 ? "net stop VexaFPService" : "net start VexaFPService"));
            CHECK(commands[i].show == SW_HIDE);
        }
    }
}

TEST_CASE("the service comes back while the watchdog restarts it")
{
    Machine machine;
    machine.service.Kill();
    machine.windows.Lock()->services.Script(L"VexaFPService", {{SERVICE_STOPPED}});
    std::atomic<bool> started = false;
    machine.windows.Lock()->commands.onCommand = [&](const std::string& line, UINT) -> UINT {
        if (line == "net start VexaFPService") {
            machine.windows.Lock()->services.Script(L"VexaFPService", {{}});
            started = machine.service.Start();
        }
        return 33;
    };
    ProviderLife life(machine);
    life.StartAndWaitForPrompt();
    REQUIRE(started);
    life.LogOn();
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
    REQUIRE(machine.service.Start());
    machine.ReleaseSleeps();
    REQUIRE(life.SeePrompt(L"Please scan a finger"));
    life.LogOn();
}

TEST_CASE("the life ends while the service is dead, and the next one works")
{
    Machine machine;
    machine.service.Kill();
    // Between two attempts to connect.
    machine.HoldSleeps();
    ProviderLife life(machine);
    life.Start();
    CHECK(Await([&] { return machine.Sleeps() == Waits{0, 0, 300}; }));
    machine.HurryWaits();
    life.End();
    CHECK(WaitForNoEventWindow());
    machine.ReleaseSleeps();
    CHECK(life.EndAndUnload());
    REQUIRE(machine.service.Start());
    CheckNextLife(machine);
}

TEST_SUITE_END();
