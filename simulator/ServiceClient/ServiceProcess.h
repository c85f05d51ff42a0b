// The simulated fingerprint service as a child process, for programs that need one of their own.
#pragma once

#include "base/Handle.h"

#include <string>

namespace ServiceClient {

/// Ends the child when it goes; the service then has no chance to clean up, see Quit.
class ServiceProcess {
public:
    ServiceProcess() = default;
    ServiceProcess(ServiceProcess&&) = default;
    ServiceProcess& operator=(ServiceProcess&& other) noexcept;
    ~ServiceProcess() { Kill(); }

    /// Starts `executable --console`, or FingerprintService.exe beside this program when empty, and waits
    /// until it answers: RPC calls then reach it. False when it does not come up, or another one is running
    /// already.
    bool Start(const std::wstring& executable = {});

    bool IsRunning() const;
    DWORD Id() const { return m_id; }

    /// Waits for the end, for instance after `die`.
    bool WaitForEnd(DWORD milliseconds) const;
    /// Asks the service to quit and waits for its end.
    bool Quit(DWORD milliseconds = 10000) const;
    /// Ends the process on the spot, as a crash would.
    void Kill();

private:
    bool Launch(std::wstring commandLine);
    bool WaitForAnswer() const;

    KernelHandle m_process;
    DWORD m_id = 0;
};

} // namespace ServiceClient
