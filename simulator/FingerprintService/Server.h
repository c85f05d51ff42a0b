// The service as a whole, however its process was started: the interface on ncalrpc:[VexaFP], and the control
// pipe.
#pragma once

#include "base/Handle.h"

/// Start and Stop belong on one thread, the owner of the mutex.
class FingerprintServer {
public:
    FingerprintServer() = default;
    FingerprintServer(const FingerprintServer&) = delete;
    FingerprintServer& operator=(const FingerprintServer&) = delete;
    ~FingerprintServer() { Stop(); }

    /// ERROR_SUCCESS once the endpoint answers. ERROR_SERVICE_ALREADY_RUNNING when another process serves it.
    DWORD Start();
    /// Ends blocked calls, sees their answers off and stops serving, all in bounded time.
    void Stop();

private:
    KernelHandle m_only;
    bool m_registered = false;
    KernelHandle m_commands; ///< the thread that takes commands
};
