// A simulated Windows around a loaded module. Functions in the module's import table are replaced by a small
// model, so that a logon can be driven where Windows is not, and failures can be made to happen where it is.
//
//     auto& windows = SimulatedWindows::Instance();
//     windows.Lock()->accounts.accounts.push_back({L"SIMULATED-PC", L"anna", L"secret"});
//     windows.Lock()->clock.SetScale(0.01);
//     ImportHooks hooks(LoadLibraryW(L"Provider.dll"));
//     HookReport report = windows.Hook(hooks);
//     ...
//     windows.WaitForPrompt(L"Please scan a finger", 5000);
//
// There is one model for the process and it is never destroyed: replaced functions are called on any thread
// of the module, and still are while the host thinks that its life is over.
#pragma once

#include "WindowsModel/Accounts.h"
#include "WindowsModel/Clock.h"
#include "WindowsModel/Credentials.h"
#include "WindowsModel/ImportHooks.h"
#include "WindowsModel/Ledger.h"
#include "WindowsModel/Services.h"
#include "WindowsModel/System.h"
#include "WindowsModel/Texts.h"

#include <windows.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace WindowsModel {

/// Which functions are replaced.
enum class Group : unsigned {
    None = 0,
    Accounts = 1,     ///< LogonUserExW, GetComputerNameW, LookupAccountNameW, the network user API
    Credentials = 2,  ///< CredProtectW, CredIsProtectedW
    Lsa = 4,          ///< LsaConnectUntrusted, LsaLookupAuthenticationPackage, LsaDeregisterLogonProcess
    Session = 8,      ///< WTSQuerySessionInformationW, WTSFreeMemory
    Power = 0x10,     ///< PowerGetActiveScheme, PowerRead{AC,DC}ValueIndex, GetSystemPowerStatus
    Locale = 0x20,    ///< GetSystemDefaultLCID
    Clock = 0x40,     ///< Sleep, WaitForSingleObject
    Texts = 0x80,     ///< OutputDebugStringA, the event log, GDI+ strings and images
    Commands = 0x100, ///< WinExec
    Devices = 0x200,  ///< SetupDi functions, CM_Get_DevNode_Status
    Failures = 0x400, ///< functions that only pass through, so that FailNext reaches them
    Services = 0x800, ///< the service manager's queries; not among the usual ones
    Rare = 0x1000,    ///< more that pass through: the C runtime, and what hardly ever fails

    Usual = 0x7FF,
    All = 0xFFF,
    Everything = 0x1FFF,
};
constexpr Group operator|(Group a, Group b)
{
    return Group(unsigned(a) | unsigned(b));
}
constexpr Group operator&(Group a, Group b)
{
    return Group(unsigned(a) & unsigned(b));
}

/// What Hook did, function by function. What the module does not import is no fault, and in neither list.
struct HookReport {
    std::vector<std::string> replaced;
    /// Imported, and still the original: the import table could not be written.
    std::vector<std::string> failed;

    bool Replaced(std::string_view function) const;
};

/// A call that went through a replaced function, whatever this did.
struct Call {
    const char* function;
    DWORD thread;
};

struct RecorderState {
    std::vector<Call> calls;

    size_t Count(std::string_view function) const;
};

struct PendingFailure {
    std::string function;
    DWORD code;
    /// Calls let through before the first that fails.
    unsigned skip;
    /// Calls that fail.
    unsigned times;
};

struct FailuresState {
    std::vector<PendingFailure> pending;
};

/// Everything that the replaced functions answer from and write down. Plain data under one lock.
struct State {
    AccountsState accounts;
    CredentialsState credentials;
    LsaState lsa;
    SessionState session;
    PowerState power;
    LocaleState locale;
    DevicesState devices;
    ClockState clock;
    CommandsState commands;
    ServicesState services;
    TextsState texts;
    Ledger ledger;
    RecorderState recorder;
    FailuresState failures;
};

class SimulatedWindows {
public:
    SimulatedWindows() { InitializeCriticalSection(&m_lock); }
    SimulatedWindows(const SimulatedWindows&) = delete;
    SimulatedWindows& operator=(const SimulatedWindows&) = delete;

    static SimulatedWindows& Instance();

    /// Access to the state for as long as the object lives; those who wait for a change look again
    /// afterwards. The same thread may lock again, so that two temporaries fit into one expression; every
    /// other thread that calls a replaced function waits, so keep it short. In a range-based `for` take a
    /// Snapshot(): a temporary lock is gone before the first turn.
    class Locked {
    public:
        explicit Locked(SimulatedWindows& windows) : m_windows(windows)
        {
            EnterCriticalSection(&m_windows.m_lock);
        }
        Locked(const Locked&) = delete;
        Locked& operator=(const Locked&) = delete;
        ~Locked()
        {
            LeaveCriticalSection(&m_windows.m_lock);
            WakeAllConditionVariable(&m_windows.m_changed);
        }

        State* operator->() const { return &m_windows.m_state; }
        State& operator*() const { return m_windows.m_state; }

    private:
        SimulatedWindows& m_windows;
    };
    [[nodiscard]] Locked Lock() { return Locked(*this); }
    /// A copy, to look at in peace.
    State Snapshot() { return *Lock(); }

    /// Back to a new machine: records, scripts, failures and accounts are gone. Handles and blocks that a
    /// module still holds count as wrong when it gives them back.
    void Reset();

    /// Replaces the functions of the groups in the module that `hooks` stands for. More than one module may
    /// be hooked; `hooks` restores its own.
    HookReport Hook(ImportHooks& hooks, Group groups = Group::Usual);

    /// Lets calls of a function fail: after `skip` calls that go through, `times` calls meet `code`. Whether
    /// that is the last error or the value returned is the function's own way. Failures of one function
    /// happen in the order in which they were asked for. False when no replaceable function has that name or
    /// it has no way to fail.
    [[nodiscard]] bool FailNext(std::string_view function, DWORD code, unsigned skip = 0, unsigned times = 1);

    /// Waits until the text has been drawn, and returns its place among the prompts. Only places from `from`
    /// on count: pass the place after the last one seen to wait for the next.
    std::optional<size_t> WaitForPrompt(const std::wstring& text, DWORD milliseconds, size_t from = 0);

    /// Waits until the function has been called that many times since the start or the last Reset.
    bool WaitForCalls(std::string_view function, size_t count, DWORD milliseconds);

private:
    /// Waits in real time until the predicate, called under the lock after every change that a replaced
    /// function makes, holds. False when the time is over. Not to be called under the lock.
    bool WaitUntil(const std::function<bool(const State&)>& holds, DWORD milliseconds);

    CRITICAL_SECTION m_lock;
    CONDITION_VARIABLE m_changed = CONDITION_VARIABLE_INIT;
    State m_state;
};

} // namespace WindowsModel
