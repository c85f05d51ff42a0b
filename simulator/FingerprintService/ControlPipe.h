// The server end of the control pipe. Each client gets a thread of its own, so that commands are taken at any
// time: while RPC calls block, and while another command waits.
#pragma once

#include "base/Handle.h"

class ControlPipe {
public:
    /// ERROR_SUCCESS, or why the pipe cannot be made.
    DWORD Start();
    /// Takes no more commands; waits a bounded time for those under way.
    void Stop();

private:
    KernelHandle m_thread;
};
