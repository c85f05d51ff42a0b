// The flag that tells the workers to stop, and the lock that guards it, as one object.
#pragma once

#include "CriticalSection.h"

enum class StopState {
    Run,
    Stop,   // the flag is set: the window is about to go
    Closed, // the asking thread's own window has gone; the flag now belongs to others
};

/// One for the module, and for as long as the module is loaded: a thread that outlives its window may still
/// come to the lock. Each window's `closed` is guarded by the same lock, so that a late thread never takes a
/// newer window's stop for its own.
class StopFlag {
public:
    void Set();
    void Clear();
    void Close(bool& closed);

    StopState Read(const bool& closed);
    /// Calls action() under the lock unless `closed`; returns whether it did.
    template <class Action>
    bool WhileOpen(const bool& closed, Action action)
    {
        CriticalSectionScope scope(m_lock);
        if (closed)
            return false;
        action();
        return true;
    }

    /// Like Read, and clears the flag when it answers Stop.
    StopState Take(const bool& closed);

private:
    StopState ReadLocked(const bool& closed) const;

    CriticalSection m_lock;
    long m_value = 0; // 1 = stop
};

extern StopFlag g_bExit;
