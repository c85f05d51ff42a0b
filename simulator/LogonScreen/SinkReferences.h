// Reference counting of the sinks that the logon screen hands to the provider. The screen owns them itself,
// so the count never frees anything: it tells whether the provider has let go.
#pragma once

#include <windows.h>

class SinkReferences {
public:
    ULONG Add() { return static_cast<ULONG>(InterlockedIncrement(&m_count)); }
    ULONG Drop() { return static_cast<ULONG>(InterlockedDecrement(&m_count)); }
    /// References that the provider still holds.
    LONG HeldByProvider() const { return m_count; }

private:
    LONG m_count = 0;
};
