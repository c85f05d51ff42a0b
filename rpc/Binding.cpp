#include "Binding.h"

#include "FPStub.h"
#include "SehGuard.h"

#include <cstdio>
#include <utility>

namespace {

RPC_WSTR g_stringBinding = nullptr;

RPC_WSTR RpcText(const wchar_t* text)
{
    return reinterpret_cast<RPC_WSTR>(const_cast<wchar_t*>(text));
}

} // namespace

RPC_STATUS BindFPService()
{
    // What an earlier call left in the two globals is overwritten: one binding leaked per probe is
    // deliberate, since a thread may be inside a call on the old handle. Both are complete before others see
    // them.
    RPC_WSTR stringBinding = nullptr;
    RPC_STATUS status = RpcStringBindingComposeW(nullptr, RpcText(L"ncalrpc"), nullptr, RpcText(L"VexaFP"),
                                                 nullptr, &stringBinding);
    if (status != RPC_S_OK) {
        std::printf("RpcStringBindingCompose return %d\n", static_cast<int>(status));
        return status;
    }
    RPC_BINDING_HANDLE handle = nullptr;
    status = RpcBindingFromStringBindingW(stringBinding, &handle);
    g_hFPBinding = handle;
    g_stringBinding = stringBinding;
    if (status != RPC_S_OK)
        std::printf("RpcBindingFromStringBinding return %d\n", static_cast<int>(status));
    return status;
}

void UnbindFPService()
{
    if (g_stringBinding == nullptr)
        return;
    // Both globals are reset first: not every RPC runtime does it, and a raise must not leave anything to
    // free twice.
    RPC_WSTR stringBinding = std::exchange(g_stringBinding, nullptr);
    RPC_BINDING_HANDLE handle = std::exchange(g_hFPBinding, nullptr);
    RpcStringFreeW(&stringBinding);
    RpcBindingFree(&handle);
}

void ForgetFPService()
{
    g_stringBinding = nullptr;
    g_hFPBinding = nullptr;
}

int ConnectFPService()
{
    const SehResult guarded = Guarded([] {
        BindFPService();
        CallStub(Stub_Probe);
    });
    return guarded.raised ? 0 : 1;
}

long CheckDeviceIsEnable()
{
    long result = -1;
    const SehResult guarded = Guarded([&] {
        if (ConnectFPService() == 1)
            result = CallStub(Stub_IsPbaEnable);
    });
    return guarded.raised ? -1 : result;
}

int WaitFPService()
{
    constexpr int connectAttempts = 10;
    constexpr DWORD connectPause = 300; // ms
    constexpr int deviceAttempts = 5;
    constexpr DWORD devicePause = 200; // ms

    int attempt = 0;
    while (ConnectFPService() != 1) {
        Sleep(connectPause);
        if (++attempt == connectAttempts)
            return -1;
    }
    for (attempt = 0; attempt < deviceAttempts; ++attempt) {
        if (CheckDeviceIsEnable() == 1)
            return 0;
        Sleep(devicePause);
    }
    return -1;
}
