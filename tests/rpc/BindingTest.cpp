#include "Service.h"
#include "unit/base/Simulation.h"

namespace {

constexpr char MakesHandle[] = "RpcBindingFromStringBindingW";

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

TEST_CASE("the probes tell whether the service answers, and the sensor's state")
{
    BindFreshService();
    UnbindFPService();
    REQUIRE(ServiceClient::TellOk(L"result Probe -5")); // whatever it answers, it is there
    CHECK(ConnectFPService() == 1);
    for (const long state : {1L, 0L, 2L, -5L}) {
        REQUIRE(ServiceClient::TellOk(L"pba " + std::to_wstring(state)));
        UnbindFPService();
        CHECK(CheckDeviceIsEnable() == state); // binds by itself
    }
    Simulation simulation(Group::Failures);
    simulation.Replace("NdrClientCall2", LoseService);
    CHECK(ConnectFPService() == 1);
    CHECK(CheckDeviceIsEnable() == -1); // lost between its two calls
    simulation.FailNext(MakesHandle, RPC_S_INVALID_STRING_BINDING, 3);
    CHECK(BindFPService() == RPC_S_INVALID_STRING_BINDING);
    CHECK(ConnectFPService() == 0);
    CHECK(CheckDeviceIsEnable() == -1);
}

TEST_CASE("waiting for service and sensor, each up to its last attempt")
{
    using Sleeps = std::vector<DWORD>;
    struct Row {
        const wchar_t* sensor;
        unsigned successes, failures; // of the attempts to reach the service, in this order
        int result;
        Sleeps sleeps;
    };
    BindFreshService();
    for (const Row& row : {
             Row{L"pba 1", 2, 1, 0, {}},
             Row{L"pba 1", 0, 9, 0, Sleeps(9, 300)},
             Row{L"pba 1", 0, 10, -1, Sleeps(10, 300)},
             Row{L"pba 1", 1, 4, 0, Sleeps(4, 200)},
             Row{L"pba 0", 6, 1, -1, Sleeps(5, 200)},
         }) {
        INFO(row.successes, " ", row.failures);
        REQUIRE(ServiceClient::TellOk(row.sensor));
        Simulation simulation(Group::Clock | Group::Failures);
        simulation->clock.sleepScale = 0;
        REQUIRE(simulation.windows.FailNext(MakesHandle, RPC_S_INVALID_STRING_BINDING, row.successes,
                                            row.failures));
        CHECK(WaitFPService() == row.result);
        CHECK(simulation->clock.Sleeps() == row.sleeps);
    }
}
