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
#include "WindowsModel/Commands.h"
#include "WindowsModel/CredentialProtection.h"
#include "WindowsModel/Devices.h"
#include "WindowsModel/Failures.h"
#include "WindowsModel/ImportHooks.h"
#include "WindowsModel/Locale.h"
#include "WindowsModel/Lsa.h"
#include "WindowsModel/Power.h"
#include "WindowsModel/Recorder.h"
#include "WindowsModel/Services.h"
#include "WindowsModel/Session.h"
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
    Devices = 0x200,  ///< CM_Get_DevNode_Status
    Failures = 0x400, ///< functions that only pass through, so that FailNext reaches them
    Services = 0x800, ///< the service manager's queries; not among the usual ones

    Usual = 0x7FF,
    All = 0xFFF,
};
constexpr Group operator|(Group a, Group b)
{
    return Group(unsigned(a) | unsigned(b));
}
constexpr Group operator&(Group a, Group b)
{
    return Group(unsigned(a) & unsigned(b));
}
constexpr Group operator~(Group a)
{
    return Group(~unsigned(a) & unsigned(Group::All));
}

/// What Hook did, function by function.
struct HookReport {
    std::vector<std::string> replaced;
    /// Belongs to the groups asked for, but the module does not import it. That is no fault by itself.
    std::vector<std::string> notImported;
    /// Imported, and still the original: the import table could not be written.
    std::vector<std::string> failed;

    bool Replaced(std::string_view function) const;
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
    RecorderState recorder;
    FailuresState failures;
};

class SimulatedWindows {
public:
    static SimulatedWindows& Instance();

    /// Access to the state for as long as the object lives. The same thread may lock again, so that two
    /// temporaries fit into one expression; every other thread that calls a replaced function waits, so keep
    /// it short. In a range-based `for` take a Snapshot(): a temporary lock is gone before the first turn.
    class Locked {
    public:
        explicit Locked(SimulatedWindows& windows) : m_windows(windows) { m_windows.Acquire(); }
        Locked(const Locked&) = delete;
        Locked& operator=(const Locked&) = delete;
        ~Locked() { m_windows.Release(); }

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
    /// that is the last error or the value returned is the function's own way. `thread` restricts it to
    /// calls of one thread. False when no replaceable function has that name or it has no way to fail.
    [[nodiscard]] bool FailNext(std::string_view function, DWORD code, unsigned skip = 0, unsigned times = 1,
                                DWORD thread = 0);

    /// Waits in real time until the predicate, called under the lock after every change that a replaced
    /// function makes, holds. False when the time is over. Not to be called under the lock.
    bool WaitUntil(const std::function<bool(const State&)>& holds, DWORD milliseconds);

    /// Waits until the text has been drawn, and returns its place among the prompts. Only places from `from`
    /// on count: pass the place after the last one seen to wait for the next.
    std::optional<size_t> WaitForPrompt(const std::wstring& text, DWORD milliseconds, size_t from = 0);

    /// Waits until the function has been called that many times since the start or the last Reset.
    bool WaitForCalls(std::string_view function, size_t count, DWORD milliseconds);

    /// Wakes those who wait: for code that changes the state by itself and has others wait on it.
    void NotifyChange();

private:
    void Acquire();
    void Release();

    SRWLOCK m_lock = SRWLOCK_INIT;
    CONDITION_VARIABLE m_changed = CONDITION_VARIABLE_INIT;
    /// The thread that holds the lock, and how often.
    volatile DWORD m_owner = 0;
    unsigned m_depth = 0;
    State m_state;
};

} // namespace WindowsModel
