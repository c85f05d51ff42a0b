// Scoped ownership of a slim lock, and the bounded wait on a condition that goes with it.
#pragma once

#include "ServiceClient/PipeConnection.h"

#include <windows.h>

class Guard {
public:
    explicit Guard(SRWLOCK& lock) : m_lock(lock) { AcquireSRWLockExclusive(&m_lock); }
    ~Guard() { ReleaseSRWLockExclusive(&m_lock); }
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

    void Wait(CONDITION_VARIABLE& condition) { SleepConditionVariableSRW(&condition, &m_lock, INFINITE, 0); }

    /// Waits until `holds()` or the time is over; says which.
    template <class Predicate>
    bool WaitFor(CONDITION_VARIABLE& condition, DWORD milliseconds, Predicate holds)
    {
        ULONGLONG deadline = GetTickCount64() + milliseconds;
        while (!holds()) {
            DWORD left = ServiceClient::Remaining(deadline);
            if (left == 0)
                return false;
            SleepConditionVariableSRW(&condition, &m_lock, left, 0);
        }
        return true;
    }

private:
    SRWLOCK& m_lock;
};
