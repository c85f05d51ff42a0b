// What the interface's procedures and the script share: one state under one lock.
#pragma once

#include "Procedures.h"
#include "UserRecord.h"

#include <winerror.h>

#include <array>
#include <deque>
#include <memory>
#include <vector>

/// What IdentifyEnroll returns ...
constexpr long Identified = 0;
constexpr long SensorBusy = 501;                             // ... while another program uses the sensor,
constexpr long CaptureStopped = ERROR_CANCELLED;             // ... after CaptureStop,
constexpr long ServiceStopping = ERROR_SHUTDOWN_IN_PROGRESS; // ... when the service ends meanwhile.

struct CaptureAnswer {
    long code = Identified;
    UserRecord record = {};
    bool forever = false; ///< given again and again until another answer is scripted behind it
    std::wstring note;    ///< for the report
};

/// What the commands set, at first with its defaults.
struct ScriptedState {
    ScriptedState();

    std::deque<CaptureAnswer> answers; ///< of IdentifyEnroll, in order, each for one call
    bool ignoreStop = false;
    bool dieAtNextCapture = false;
    std::vector<UserRecord> enrolled;
    std::vector<BYTE> backup;
    std::array<long, ProcedureCount> results = {};
};

/// One call for the report.
struct JournalEntry {
    int opnum;
    std::wstring arguments;
    long long arrived;
    long long answered = 0; ///< 0 while the call is served
    std::optional<long> result = {};
    std::wstring note = {};
};

struct ServiceState {
    SRWLOCK lock = SRWLOCK_INIT;
    CONDITION_VARIABLE changed = CONDITION_VARIABLE_INIT;

    ScriptedState script;
    /// Where the IdentifyEnroll calls that block want their answers.
    std::deque<std::optional<CaptureAnswer>*> blocked;
    std::deque<std::shared_ptr<JournalEntry>> calls; ///< since the last clear
    unsigned callsUnderWay = 0;
    unsigned commandsUnderWay = 0;
    bool quit = false;    ///< the process is to end
    bool closing = false; ///< it does: no command is taken any more, and no call blocks

    std::shared_ptr<JournalEntry> Begin(int opnum, std::wstring arguments = {});
    void End(JournalEntry& entry);
    size_t Received(int opnum) const;

    /// Answer and call meet in order, the moment both are there, so that a stop that comes after a finger
    /// never takes the finger away, nor the other way round.
    void MatchAnswers();
    void AnswerBlocked(long code);
};

/// Ends the process without any clean-up.
[[noreturn]] void Die();

/// The one state of this process. It is never destroyed: when the process ends, a thread of the RPC runtime
/// or of the control pipe may still be in it.
extern ServiceState g_state;

/// Access to it, for as long as this lives; those who wait for a change look again afterwards.
class Locked {
public:
    Locked() { AcquireSRWLockExclusive(&g_state.lock); }
    ~Locked()
    {
        ReleaseSRWLockExclusive(&g_state.lock);
        WakeAllConditionVariable(&g_state.changed);
    }
    Locked(const Locked&) = delete;
    Locked& operator=(const Locked&) = delete;

    ServiceState* operator->() const { return &g_state; }

    /// Lets others in until `holds()` or the time is over; says which.
    template <class Predicate>
    bool Wait(Predicate holds, DWORD milliseconds = INFINITE)
    {
        const ULONGLONG deadline = GetTickCount64() + milliseconds;
        WakeAllConditionVariable(&g_state.changed);
        while (!holds()) {
            const ULONGLONG now = GetTickCount64();
            if (milliseconds != INFINITE && now >= deadline)
                return false;
            SleepConditionVariableSRW(&g_state.changed, &g_state.lock,
                                      milliseconds == INFINITE ? INFINITE : DWORD(deadline - now), 0);
        }
        return true;
    }
};

/// Returns once the process is to end.
void WaitForQuit();
