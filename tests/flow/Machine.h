// The machine of one test: simulated Windows, a fingerprint service of its own, a sensor and a pre-boot
// library, a clean log folder and settings.
#pragma once

#include "FitMachine/Fitness.h"
#include "ServiceClient/ServiceControl.h"
#include "ServiceClient/ServiceProcess.h"
#include "WindowsModel/SimulatedWindows.h"

#include "support/Dll.h"

#include <functional>
#include <string>
#include <vector>

/// One line of the DLL's log, taken apart.
struct LogLine {
    std::string source;
    std::string label;
    std::wstring message;
};

using Waits = std::vector<DWORD>;

class Machine {
public:
    /// Local account "SIMULATED-PC\anna" with the password "secret"; both services run; nobody was
    /// authenticated before boot; Sleep takes a hundredth of its time. The watchdog's waits for the other
    /// thread have no limit: one that was over on a slow machine would make it take the stop that ThreadFP is
    /// to see.
    Machine();

    /// What is in the log folder, or nothing.
    std::vector<LogLine> Log() const;
    /// The messages of one function, in order.
    Texts LogOf(const std::string& label) const;
    bool WaitForLog(const std::string& label, const std::wstring& message, int times = 1) const;

    /// The milliseconds of each Sleep of the DLL, in order.
    Waits Sleeps() const { return windows.Lock()->clock.Sleeps(); }
    /// The latest watchdog's thread, while its window lives.
    KernelHandle OpenWatchdog() const;
    /// Is the text on the stack, the part out of use included, of any thread that the DLL has run on, this
    /// one aside?
    bool IsOnAnyStack(const std::wstring& text) const;

    /// Lets calls of a function fail, after `skip` that go through.
    void FailNext(const std::string& function, unsigned skip = 0, unsigned times = 1);

    /// Scripts the service; the command must be carried out.
    void Tell(const std::wstring& command) const;
    /// The procedures that the service was asked for, in order.
    Texts Calls() const;
    /// The procedure has been called that many times since the last `clear`.
    void AwaitCalls(const std::wstring& procedure, int count = 1) const;

    /// From now on each Sleep of the DLL holds, until ReleaseSleeps.
    void HoldSleeps();
    void ReleaseSleeps();
    /// The watchdog's waits for the other thread, 5000 ms each, are over soon.
    static void HurryWatch();
    /// The 5000 ms that this thread waits for the watchdog, in a provider's end, pass in a hundredth of their
    /// time: for a watchdog that will not have ended by then. First `meanwhile` is done.
    void HurryWaits(std::function<void()> meanwhile = [] {});

    WindowsModel::SimulatedWindows& windows = WindowsModel::SimulatedWindows::Instance();
    FitMachine::Scope fitness;
    /// One for all machines of the process: Wine's RPC runtime may keep to a service process that it once
    /// missed, so a test that stops the service runs in a process of its own.
    static inline ServiceClient::ServiceProcess service;
};

std::ptrdiff_t Count(const Texts& texts, const std::wstring& text);

/// Waits for an event to be set, or a thread to end.
bool HasCome(const KernelHandle& object);
