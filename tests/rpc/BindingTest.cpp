#include "Service.h"
#include "WindowsModel/ImportHooks.h"

#include <functional>
#include <vector>

namespace {

using WindowsModel::ImportHooks;

struct Observed {
    int stringsFreed = 0;
    int bindingsFreed = 0;
    std::vector<DWORD> sleeps;
    std::function<void()> onSleep; // its own sleeps are real
    bool inOnSleep = false;
};
Observed g_observed;

decltype(&RpcStringFreeW) g_freeString;
decltype(&RpcBindingFree) g_freeBinding;
decltype(&Sleep) g_sleep;

RPC_STATUS RPC_ENTRY NoteFreeString(RPC_WSTR* text)
{
    ++g_observed.stringsFreed;
    return g_freeString(text);
}

RPC_STATUS RPC_ENTRY NoteFreeBinding(RPC_BINDING_HANDLE* binding)
{
    ++g_observed.bindingsFreed;
    return g_freeBinding(binding);
}

RPC_STATUS RPC_ENTRY FailToBind(RPC_WSTR, RPC_BINDING_HANDLE*)
{
    return RPC_S_INVALID_STRING_BINDING;
}

void WINAPI NoteSleep(DWORD milliseconds)
{
    if (g_observed.inOnSleep)
        return g_sleep(milliseconds);
    g_observed.sleeps.push_back(milliseconds);
    g_observed.inOnSleep = true;
    if (g_observed.onSleep)
        g_observed.onSleep();
    g_observed.inOnSleep = false;
}

/// WaitFPService without its waits, which are noted.
int Wait(std::function<void()> onSleep = {})
{
    g_observed = {};
    g_observed.onSleep = std::move(onSleep);
    ImportHooks hooks(GetModuleHandleW(nullptr));
    REQUIRE(hooks.Replace("Sleep", NoteSleep, &g_sleep) == ImportHooks::Result::Replaced);
    return WaitFPService();
}

/// Does it during the sleep of that number.
template <class Action>
std::function<void()> At(size_t sleep, Action action)
{
    return [=] {
        if (g_observed.sleeps.size() == sleep)
            REQUIRE(action());
    };
}

bool StartAnew()
{
    return g_service.Start();
}

std::vector<DWORD> Times(size_t count, DWORD milliseconds)
{
    return std::vector<DWORD>(count, milliseconds);
}

} // namespace

TEST_CASE("a binding is made anew by each call, and freed once")
{
    g_observed = {};
    ImportHooks hooks(GetModuleHandleW(nullptr));
    REQUIRE(hooks.Replace("RpcStringFreeW", NoteFreeString, &g_freeString) == ImportHooks::Result::Replaced);
    REQUIRE(hooks.Replace("RpcBindingFree", NoteFreeBinding, &g_freeBinding) ==
            ImportHooks::Result::Replaced);
    UnbindFPService();
    CHECK(g_observed.bindingsFreed == 0);
    CHECK(BindFPService() == RPC_S_OK);
    const handle_t first = g_hFPBinding;
    CHECK(BindFPService() == RPC_S_OK);
    CHECK(g_hFPBinding != first);
    CHECK(g_observed.bindingsFreed == 0); // a thread may be inside a call on the first
    UnbindFPService();
    UnbindFPService();
    CHECK(g_observed.stringsFreed == 1);
    CHECK(g_observed.bindingsFreed == 1);
    CHECK(g_hFPBinding == nullptr);
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
        CHECK(CheckDeviceIsEnable() == state);
    }
    g_service.Kill();
    CHECK(CheckDeviceIsEnable() == -1);
    UnbindFPService();
    ImportHooks hooks(GetModuleHandleW(nullptr));
    REQUIRE(hooks.Replace("RpcBindingFromStringBindingW", FailToBind) == ImportHooks::Result::Replaced);
    CHECK(BindFPService() == RPC_S_INVALID_STRING_BINDING);
    CHECK(ConnectFPService() == 0);
}

TEST_CASE("waiting for service and sensor, each up to its last attempt")
{
    const BoundService service;
    CHECK(Wait() == 0);
    CHECK(g_observed.sleeps.empty());

    const auto enable = [] { return ServiceClient::TellOk(L"pba 1"); };
    REQUIRE(ServiceClient::TellOk(L"pba 0"));
    CHECK(Wait(At(5, enable)) == -1);
    CHECK(g_observed.sleeps == Times(5, 200));
    REQUIRE(ServiceClient::TellOk(L"pba 0"));
    CHECK(Wait(At(4, enable)) == 0);
    CHECK(g_observed.sleeps == Times(4, 200));

    g_service.Kill();
    CHECK(Wait(At(10, StartAnew)) == -1);
    CHECK(g_observed.sleeps == Times(10, 300));
    g_service.Kill();
    CHECK(Wait(At(9, StartAnew)) == 0);
    CHECK(g_observed.sleeps == Times(9, 300));
}

TEST_SUITE_END();
