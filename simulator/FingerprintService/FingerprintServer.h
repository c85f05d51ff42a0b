// The service as a whole, however its process was started: the RPC endpoint and the control pipe.
#pragma once

#include "ControlPipe.h"
#include "RpcEndpoint.h"
#include "base/Handle.h"

/// Start and Stop belong on one thread, the owner of the mutex.
class FingerprintServer {
public:
    ~FingerprintServer() { Stop(); }

    /// ERROR_SUCCESS once the endpoint answers. ERROR_SERVICE_ALREADY_RUNNING when another process serves it.
    DWORD Start();
    /// Ends blocked calls, sees their answers off and stops serving, all in bounded time.
    void Stop();

private:
    KernelHandle m_only;
    RpcEndpoint m_endpoint;
    ControlPipe m_control;
};
