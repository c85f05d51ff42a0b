// Every call that the service received: what, when, with which arguments and result.
#pragma once

#include <windows.h>

#include <array>
#include <deque>
#include <optional>
#include <string>

#include "Procedures.h"

class CallJournal {
public:
    using Id = unsigned long long;

    Id Begin(int opnum, std::wstring arguments);
    void End(Id id, std::optional<long> result, std::wstring note);
    void Clear();

    /// One line a call, in order of arrival:
    /// ARRIVED ANSWERED OPNUM NAME(ARGUMENTS) = RESULT NOTE
    /// ANSWERED is 0 and RESULT "pending" while the call is served. Gives the number of lines, too.
    std::wstring Lines(size_t& count) const;

    /// Waits until `count` calls of the procedure have been received since the last Clear; gives how many
    /// were.
    unsigned WaitForCalls(int opnum, unsigned count, DWORD milliseconds);
    /// Waits until no call is being served.
    bool WaitForIdle(DWORD milliseconds);
    /// Lets everyone go who waits for calls: none will come any more.
    void Close();

private:
    struct Entry {
        int opnum;
        std::wstring arguments;
        long long arrived;
        long long answered;
        std::optional<long> result;
        std::wstring note;
    };

    mutable SRWLOCK m_lock = SRWLOCK_INIT;
    CONDITION_VARIABLE m_changed = CONDITION_VARIABLE_INIT;
    std::deque<Entry> m_entries;
    Id m_firstId = 0; ///< of m_entries.front(); ids go on across Clear
    std::array<unsigned, kProcedureCount> m_received = {};
    unsigned m_pending = 0;
    bool m_closed = false;
};
