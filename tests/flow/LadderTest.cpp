// The retry ladders of the two worker threads: every count and every wait.
#include "ProviderLife.h"

#include "Registry.h"

TEST_CASE("sensor not usable: five checks 200 ms apart and a last one that decides")
{
    // Absent: switched off for good, and nobody restarts the thread. Any other answer: three runs.
    for (const int pba : {0, 7}) {
        CAPTURE(pba);
        Machine machine;
        SetFPEnable(1);
        machine.Tell(L"pba " + std::to_wstring(pba));
        ProviderLife life(machine);
        life.Start();
        REQUIRE(machine.WaitForLog("DeamonThread", pba == 0 ? L"GetExitCodeThread 0" : L"end"));
        const int runs = pba == 0 ? 1 : 3;
        // Each run's two questions about services, its five pauses and, where it is repeated, a sixth.
        Waits waits;
        for (int run = 0; run < runs; ++run) {
            waits.insert(waits.end(), 2, 0);
            waits.insert(waits.end(), pba == 0 ? 5 : 6, 200);
        }
        CHECK(machine.Sleeps() == waits);
        const Texts log = machine.LogOf("ThreadFP");
        CHECK(Count(log, L"CheckDeviceIsEnable start") == 5 * runs);
        CHECK(Count(log, L"CheckDeviceIsEnable end") == 5 * runs);
        CHECK(Count(log, L"CheckDeviceDisable") == runs);
        CHECK(GetFPEnable() == (pba != 0));
        CHECK(Count(machine.Calls(), L"IsPbaEnable") == 6 * runs);
        CHECK(IsWindowVisible(life.Window()) == (pba != 0));
        life.End();
        CHECK(!machine.windows.WaitForPrompt(L"Fingerprint sensor failed.", 0) == (pba == 0));
    }
}

TEST_CASE("nobody enrolled shows the sensor's failure, in the system's language; a failing list does not")
{
    Machine machine;
    machine.Tell(L"nobody");
    ProviderLife life(machine);
    SUBCASE("nobody")
    {
        machine.windows.Lock()->locale.systemDefault = MAKELCID(MAKELANGID(LANG_GERMAN, SUBLANG_GERMAN), 0);
        life.Start();
        CHECK(life.SeePrompt(L"Fingerabdrucksensor fehlgeschlagen."));
        REQUIRE(machine.WaitForLog("DeamonThread", L"end"));
        CHECK(Count(machine.Calls(), L"ListEnroll") == 3);
        CHECK(Count(machine.Calls(), L"IdentifyEnroll") == 0);
    }
    SUBCASE("failing")
    {
        machine.Tell(L"result ListEnroll 9");
        life.StartAndWaitForPrompt();
        machine.AwaitCalls(L"IdentifyEnroll");
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
    machine.AwaitCalls(L"IdentifyEnroll", 9);
    CHECK(machine.Sleeps() == Waits{0, 0, 2000, 2000, 2000, 2000, 2000, 100, 100, 100});
    const Texts log = machine.LogOf("ThreadFP");
    CHECK(Count(log, L"retrytimes_ErrorCode501 1 times") == 5);
    CHECK(Count(log, L"Credential Provider:RPCIdentifyEnroll Error  7:") == 2);
    CHECK(Count(log, L"Credential Provider:RPCIdentifyEnroll End") == 3);
}
