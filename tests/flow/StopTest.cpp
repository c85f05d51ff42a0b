// The end of a provider's life, whatever its threads are doing, and the lives after it.
#include "ProviderLife.h"

namespace {

// Places in the DLL where a thread is held until the test lets it go on.
KernelHandle g_reached{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
KernelHandle g_goOn{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
decltype(&RegisterClassExW) g_registerClass;
decltype(&SleepConditionVariableSRW) g_sleepOnCondition;

ATOM WINAPI HeldRegisterClass(const WNDCLASSEXW* windowClass)
{
    SetEvent(g_reached.Get());
    WindowsModel::RealWait(g_goOn.Get(), Patience);
    return g_registerClass(windowClass);
}

BOOL WINAPI EndlessSleepOnCondition(CONDITION_VARIABLE* condition, SRWLOCK* lock, DWORD, ULONG flags)
{
    SetEvent(g_reached.Get());
    return g_sleepOnCondition(condition, lock, INFINITE, flags);
}

} // namespace

TEST_CASE("the life ends within its waits and leaves nothing behind")
{
    Machine machine;
    ProviderLife life(machine);
    // Where the watchdog will not have ended, the wait for it is hurried.
    SUBCASE("while an identification blocks")
    {
        life.StartAndWaitForPrompt();
        machine.AwaitCalls(L"IdentifyEnroll");
    }
    SUBCASE("while the service is busy")
    {
        machine.Tell(L"busy forever");
        life.StartAndWaitForPrompt();
        machine.AwaitCalls(L"IdentifyEnroll", 2);
        machine.HurryWaits();
    }
    SUBCASE("while a wrong password is shown")
    {
        life.StartAndWaitForPrompt();
        machine.HoldSleeps();
        machine.Tell(L"place SIMULATED-PC anna wrong");
        CHECK(life.SeePrompt(L"Wrong password"));
        machine.HurryWaits();
    }
    SUBCASE("right after a logon, when the next identification begins after the first stop")
    {
        life.StartAndWaitForPrompt();
        machine.HoldSleeps();
        life.LogOn();
        machine.HurryWaits([&] {
            machine.ReleaseSleeps();
            machine.AwaitCalls(L"IdentifyEnroll", 2);
        });
    }
    life.End();
    machine.ReleaseSleeps();
    CHECK(life.EndAndUnload());
    CHECK(life.sink.references == 0);
    CHECK_FALSE(IsServiceEventOpen());
    machine.Tell(L"reset");
    CheckNextLife(machine);
}

TEST_CASE("a watchdog that sees the stop first waits for the other thread")
{
    Machine machine;
    machine.Tell(L"ignore-stop on");
    machine.HurryWatch();
    ProviderLife life(machine);
    life.StartAndWaitForPrompt();
    machine.AwaitCalls(L"IdentifyEnroll");
    const KernelHandle watchdog = machine.OpenWatchdog();
    machine.HurryWaits([&] { CHECK(machine.WaitForLog("DeamonThread", L"TerminateThread 2")); });
    life.End();
    CHECK(HasCome(watchdog));
    CHECK(WaitForNoEventWindow());
    // Only now does the call return, with a finger that no longer has anybody to log on.
    machine.Tell(L"place SIMULATED-PC anna secret");
    CHECK(life.EndAndUnload());
    CHECK(life.sink.references == 0);
    Texts log = machine.LogOf("DeamonThread");
    std::erase(log, L"WAIT_TIMEOUT");
    CHECK(log == Texts{L"start", L"TerminateThread 1", L"TerminateThread 2"});
}

TEST_CASE("a life that ends before its window is made")
{
    Machine machine;
    ProviderLife life(machine);
    REQUIRE(life.dll.hooks.Replace("RegisterClassExW", HeldRegisterClass, &g_registerClass) ==
            WindowsModel::ImportHooks::Result::Replaced);
    life.Start();
    REQUIRE(HasCome(g_reached));
    life.End();
    SetEvent(g_goOn.Get());
    CHECK(life.EndAndUnload());
    CHECK(FindEventWindow() == nullptr);
    CHECK(machine.LogOf("DeamonThread").empty());
    CheckNextLife(machine);
}

TEST_CASE("the provider's end waits for a sink that takes its time, and keeps the tile until then")
{
    Machine machine;
    ProviderLife life(machine);
    REQUIRE(life.dll.hooks.Replace("SleepConditionVariableSRW", EndlessSleepOnCondition,
                                   &g_sleepOnCondition) == WindowsModel::ImportHooks::Result::Replaced);
    life.StartAndWaitForPrompt();
    const KernelHandle inside(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    std::string lastWords;
    life.sink.during = [&] {
        SetEvent(inside.Get());
        if (HasCome(g_reached))
            lastWords = machine.windows.Snapshot().texts.debug.back().text;
    };
    machine.Tell(L"place SIMULATED-PC anna secret");
    REQUIRE(HasCome(inside));
    life.End();
    CHECK(lastWords == "VEXA CredPro ~CVexaFPProvider"); // the credential's not yet
}

TEST_CASE("a thread left over from an earlier life does not serve the next")
{
    Machine machine;
    // Its finger must not reach the second life, nor may it keep the second window from being made.
    machine.Tell(L"ignore-stop on");
    ProviderLife first(machine);
    first.StartAndWaitForPrompt();
    machine.AwaitCalls(L"IdentifyEnroll");
    machine.HurryWaits();
    first.End();

    ProviderLife second(machine);
    second.StartAndWaitForPrompt();
    machine.AwaitCalls(L"IdentifyEnroll", 2);
    // The first is taken by the call that has waited longest.
    machine.Tell(L"place SIMULATED-PC anna wrong");
    machine.Tell(L"place SIMULATED-PC anna secret");
    CHECK(second.sink.WaitFor(1));
    CHECK(first.sink.changes == 0);
    const auto logons = machine.windows.Snapshot().accounts.logons;
    REQUIRE(logons.size() == 1);
    CHECK(logons[0].password == L"secret");
    machine.Tell(L"ignore-stop off");
}

TEST_CASE("a second window beside a living one is not made, and nothing breaks")
{
    Machine machine;
    ProviderLife first(machine);
    first.StartAndWaitForPrompt();
    const HWND window = first.Window();
    {
        ProviderLife second(machine);
        second.Start();
        CHECK(machine.WaitForLog("DeamonThread", L"start", 2));
        CHECK(first.Window() == window);
        CHECK(FindEventWindow(window) == nullptr);
    }
    CHECK(first.Window() == window);
    first.End();
    CHECK(WaitForNoEventWindow());
    CheckNextLife(machine);
}
