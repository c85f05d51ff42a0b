#include "StopFlag.h"

StopFlag g_bExit;

void StopFlag::Set()
{
    CriticalSectionScope scope(m_lock);
    m_value = 1;
}

void StopFlag::Clear()
{
    CriticalSectionScope scope(m_lock);
    m_value = 0;
}

void StopFlag::Close(bool& closed)
{
    CriticalSectionScope scope(m_lock);
    closed = true;
}

StopState StopFlag::Read(const bool& closed)
{
    CriticalSectionScope scope(m_lock);
    return ReadLocked(closed);
}

StopState StopFlag::Take(const bool& closed)
{
    CriticalSectionScope scope(m_lock);
    const StopState state = ReadLocked(closed);
    if (state == StopState::Stop)
        m_value = 0;
    return state;
}

StopState StopFlag::ReadLocked(const bool& closed) const
{
    if (closed)
        return StopState::Closed;
    return m_value == 1 ? StopState::Stop : StopState::Run;
}
