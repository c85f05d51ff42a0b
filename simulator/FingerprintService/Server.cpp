#include "Server.h"

#include "ServiceScript.h"
#include "ServiceState.h"
#include "Text.h"
#include "VexaFP.h"
#include "ServiceClient/ServiceControl.h"

#include <rpc.h>

namespace {

using ServiceClient::ControlPipeName;

constexpr wchar_t MutexName[] = L"Global\\VexaFPServiceSimulator";
wchar_t Protocol[] = L"ncalrpc";
wchar_t Endpoint[] = L"VexaFP";
wchar_t BindingText[] = L"ncalrpc:[VexaFP]";

// After a stop the previous process still needs a moment to end, and a start may follow at once.
constexpr DWORD PredecessorLimit = 3000;
constexpr DWORD CallsLimit = 3000;
constexpr DWORD AnswerLimit = 5000;
constexpr DWORD AnswerPause = 5;

constexpr DWORD LongestCommand = 64 * 1024;
constexpr DWORD CommandsLimit = 2000;
constexpr DWORD RetryPause = 50;

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

KernelHandle OrNull(HANDLE handle)
{
    return KernelHandle(handle == INVALID_HANDLE_VALUE ? nullptr : handle);
}

KernelHandle CreateInstance()
{
    return OrNull(CreateNamedPipeW(ControlPipeName, PIPE_ACCESS_DUPLEX,
                                   PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE, PIPE_UNLIMITED_INSTANCES,
                                   LongestCommand, LongestCommand, 0, nullptr));
}

// Started by Accept, argument the pipe instance of a client, which it closes; serves one command and ends.
// Each client gets a thread, so that commands are taken at any time: while RPC calls block, and while another
// command waits. ServiceState::commandsUnderWay counts these threads.
DWORD WINAPI ServeCommand(void* instance)
{
    const KernelHandle pipe(instance);
    std::string line(LongestCommand, '\0');
    DWORD count = 0;
    if (ReadFile(pipe.Get(), line.data(), LongestCommand, &count, nullptr)) {
        const Reply reply = Execute(FromUtf8(std::string_view(line).substr(0, count)));
        const std::string bytes = ToUtf8(reply.text);
        WriteFile(pipe.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr);
        // The process may end only when the client has read the reply.
        FlushFileBuffers(pipe.Get());
        Locked state;
        state->quit = state->quit || reply.after == After::Quit;
        if (reply.after == After::Die && !state->blocked.empty())
            Die();
        state->script.dieAtNextCapture = state->script.dieAtNextCapture || reply.after == After::Die;
    }
    --Locked()->commandsUnderWay;
    return 0;
}

// Started by TakeCommands, argument the first pipe instance; ends when a client connects while the service is
// closing.
DWORD WINAPI Accept(void* first)
{
    KernelHandle pipe(first);
    while (true) {
        const bool connected =
            ConnectNamedPipe(pipe.Get(), nullptr) || GetLastError() == ERROR_PIPE_CONNECTED;
        {
            const Locked state;
            if (state->closing)
                return 0;
            state->commandsUnderWay += connected;
        }
        // The next instance first: without any a client would take the service for absent.
        KernelHandle next = CreateInstance();
        const KernelHandle thread(connected ? CreateThread(nullptr, 0, ServeCommand, pipe.Get(), 0, nullptr)
                                            : nullptr);
        if (thread)
            static_cast<void>(pipe.Release()); // the thread owns it now
        else if (connected)
            --Locked()->commandsUnderWay;
        else
            Sleep(RetryPause); // a client that was gone at once, or no resources: neither ends the service
        pipe = std::move(next);
    }
}

/// The thread that takes commands; nothing, and the last error, when the pipe can't be made.
KernelHandle TakeCommands()
{
    KernelHandle first = CreateInstance();
    KernelHandle thread(first ? CreateThread(nullptr, 0, Accept, first.Get(), 0, nullptr) : nullptr);
    if (thread)
        static_cast<void>(first.Release()); // the thread owns it now
    return thread;
}

/// Takes no more commands; waits a bounded time for those under way.
void StopCommands(HANDLE thread)
{
    // Wakes the thread that waits for a client.
    OrNull(CreateFileW(ControlPipeName, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    WaitForSingleObject(thread, CommandsLimit);
    Locked state;
    state.Wait([&] { return state->commandsUnderWay == 0; }, CommandsLimit);
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
    if (const RPC_STATUS status = Listen(m_registered); status != RPC_S_OK)
        return static_cast<DWORD>(status);
    m_commands = TakeCommands();
    return m_commands ? ERROR_SUCCESS : GetLastError();
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
    if (m_commands)
        StopCommands(m_commands.Get());
    m_commands.Reset();
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
