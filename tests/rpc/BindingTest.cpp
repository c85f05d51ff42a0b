#include "Service.h"
#include "unit/base/Simulation.h"

#include <functional>
#include <vector>

namespace {

decltype(&Sleep) g_sleep;
using Waits = std::vector<DWORD>;
Waits g_sleeps;
std::function<void()> g_onSleep; // its own sleeps are real

/// WaitFPService without its waits, which are noted. Does `action` during the sleep of that number.
int Wait(size_t sleep = 0, const std::function<bool()>& action = {})
{
    g_sleeps.clear();
    g_onSleep = [=] {
        if (g_sleeps.size() == sleep)
            REQUIRE(action());
    };
    Simulation hooks;
    hooks.Replace(
        "Sleep",
        +[](DWORD milliseconds) {
            if (g_onSleep == nullptr)
                return g_sleep(milliseconds);
            g_sleeps.push_back(milliseconds);
            const auto onSleep = std::exchange(g_onSleep, nullptr);
            onSleep();
            g_onSleep = onSleep;
        },
        &g_sleep);
    return WaitFPService();
}

CLIENT_CALL_RETURN __cdecl LoseService(PMIDL_STUB_DESC, PFORMAT_STRING format, ...)
{
    constexpr byte IsPbaEnable = 23;
    if (format[6] == IsPbaEnable)
        RaiseException(RPC_S_CALL_FAILED, 0, 0, nullptr);
    return {};
}

} // namespace

TEST_CASE("a binding is made anew by each call, and freed once")
{
    Simulation simulation(Group::Failures);
    const auto freed = [&](const char* function) { return simulation->recorder.Count(function); };
    UnbindFPService();
    CHECK(freed("RpcBindingFree") == 0);
    CHECK(BindFPService() == RPC_S_OK);
    const handle_t first = g_hFPBinding;
    CHECK(BindFPService() == RPC_S_OK);
    CHECK(g_hFPBinding != first);
    CHECK(freed("RpcBindingFree") == 0); // a thread may be inside a call on the first
    UnbindFPService();
    UnbindFPService();
    CHECK((freed("RpcStringFreeW") == 1 && freed("RpcBindingFree") == 1));
    CHECK(g_hFPBinding == nullptr);
}

TEST_CASE("a service that is lost between a probe's two calls is not there")
{
    Simulation hooks;
    hooks.Replace("NdrClientCall2", LoseService);
    CHECK(ConnectFPService() == 1);
    CHECK(CheckDeviceIsEnable() == -1);
    UnbindFPService();
}

TEST_SUITE_BEGIN("service loss");

TEST_CASE("the probes tell whether the service answers, and the sensor's state")
{
    const BoundService service;
    UnbindFPService();
    REQUIRE(ServiceClient::TellOk(L"result Probe -5")); // whatever it answers, it is there
    CHECK(ConnectFPService() == 1);
    for (const long state : {1L, 0L, 2L, -5L}) {
        REQUIRE(ServiceClient::TellOk(L"pba " + std::to_wstring(state)));
        UnbindFPService();
        CHECK(CheckDeviceIsEnable() == state); // binds by itself
    }
    g_service.Kill();
    CHECK(CheckDeviceIsEnable() == -1);
    UnbindFPService();
    Simulation hooks;
    hooks.Replace(
        "RpcBindingFromStringBindingW",
        +[](RPC_WSTR, RPC_BINDING_HANDLE*) -> RPC_STATUS { return RPC_S_INVALID_STRING_BINDING; });
    CHECK(BindFPService() == RPC_S_INVALID_STRING_BINDING);
    CHECK(ConnectFPService() == 0);
}

TEST_CASE("waiting for service and sensor, each up to its last attempt")
{
    const BoundService service;
    CHECK(Wait() == 0);
    CHECK(g_sleeps.empty());

    const auto start = [] { return g_service.Start(); };
    const auto enable = [] { return ServiceClient::TellOk(L"pba 1"); };
    REQUIRE(ServiceClient::TellOk(L"pba 0"));
    CHECK(Wait(5, enable) == -1);
    CHECK(g_sleeps == Waits(5, 200));
    REQUIRE(ServiceClient::TellOk(L"pba 0"));
    CHECK(Wait(4, enable) == 0);
    CHECK(g_sleeps == Waits(4, 200));

    g_service.Kill();
    CHECK(Wait(10, start) == -1);
    CHECK(g_sleeps == Waits(10, 300));
    g_service.Kill();
    CHECK(Wait(9, start) == 0);
    CHECK(g_sleeps == Waits(9, 300));
}

TEST_SUITE_END();
