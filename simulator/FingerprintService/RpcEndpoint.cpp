#include "RpcEndpoint.h"

#include "VexaFP.h"
#include "base/Handle.h"
#include "ServiceClient/PipeConnection.h"

namespace {

wchar_t kProtocol[] = L"ncalrpc";
wchar_t kEndpoint[] = L"VexaFP";
constexpr DWORD kAnswerLimit = 5000;
constexpr DWORD kAnswerPause = 5;

struct BindingPolicy {
    using Type = RPC_BINDING_HANDLE;
    static Type Invalid() { return nullptr; }
    static void Close(Type binding) { RpcBindingFree(&binding); }
};
using Binding = UniqueResource<BindingPolicy>;

struct RpcStringPolicy {
    using Type = RPC_WSTR;
    static Type Invalid() { return nullptr; }
    static void Close(Type string) { RpcStringFreeW(&string); }
};
using RpcString = UniqueResource<RpcStringPolicy>;

RPC_WSTR RpcText(wchar_t* text)
{
    return reinterpret_cast<RPC_WSTR>(text);
}

/// Listening and answering are two moments: the runtime serves the endpoint from a thread of its own.
RPC_STATUS WaitUntilAnswering()
{
    RpcString text;
    Binding binding;
    RPC_STATUS status = RpcStringBindingComposeW(nullptr, RpcText(kProtocol), nullptr, RpcText(kEndpoint),
                                                 nullptr, text.Put());
    if (status == RPC_S_OK)
        status = RpcBindingFromStringBindingW(text.Get(), binding.Put());
    if (status != RPC_S_OK)
        return status;
    ULONGLONG deadline = GetTickCount64() + kAnswerLimit;
    while ((status = RpcMgmtIsServerListening(binding.Get())) != RPC_S_OK &&
           ServiceClient::Remaining(deadline) > 0)
        Sleep(kAnswerPause);
    return status;
}

} // namespace

RPC_STATUS RpcEndpoint::Start()
{
    RPC_STATUS status = RpcServerUseProtseqEpW(RpcText(kProtocol), RPC_C_PROTSEQ_MAX_REQS_DEFAULT,
                                               RpcText(kEndpoint), nullptr);
    if (status == RPC_S_OK)
        status = RpcServerRegisterIf(Service_VexaFP_v1_0_s_ifspec, nullptr, nullptr);
    if (status != RPC_S_OK)
        return status;
    m_registered = true;
    status = RpcServerListen(1, RPC_C_LISTEN_MAX_CALLS_DEFAULT, TRUE);
    return status == RPC_S_OK ? WaitUntilAnswering() : status;
}

void RpcEndpoint::Stop(bool waitForCalls)
{
    if (!m_registered)
        return;
    m_registered = false;
    RpcMgmtStopServerListening(nullptr);
    // Not left to the unregistration below: its own wait can miss the end of a call, and then never returns.
    if (waitForCalls)
        RpcMgmtWaitServerListen();
    RpcServerUnregisterIf(Service_VexaFP_v1_0_s_ifspec, nullptr, FALSE);
}
