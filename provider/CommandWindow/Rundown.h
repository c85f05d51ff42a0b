// Rundown protection: who uses something first acquires it, who takes it away first waits for the users.
#pragma once

#include <windows.h>

class Rundown {
public:
    /// False once closed; true obliges to Release.
    bool Acquire();
    void Release();

    /// Refuses all further users, and the first time waits up to `timeout` ms for those inside. True when
    /// none is left.
    bool Close(DWORD timeout);

private:
    SRWLOCK m_lock = SRWLOCK_INIT;
    CONDITION_VARIABLE m_released = CONDITION_VARIABLE_INIT;
    int m_users = 0;
    bool m_closed = false;
};

class RundownScope {
public:
    explicit RundownScope(Rundown& rundown) : m_rundown(rundown), m_acquired(rundown.Acquire()) {}
    ~RundownScope()
    {
        if (m_acquired)
            m_rundown.Release();
    }
    RundownScope(const RundownScope&) = delete;
    RundownScope& operator=(const RundownScope&) = delete;

    explicit operator bool() const { return m_acquired; }

private:
    Rundown& m_rundown;
    const bool m_acquired;
};
