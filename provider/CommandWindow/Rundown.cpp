#include "Rundown.h"

#include <utility>

bool Rundown::Acquire()
{
    AcquireSRWLockExclusive(&m_lock);
    const bool acquired = !m_closed;
    if (acquired)
        ++m_users;
    ReleaseSRWLockExclusive(&m_lock);
    return acquired;
}

void Rundown::Release()
{
    AcquireSRWLockExclusive(&m_lock);
    --m_users;
    ReleaseSRWLockExclusive(&m_lock);
    WakeAllConditionVariable(&m_released);
}

bool Rundown::Close(DWORD timeout)
{
    AcquireSRWLockExclusive(&m_lock);
    const bool first = !std::exchange(m_closed, true);
    while (first && m_users > 0) {
        if (!SleepConditionVariableSRW(&m_released, &m_lock, timeout, 0))
            break;
    }
    const bool none = m_users == 0;
    ReleaseSRWLockExclusive(&m_lock);
    return none;
}
