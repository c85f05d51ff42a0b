#include "ControlPipe.h"

#include "Commands.h"
#include "Simulation.h"
#include "Text.h"

#include <memory>

namespace {

constexpr DWORD kRequestLimit = 5000;
constexpr DWORD kReplyLimit = 10000;
constexpr DWORD kStopLimit = 2000;
constexpr DWORD kRetryPause = 50;
constexpr DWORD kBufferSize = 64 * 1024;

ServiceClient::PipeHandle CreateInstance()
{
    return ServiceClient::PipeHandle(
        CreateNamedPipeW(ServiceClient::kControlPipeName, PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED,
                         PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_WAIT, PIPE_UNLIMITED_INSTANCES,
                         kBufferSize, kBufferSize, 0, nullptr));
}

void CarryOut(After after)
{
    if (after == After::Quit)
        Simulation::Instance().Quit();
    else if (after == After::Die)
        Simulation::Instance().Sensor().Die();
}

} // namespace

DWORD ControlPipe::Start()
{
    m_stop.Reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    m_listening = CreateInstance();
    if (!m_stop || !m_listening)
        return GetLastError();
    m_thread.Reset(CreateThread(nullptr, 0, AcceptThread, this, 0, nullptr));
    return m_thread ? ERROR_SUCCESS : GetLastError();
}

void ControlPipe::Stop()
{
    if (!m_thread)
        return;
    SetEvent(m_stop.Get());
    WaitForSingleObject(m_thread.Get(), INFINITE);
    m_thread.Reset();
    ULONGLONG deadline = GetTickCount64() + kStopLimit;
    while (InterlockedCompareExchange(&m_connections, 0, 0) > 0 && ServiceClient::Remaining(deadline) > 0)
        Sleep(1);
}

DWORD ControlPipe::AcceptThread(void* self)
{
    static_cast<ControlPipe*>(self)->Accept();
    return 0;
}

DWORD ControlPipe::ConnectionThread(void* connection)
{
    std::unique_ptr<Connection> own(static_cast<Connection*>(connection));
    own->owner->Serve(std::move(own->pipe));
    InterlockedDecrement(&own->owner->m_connections);
    return 0;
}

bool ControlPipe::WaitForClient(HANDLE pipe) const
{
    KernelHandle connected(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    OVERLAPPED overlapped = {};
    overlapped.hEvent = connected.Get();
    if (ConnectNamedPipe(pipe, &overlapped) || GetLastError() == ERROR_PIPE_CONNECTED)
        return true;
    if (GetLastError() != ERROR_IO_PENDING)
        return false;
    HANDLE events[] = {connected.Get(), m_stop.Get()};
    if (WaitForMultipleObjects(2, events, FALSE, INFINITE) != WAIT_OBJECT_0)
        CancelIoEx(pipe, &overlapped);
    DWORD ignored = 0;
    return GetOverlappedResult(pipe, &overlapped, &ignored, TRUE);
}

void ControlPipe::Accept()
{
    while (WaitForSingleObject(m_stop.Get(), 0) == WAIT_TIMEOUT) {
        bool connected = m_listening && WaitForClient(m_listening.Get());
        ServiceClient::PipeHandle pipe = std::move(m_listening);
        m_listening = CreateInstance();
        if (!connected) {
            // A client that was gone at once, or no more resources: neither ends the service.
            WaitForSingleObject(m_stop.Get(), kRetryPause);
            continue;
        }
        auto connection = std::make_unique<Connection>(this, std::move(pipe));
        InterlockedIncrement(&m_connections);
        KernelHandle thread(CreateThread(nullptr, 0, ConnectionThread, connection.get(), 0, nullptr));
        if (thread)
            static_cast<void>(connection.release()); // the thread owns it now
        else
            InterlockedDecrement(&m_connections);
    }
    m_listening.Reset();
}

void ControlPipe::Serve(ServiceClient::PipeHandle pipe)
{
    Reply reply;
    {
        ServiceClient::PipeConnection connection(std::move(pipe), m_stop.Get());
        std::optional<std::string> line = connection.ReadLine(kRequestLimit);
        if (!line)
            return;
        reply = Execute(FromUtf8(*line));
        connection.Write(ToUtf8(reply.text), kReplyLimit);
    }
    // The connection is closed by now and the reply on its way: the process may end.
    CarryOut(reply.after);
}
