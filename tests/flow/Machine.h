// The machine of one test: simulated Windows, a fingerprint service of its own, a clean log folder and settings.
#pragma once

#include "control/ServiceControl.h"
#include "control/ServiceProcess.h"
#include "windows/SimulatedWindows.h"

#include <string>
#include <vector>

/// One line of the DLL's log, taken apart.
struct LogLine {
    std::string source;
    std::string label;
    std::wstring message;
};

class Machine {
public:
    /// Local account "SIMULATED-PC\anna" with the password "secret"; both services run; a hundredth of real time.
    Machine();
    ~Machine();

    void SetLockOut(int enable, int count) const;
    /// What is in the log folder, or nothing.
    std::vector<LogLine> Log() const;
    /// The messages of one function, in order.
    std::vector<std::wstring> LogOf(const std::string& label) const;
    bool WaitForLog(const std::string& label, const std::wstring& message, size_t times = 1) const;

    /// Scripts the service; the command must be carried out.
    void Tell(const std::wstring& command) const;
    /// The procedures that the service was asked for, in order.
    std::vector<std::wstring> Calls() const;

    void StopService() { m_service.Kill(); }
    void StartService();

    simwindows::SimulatedWindows& windows = simwindows::SimulatedWindows::Instance();

private:
    control::ServiceProcess m_service;
};

constexpr DWORD Patience = 20000; // ms; the bound of every wait in these tests
