// What LogonUI and its user must not suffer: a key that goes to the prompt, a service that hangs, functions
// of Windows that fail just when the life ends.
#include "ProviderLife.h"

TEST_CASE("whoever is typing keeps the focus through a whole life")
{
    Machine machine;
    REQUIRE(FitMachine::SetLimit(1, 1));
    const HWND typing = CreateWindowExW(0, L"EDIT", L"", WS_POPUP | WS_VISIBLE, 0, 0, 200, 100, nullptr,
                                        nullptr, nullptr, nullptr);
    SetForegroundWindow(typing);
    SetFocus(typing);
    const auto isTyping = [&] { return GetForegroundWindow() == typing && GetFocus() == typing; };
    REQUIRE((typing != nullptr && isTyping()));
    ProviderLife life(machine);
    life.StartAndWaitForPrompt();
    CHECK(isTyping());
    SendMessageW(life.Window(), WM_POWERBROADCAST, PBT_APMSUSPEND, 0);
    SendMessageW(life.Window(), WM_POWERBROADCAST, PBT_APMRESUMESUSPEND, 0);
    CHECK(isTyping());
    machine.Tell(L"place SIMULATED-PC anna wrong");
    CHECK(life.SeePrompt(L"Please manually enter your account information to log in"));
    CHECK(isTyping());
    DestroyWindow(typing);
}

TEST_CASE("a service that hangs does not hold the end of a life")
{
    Machine machine;
    ProviderLife life(machine);
    life.StartAndWaitForPrompt();
    machine.AwaitCalls(L"IdentifyEnroll");
    machine.HurryWaits();
    REQUIRE(machine.service.Suspend());
    life.End();
    CHECK(WaitForNoEventWindow());
    REQUIRE(machine.service.Resume());
    // The service has woken, and with it whoever waited for an answer.
    CHECK(life.EndAndUnload());
    CheckNextLife(machine);
}

TEST_CASE("a service that wakes while its life is ending does not keep the module")
{
    Machine machine;
    Machine::HurryWatch();
    ProviderLife life(machine);
    life.StartAndWaitForPrompt();
    machine.AwaitCalls(L"IdentifyEnroll");
    REQUIRE(machine.service.Suspend());
    // The watchdog has taken the stop by then, so that the identification begins anew.
    machine.HurryWaits([&] {
        machine.WaitForLog("DeamonThread", L"TerminateThread 2");
        machine.service.Resume();
        machine.AwaitCalls(L"IdentifyEnroll", 2);
    });
    CHECK(life.EndAndUnload());
}

TEST_CASE("a life whose binding another provider has taken ends without a finger")
{
    Machine machine;
    ProviderLife life(machine);
    life.StartAndWaitForPrompt();
    machine.AwaitCalls(L"IdentifyEnroll");
    {
        const ProviderLife other(machine);
    }
    machine.HurryWaits();
    life.End();
    CHECK(machine.LogOf("CCommandWindow::~CCommandWindow").at(1) == L"RPCCaptureStop Fail");
    CHECK(life.EndAndUnload());
}

TEST_CASE("a function that fails at the end of a life leaves nothing behind")
{
    for (const auto& [function, times] : {std::pair("PostMessageW", 1),
                                          {"DestroyWindow", 1},
                                          {"UnregisterClassW", 1},
                                          {"UnregisterClassW", 2},
                                          {"GetModuleHandleExW", 100}}) {
        INFO(function, " ", times);
        Machine machine;
        // Keeps the module, and with it what it has to remember of the failure.
        const auto kept = times == 2 ? std::make_unique<Dll>() : nullptr;
        {
            ProviderLife life(machine);
            life.StartAndWaitForPrompt();
            machine.AwaitCalls(L"IdentifyEnroll");
            machine.FailNext(function, 0, unsigned(times));
            life.End();
            CHECK(WaitForNoEventWindow());
            if (!kept)
                CHECK(life.EndAndUnload());
        }
        machine.windows.Lock()->failures.pending.clear();
        CheckNextLife(machine);
    }
}

TEST_CASE("a paused service is not asked beyond the stop, nor restarted")
{
    Machine machine;
    machine.windows.Lock()->services.Script(L"VexaFPService", {{SERVICE_PAUSED}});
    ProviderLife life(machine);
    life.Start();
    REQUIRE(machine.windows.WaitForCalls("QueryServiceStatus", 8, Patience));
    CHECK(life.EndAndUnload());
    CHECK(machine.windows.Snapshot().commands.commands.empty());
}

namespace {

constexpr UINT Fingerprint = WM_USER + 1;

/// Has the prompt window report to LogonUI in the middle of its provider's own Advise and UnAdvise.
struct HastySink final : EventsSink {
    explicit HastySink(HWND window) : window(window) {}
    STDMETHODIMP_(ULONG) AddRef() override { return Report(++references); }
    STDMETHODIMP_(ULONG) Release() override { return Report(--references); }
    ULONG Report(ULONG count) const
    {
        SendMessageW(window, Fingerprint, 1, 0);
        return count;
    }
    const HWND window;
};

} // namespace

TEST_CASE("a sink is told of changes only while the provider holds it, and with its own context")
{
    Machine machine;
    ProviderLife life(machine);
    life.StartAndWaitForPrompt();
    HastySink sink(life.Window());
    std::atomic<bool> held = true;
    sink.during = [&] { held = held && sink.references > 0; };
    REQUIRE(life.provider->Advise(&sink, ProviderLife::Context) == S_OK);
    SendMessageW(life.Window(), Fingerprint, 1, 0);
    REQUIRE(life.provider->UnAdvise() == S_OK);
    CHECK(sink.contexts == std::vector{ProviderLife::Context});
    CHECK(held);
    CHECK(sink.references == 0);
}
