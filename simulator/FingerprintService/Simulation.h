// The state that the RPC procedures read and the script commands set.
#pragma once

#include "CallJournal.h"
#include "Capture.h"
#include "UserRecord.h"
#include "base/Handle.h"

#include <array>
#include <vector>

class Simulation {
public:
    /// The one of this process. It is never destroyed: when the process ends, a thread of the RPC runtime or
    /// of the control pipe may still be in it.
    static Simulation& Instance();

    CallJournal& Journal() { return m_journal; }
    Capture& Sensor() { return m_sensor; }

    void Enrol(const UserRecord& account);
    void EnrolNobody();
    std::vector<UserRecord> Enrolled() const;

    long Result(int opnum) const;
    void SetResult(int opnum, long result);

    std::vector<BYTE> Backup() const;
    void SetBackup(std::vector<BYTE> bytes);

    /// The script back to its defaults; the journal stays.
    void Reset();
    std::wstring State() const;

    /// Signalled once the process is to end.
    HANDLE QuitEvent() const { return m_quit.Get(); }
    void Quit() { SetEvent(m_quit.Get()); }

private:
    Simulation();
    void SetDefaults();

    CallJournal m_journal;
    Capture m_sensor;
    KernelHandle m_quit;
    long long m_started;

    mutable SRWLOCK m_lock = SRWLOCK_INIT;
    std::vector<UserRecord> m_enrolled;
    std::array<long, kProcedureCount> m_results;
    std::vector<BYTE> m_backup;
};
