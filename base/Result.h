// Conversions of Windows' error codes into HRESULTs.
#pragma once

#include <windows.h>

/// The calling thread's last error. An error of 0 stays 0.
inline HRESULT HresultFromLastError()
{
    return HRESULT_FROM_WIN32(GetLastError());
}

/// An NTSTATUS keeps its severity and gets the bit that marks its origin.
inline HRESULT HresultFromNtStatus(LONG status)
{
    return status | FACILITY_NT_BIT;
}
