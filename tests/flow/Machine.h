// The machine of one test: simulated Windows, a fingerprint service of its own, a sensor and a pre-boot
// library, a clean log folder and settings.
#pragma once

#include "ServiceClient/ServiceControl.h"
#include "ServiceClient/ServiceProcess.h"
#include "FitMachine/Fitness.h"
#include "WindowsModel/SimulatedWindows.h"

#include <string>
#include <vector>

constexpr DWORD Patience = 20000; // ms; the bound of every wait in these tests

// What a slow machine may add to the release of a provider that needs none of its waits.
constexpr DWORD StopBound = 3000; // ms

/// True once `holds()` does.
template <class Condition>
bool Await(Condition holds)
{
    constexpr DWORD pause = 5; // ms
    for (DWORD waited = 0; waited < Patience; waited += pause) {
        if (holds())
            return true;
        WindowsModel::RealSleep(pause);
    }
    return holds();
}

/// One line of the DLL's log, taken apart.
struct LogLine {
    std::string source;
    std::string label;
    std::wstring message;
};

/// The waits that the workers asked for, in ms and in order.
struct WorkerWaits {
    std::vector<DWORD> identification; // of all runs of ThreadFP
    std::vector<DWORD> watchdog;       // Sleeps alone
};

class Machine {
public:
    /// Local account "SIMULATED-PC\anna" with the password "secret"; both services run; nobody was
    /// authenticated before boot; Sleep takes a hundredth of its time.
    Machine();

    void SetLockOut(int enable, int count) const;
    /// What is in the log folder, or nothing.
    std::vector<LogLine> Log() const;
    /// The messages of one function, in order.
    std::vector<std::wstring> LogOf(const std::string& label) const;
    bool WaitForLog(const std::string& label, const std::wstring& message, size_t times = 1) const;

    WorkerWaits Waits() const;

    /// Scripts the service; the command must be carried out.
    void Tell(const std::wstring& command) const;
    /// The procedures that the service was asked for, in order.
    std::vector<std::wstring> Calls() const;

    /// Lets the 5000 ms that a stop may wait for the watchdog pass in a hundredth of the time.
    void HurryWaits() { windows.Lock()->clock.waitScale = 0.01; }

    void StopService() { s_service.Kill(); }
    void StartService();
    DWORD ServiceId() const { return s_service.Id(); }

    WindowsModel::SimulatedWindows& windows = WindowsModel::SimulatedWindows::Instance();
    FitMachine::Scope fitness;

private:
    // One for all machines of the process: Wine's RPC runtime may keep to a service process that it once
    // missed, so a test that stops the service runs in a process of its own.
    static ServiceClient::ServiceProcess s_service;
};
