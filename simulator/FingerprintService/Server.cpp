#include "Server.h"

#include "ServiceState.h"
#include "VexaFP.h"

#include <rpc.h>

namespace {

constexpr wchar_t MutexName[] = L"Global\\VexaFPServiceSimulator";
wchar_t Protocol[] = L"ncalrpc";
wchar_t Endpoint[] = L"VexaFP";
wchar_t BindingText[] = L"ncalrpc:[VexaFP]";

// After a stop the previous process still needs a moment to end, and a start may follow at once.
constexpr DWORD PredecessorLimit = 3000;
constexpr DWORD CallsLimit = 3000;
constexpr DWORD AnswerLimit = 5000;
constexpr DWORD AnswerPause = 5;

RPC_WSTR RpcText(wchar_t* text)
{
    return reinterpret_cast<RPC_WSTR>(text);
}

/// Listening and answering are two moments: the runtime serves the endpoint from a thread of its own.
RPC_STATUS WaitUntilAnswering()
{
    RPC_BINDING_HANDLE binding = nullptr;
    RPC_STATUS status = RpcBindingFromStringBindingW(RpcText(BindingText), &binding);
    if (status != RPC_S_OK)
        return status;
    const ULONGLONG deadline = GetTickCount64() + AnswerLimit;
    while ((status = RpcMgmtIsServerListening(binding)) != RPC_S_OK && GetTickCount64() < deadline)
        Sleep(AnswerPause);
    RpcBindingFree(&binding);
    return status;
}

RPC_STATUS Listen(bool& registered)
{
    RPC_STATUS status =
        RpcServerUseProtseqEpW(RpcText(Protocol), RPC_C_PROTSEQ_MAX_REQS_DEFAULT, RpcText(Endpoint), nullptr);
    if (status == RPC_S_OK)
        status = RpcServerRegisterIf(Service_VexaFP_v1_0_s_ifspec, nullptr, nullptr);
    registered = status == RPC_S_OK;
    if (registered)
        status = RpcServerListen(1, RPC_C_LISTEN_MAX_CALLS_DEFAULT, TRUE);
    return status == RPC_S_OK ? WaitUntilAnswering() : status;
}

bool WaitUntilIdle()
{
    Locked state;
    return state.Wait([&] { return state->callsUnderWay == 0; }, CallsLimit);
}

} // namespace

DWORD FingerprintServer::Start()
{
    m_only.Reset(CreateMutexW(nullptr, FALSE, MutexName));
    if (!m_only)
        return GetLastError();
    // An abandoned mutex is a predecessor that died, as scripts make it do.
    const DWORD wait = WaitForSingleObject(m_only.Get(), PredecessorLimit);
    if (wait != WAIT_OBJECT_0 && wait != WAIT_ABANDONED) {
        m_only.Reset();
        return ERROR_SERVICE_ALREADY_RUNNING;
    }
    // The pipe comes second: whoever gets an answer from it can count on the endpoint.
    const RPC_STATUS status = Listen(m_registered);
    return status == RPC_S_OK ? m_control.Start() : static_cast<DWORD>(status);
}

void FingerprintServer::Stop()
{
    if (!m_only)
        return;
    {
        const Locked state;
        state->closing = true;
        state->AnswerBlocked(ServiceStopping);
    }
    m_control.Stop();
    if (m_registered) {
        const bool idle = WaitUntilIdle();
        RpcMgmtStopServerListening(nullptr);
        // Not left to the unregistration below: its own wait can miss the end of a call, and then never
        // returns.
        if (idle)
            RpcMgmtWaitServerListen();
        RpcServerUnregisterIf(Service_VexaFP_v1_0_s_ifspec, nullptr, FALSE);
    }
    ReleaseMutex(m_only.Get());
    m_only.Reset();
}
