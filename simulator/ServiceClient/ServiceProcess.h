// The simulated fingerprint service as a child process, for programs that need one of their own.
#pragma once

#include "base/Handle.h"

namespace ServiceClient {

/// Ends the child when it goes; the service then has no chance to clean up.
class ServiceProcess {
public:
    ServiceProcess() = default;
    ServiceProcess(const ServiceProcess&) = delete;
    ServiceProcess& operator=(const ServiceProcess&) = delete;
    ~ServiceProcess() { Kill(); }

    /// Starts the FingerprintService.exe beside this program and waits until it answers: RPC calls then reach
    /// it. False when it does not come up, or another one is running already.
    bool Start();

    bool IsRunning() const;

    /// The process stands still between the two: its pipe and its RPC endpoint are there and answer nobody.
    bool Suspend() const;
    bool Resume() const;

    /// Ends the process on the spot, as a crash would.
    void Kill();

private:
    bool Launch(const wchar_t* program);
    bool WaitForAnswer() const;

    KernelHandle m_process;
};

} // namespace ServiceClient
