// What LogonUI and its user must not suffer: a key that goes to the prompt, a service that hangs, functions
// of Windows that fail just when the life ends.
#include "ProviderLife.h"

#include <doctest/doctest.h>

#include <algorithm>

namespace {

constexpr UINT Fingerprint = WM_USER + 1;

} // namespace

TEST_CASE("whoever is typing keeps the focus through a whole life")
{
    Machine machine;
    machine.SetLockOut(1, 1);
    const HWND typing = CreateWindowExW(0, L"EDIT", L"", WS_POPUP | WS_VISIBLE, 0, 0, 200, 100, nullptr,
                                        nullptr, nullptr, nullptr);
    SetForegroundWindow(typing);
    SetFocus(typing);
    const auto isTyping = [&] { return GetForegroundWindow() == typing && GetFocus() == typing; };
    REQUIRE((typing != nullptr && isTyping()));
    std::atomic<int> promptsWithoutFocus = 0;
    machine.windows.Lock()->texts.onPrompt = [&](const std::wstring& /*text*/) {
        promptsWithoutFocus += FindEventWindow() == GetForegroundWindow();
    };
    ProviderLife life(machine);
    SUBCASE("sensor failed")
    {
        machine.Tell(L"nobody");
        life.Start();
        CHECK(life.SeePrompt(L"Fingerprint sensor failed."));
    }
    SUBCASE("suspended, resumed, locked out")
    {
        life.StartAndWaitForPrompt();
        CHECK(isTyping());
        SendMessageW(life.Window(), WM_POWERBROADCAST, PBT_APMSUSPEND, 0);
        SendMessageW(life.Window(), WM_POWERBROADCAST, PBT_APMRESUMESUSPEND, 0);
        CHECK(isTyping());
        machine.Tell(L"place SIMULATED-PC anna wrong");
        CHECK(life.SeePrompt(L"Please manually enter your account information to log in"));
    }
    CHECK(isTyping());
    CHECK(promptsWithoutFocus == 0);
    machine.windows.Lock()->texts.onPrompt = nullptr;
    DestroyWindow(typing);
}

TEST_CASE("a service that hangs does not hold the end of a life")
{
    Machine machine;
    ProviderLife life(machine);
    life.StartAndWaitForPrompt();
    machine.Tell(L"wait IdentifyEnroll");
    machine.HurryWaits();
    {
        const Machine::Suspension suspension;
        CHECK(life.End() < 9000);
        CHECK(WaitForNoEventWindow());
    }
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
    auto suspension = std::make_unique<Machine::Suspension>();
    // The watchdog has taken the stop by then, so that the identification begins anew.
    machine.HurryWaits([&] {
        machine.WaitForLog("DeamonThread", L"TerminateThread 2");
        suspension.reset();
        machine.AwaitCalls(L"IdentifyEnroll", 2);
    });
    CHECK(life.EndAndUnload());
}

TEST_CASE("a life whose binding another provider has taken ends without a finger")
{
    Machine machine;
    ProviderLife life(machine);
    life.StartAndWaitForPrompt();
    machine.Tell(L"wait IdentifyEnroll");
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
    struct Row {
        std::string function;
        unsigned times;
    };
    for (const Row& row : {Row{"PostMessageW", 1},
                           {"DestroyWindow", 1},
                           {"UnregisterClassW", 1},
                           {"UnregisterClassW", 2},
                           {"GetModuleHandleExW", 100}}) {
        CAPTURE(row.function);
        CAPTURE(row.times);
        Machine machine;
        // Keeps the module, and with it what it has to remember of the failure.
        const auto kept = row.times == 2 ? std::make_unique<Dll>() : nullptr;
        {
            ProviderLife life(machine);
            life.StartAndWaitForPrompt();
            machine.Tell(L"wait IdentifyEnroll");
            REQUIRE(machine.windows.FailNext(row.function, ERROR_NOT_ENOUGH_MEMORY, 0, row.times));
            CHECK(life.End() < StopBound);
            CHECK(WaitForNoEventWindow());
            if (!kept)
                CHECK(life.EndAndUnload());
        }
        machine.windows.Lock()->failures.pending.clear();
        CheckNextLife(machine);
    }
}

TEST_CASE("a paused service is asked ten times a second, and not beyond the stop")
{
    Machine machine;
    machine.windows.Lock()->services.Script(L"VexaFPService", {{SERVICE_PAUSED}});
    ProviderLife life(machine);
    life.Start();
    REQUIRE(machine.windows.WaitForCalls("QueryServiceStatus", 8, Patience));
    const auto sleeps = machine.windows.Snapshot().clock.Sleeps();
    // Both services' first hints are waited for as they are.
    REQUIRE(sleeps.size() >= 5);
    CHECK(std::count(sleeps.begin(), sleeps.end(), 0) == 2);
    CHECK(std::count(sleeps.begin(), sleeps.end(), 100) == static_cast<long>(sleeps.size()) - 2);
    CHECK(life.End() < StopBound);
    CHECK(machine.windows.Snapshot().commands.commands.empty());
}

namespace {

/// Has the prompt window report to LogonUI in the middle of its provider's own Advise and UnAdvise.
struct HastySink final : CountingSink<ICredentialProviderEvents> {
    explicit HastySink(HWND window) : window(window) {}
    STDMETHODIMP_(ULONG) AddRef() override { return Report(++references); }
    STDMETHODIMP_(ULONG) Release() override { return Report(--references); }
    ULONG Report(ULONG count) const
    {
        SendMessageW(window, Fingerprint, 1, 0);
        return count;
    }
    STDMETHODIMP CredentialsChanged(UINT_PTR context) override
    {
        announced += references > 0 && context == ProviderLife::Context ? 1 : 100;
        return S_OK;
    }
    std::atomic<int> announced = 0;
    const HWND window;
};

} // namespace

TEST_CASE("a sink is told of changes only while the provider holds it, and with its own context")
{
    Machine machine;
    ProviderLife life(machine);
    life.StartAndWaitForPrompt();
    HastySink sink(life.Window());
    REQUIRE(life.provider->Advise(&sink, ProviderLife::Context) == S_OK);
    SendMessageW(life.Window(), Fingerprint, 1, 0);
    REQUIRE(life.provider->UnAdvise() == S_OK);
    CHECK(sink.announced == 1);
    CHECK(sink.references == 0);
}
