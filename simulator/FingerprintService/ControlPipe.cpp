#include "ControlPipe.h"

#include "ServiceScript.h"
#include "ServiceState.h"
#include "Text.h"
#include "ServiceClient/ServiceControl.h"

namespace {

using ServiceClient::ControlPipeName;

constexpr DWORD LongestCommand = 64 * 1024;
constexpr DWORD StopLimit = 2000;
constexpr DWORD RetryPause = 50;

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
// ServiceState::commandsUnderWay counts these threads.
DWORD WINAPI Serve(void* instance)
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

// Started by ControlPipe::Start, argument the first pipe instance; ends when a client connects while the
// service is closing.
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
        const KernelHandle thread(connected ? CreateThread(nullptr, 0, Serve, pipe.Get(), 0, nullptr)
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

} // namespace

DWORD ControlPipe::Start()
{
    KernelHandle first = CreateInstance();
    if (first)
        m_thread.Reset(CreateThread(nullptr, 0, Accept, first.Get(), 0, nullptr));
    if (!m_thread)
        return GetLastError();
    static_cast<void>(first.Release()); // the thread owns it now
    return ERROR_SUCCESS;
}

void ControlPipe::Stop()
{
    if (!m_thread)
        return;
    // Wakes the thread that waits for a client.
    OrNull(CreateFileW(ControlPipeName, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    WaitForSingleObject(m_thread.Get(), StopLimit);
    m_thread.Reset();
    Locked state;
    state.Wait([&] { return state->commandsUnderWay == 0; }, StopLimit);
}
