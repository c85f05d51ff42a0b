// The end of a provider's life, whatever its threads are doing, and the lives after it.
#include "ProviderLife.h"

#include <doctest/doctest.h>

#include <algorithm>

using Texts = std::vector<std::wstring>;

namespace {

/// A new life in the same process works from start to logon.
void CheckNextLife(Machine& machine)
{
    machine.Tell(L"reset");
    ProviderLife life(machine);
    life.StartAndWaitForPrompt();
    machine.Tell(L"place SIMULATED-PC anna secret");
    CHECK(life.sink.WaitFor(1));
    machine.HurryWaits();
}

} // namespace

TEST_CASE("the life ends within its waits and leaves nothing behind")
{
    Machine machine;
    ProviderLife life(machine);
    SUBCASE("while an identification blocks")
    {
        life.StartAndWaitForPrompt();
        machine.Tell(L"wait IdentifyEnroll");
    }
    SUBCASE("while the service is busy")
    {
        machine.Tell(L"busy forever");
        life.StartAndWaitForPrompt();
        machine.Tell(L"wait IdentifyEnroll 2");
        machine.HurryWaits();
    }
    SUBCASE("before the window exists")
    {
        life.Start();
    }
    SUBCASE("while a wrong password is shown")
    {
        life.StartAndWaitForPrompt();
        machine.Tell(L"place SIMULATED-PC anna wrong");
        CHECK(life.SeePrompt(L"Wrong password"));
        machine.HurryWaits();
    }
    SUBCASE("right after a logon, when the next identification has yet to begin")
    {
        machine.HurryWaits();
        life.StartAndWaitForPrompt();
        machine.Tell(L"place SIMULATED-PC anna secret");
        CHECK(life.sink.WaitFor(1));
    }
    SUBCASE("with a service that ignores the stop")
    {
        machine.Tell(L"ignore-stop on");
        life.StartAndWaitForPrompt();
        machine.Tell(L"wait IdentifyEnroll");
        machine.HurryWaits();
        CHECK(life.End() < StopBound);
        CHECK(WaitForNoEventWindow());
        // Only now does the call return, with a finger that no longer has anybody to log on.
        machine.Tell(L"place SIMULATED-PC anna secret");
    }
    CHECK(life.End() < StopBound);
    CHECK(WaitForNoEventWindow());
    CHECK(life.EndAndUnload());
    CHECK(life.sink.references == 1);
    const HANDLE event = OpenEventA(SYNCHRONIZE, FALSE, "Global\\{D3368B8A-2EA4-49d7-A2B0-6F711BAD3DB9}");
    CHECK(event == nullptr);
    CheckNextLife(machine);
}

TEST_CASE("a blocked identification is stopped at once, and says so")
{
    Machine machine;
    ProviderLife life(machine);
    life.StartAndWaitForPrompt();
    machine.Tell(L"wait IdentifyEnroll");
    CHECK(life.End() < 4000); // it needs none of its 5000 ms
    REQUIRE(life.EndAndUnload());
    CHECK(machine.Calls().back() == L"CaptureStop");
    const Texts log = machine.LogOf("ThreadFP");
    CHECK(log.back() == L"ShowWindow(pWin->m_hWnd,SW_HIDE)");
    CHECK(std::count(log.begin(), log.end(), L"g_bExit TRUE") == 1);
}

TEST_CASE("lives follow each other in one loaded module")
{
    Machine machine;
    const HMODULE module = LoadLibraryW(L"VexaFPCredentialProvider.dll");
    REQUIRE(module != nullptr);
    for (int turn = 0; turn < 5; ++turn) {
        CAPTURE(turn);
        machine.Tell(L"clear");
        ProviderLife life(machine);
        life.StartAndWaitForPrompt();
        machine.Tell(L"place SIMULATED-PC anna secret");
        CHECK(life.sink.WaitFor(1));
        machine.Tell(L"wait IdentifyEnroll 2");
    }
    FreeLibrary(module);
}

TEST_CASE("a thread left over from an earlier life does not serve the next")
{
    Machine machine;
    // Its finger must not reach the second life, nor may it keep the second window from being made.
    machine.Tell(L"ignore-stop on");
    auto first = std::make_unique<ProviderLife>(machine);
    first->StartAndWaitForPrompt();
    machine.Tell(L"wait IdentifyEnroll");
    machine.HurryWaits();
    first->End();

    ProviderLife second(machine);
    second.StartAndWaitForPrompt();
    machine.Tell(L"wait IdentifyEnroll 2");
    machine.Tell(L"place SIMULATED-PC anna wrong"); // taken by the call that has waited longest
    machine.Tell(L"place SIMULATED-PC anna secret");
    CHECK(second.sink.WaitFor(1));
    CHECK(first->sink.changes == 0);
    const auto logons = machine.windows.Snapshot().accounts.logons;
    REQUIRE(logons.size() == 1);
    CHECK(logons[0].password == L"secret");
    machine.Tell(L"ignore-stop off");
}

TEST_CASE("a second window beside a living one fails to register, and nothing breaks")
{
    Machine machine;
    ProviderLife first(machine);
    first.StartAndWaitForPrompt();
    {
        ProviderLife second(machine);
        second.Start();
        CHECK(machine.WaitForLog("DeamonThread", L"start", 2));
    }
    CHECK(FindEventWindow() != nullptr);
    first.End();
    CHECK(WaitForNoEventWindow());
    CheckNextLife(machine);
}
