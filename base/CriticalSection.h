// A critical section and the scope that holds it.
#pragma once

#include <windows.h>

class CriticalSection {
public:
    CriticalSection() { InitializeCriticalSection(&m_section); }
    ~CriticalSection() { DeleteCriticalSection(&m_section); }
    CriticalSection(const CriticalSection&) = delete;
    CriticalSection& operator=(const CriticalSection&) = delete;

    void Enter() { EnterCriticalSection(&m_section); }
    void Leave() { LeaveCriticalSection(&m_section); }

private:
    CRITICAL_SECTION m_section;
};

class CriticalSectionScope {
public:
    explicit CriticalSectionScope(CriticalSection& section) : m_section(section) { m_section.Enter(); }
    ~CriticalSectionScope() { m_section.Leave(); }
    CriticalSectionScope(const CriticalSectionScope&) = delete;
    CriticalSectionScope& operator=(const CriticalSectionScope&) = delete;

private:
    CriticalSection& m_section;
};
