// The RPC server: the interface on ncalrpc:[VexaFP].
#pragma once

#include <windows.h>
#include <rpc.h>

class RpcEndpoint {
public:
    ~RpcEndpoint() { Stop(true); }

    /// Returns once calls reach the interface, or with the status of what failed.
    RPC_STATUS Start();
    /// With `waitForCalls`, returns after the last answer is on its way to its client.
    void Stop(bool waitForCalls);

private:
    bool m_registered = false;
};
