// The server end of the control pipe. A thread accepts connections and gives each a thread of its own, so
// that commands are taken at any time: while RPC calls block, and while another command waits.
#pragma once

#include "ServiceClient/PipeConnection.h"

class ControlPipe {
public:
    ~ControlPipe() { Stop(); }

    /// ERROR_SUCCESS, or why the pipe cannot be made.
    DWORD Start();
    /// Takes no more commands; waits a bounded time for those under way.
    void Stop();

private:
    struct Connection {
        ControlPipe* owner;
        ServiceClient::PipeHandle pipe;
    };

    // Started by Start, argument this; ends when m_stop is signalled. Stop waits for it.
    static DWORD WINAPI AcceptThread(void* self);
    // Started by Accept, argument a Connection that it owns; serves one command and ends, at the latest when
    // m_stop is signalled and its command is carried out. m_connections counts these threads.
    static DWORD WINAPI ConnectionThread(void* connection);

    void Accept();
    bool WaitForClient(HANDLE pipe) const;
    void Serve(ServiceClient::PipeHandle pipe);

    KernelHandle m_stop;
    KernelHandle m_thread;
    ServiceClient::PipeHandle m_listening;
    volatile LONG m_connections = 0;
};
