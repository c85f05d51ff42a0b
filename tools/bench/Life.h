// The life of a fingerprint tile, led step by step: by the DLL that ships, or by a bare program that makes
// its calls of Windows and of the service, in the same order and nothing between them. One life at a
// time.
#pragma once

#include "base/Handle.h"
#include "ServiceClient/ServiceControl.h"

#include <ntsecapi.h>
#include <wincred.h>

#include <atomic>
#include <cwchar>
#include <stdexcept>
#include <string>
#include <vector>

inline void Require(bool holds, const char* what)
{
    if (!holds)
        throw std::runtime_error(what);
}

/// When something happened for the first time since Reset, in the service's units of 100 ns.
class Signal {
public:
    void Reset()
    {
        m_at = 0;
        ResetEvent(m_raised.Get());
    }
    void Raise()
    {
        long long never = 0;
        if (m_at.compare_exchange_strong(never, ServiceClient::Now()))
            SetEvent(m_raised.Get());
    }
    long long Await() const
    {
        Require(WaitForSingleObject(m_raised.Get(), 20000) == WAIT_OBJECT_0, "a sign did not come in time");
        return m_at;
    }

private:
    std::atomic<long long> m_at = 0;
    KernelHandle m_raised{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
};

/// What the leader of a life wants to know, and to have done.
struct Direction {
    Signal painted;         // a prompt
    Signal announced;       // the identified user, to the logon screen
    bool stopApart = false; // the bare program stops the capture on a thread of its own
    std::vector<std::wstring>
        match;         // the bare program's log lines from the service's answer to the announcement
    std::wstring line; // and one by itself
};

struct Life {
    void (*create)(Direction& direction); // the creation gate, up to the provider
    void (*start)();                      // brings the window up; `painted` follows
    void (*serialize)();
    void (*logLine)();
    void (*release)();
    void (*awaitEnd)(); // until nothing of the life is left
};

extern const Life g_shippedLife;
/// Of BareProgram.dll.
extern "C" __declspec(dllexport) const Life g_bareLife;

// Functions that Wine lacks, answered at once, the same in both lives.
inline BOOL PlainLogonUserExW(const wchar_t*, const wchar_t*, const wchar_t*, DWORD, DWORD, HANDLE*, PSID*,
                              void**, DWORD*, QUOTA_LIMITS*)
{
    return TRUE;
}
inline BOOL PlainCredIsProtectedW(wchar_t*, CRED_PROTECTION_TYPE* type)
{
    *type = CredUnprotected;
    return TRUE;
}
inline BOOL PlainCredProtectW(BOOL, wchar_t* text, DWORD units, wchar_t* buffer, DWORD* bufferUnits,
                              CRED_PROTECTION_TYPE*)
{
    const bool fits = buffer != nullptr && *bufferUnits >= units;
    *bufferUnits = units;
    SetLastError(fits ? ERROR_SUCCESS : ERROR_INSUFFICIENT_BUFFER);
    if (fits)
        std::wmemcpy(buffer, text, units);
    return fits;
}
inline NTSTATUS PlainLsaLookupAuthenticationPackage(HANDLE, LSA_STRING*, ULONG* package)
{
    *package = 0;
    return 0;
}
