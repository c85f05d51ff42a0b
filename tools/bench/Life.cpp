#include "Life.h"

#include "PlainAnswers.h"
#include "ServiceClient/ServiceControl.h"

#include <cwchar>
#include <stdexcept>

void Signal::Reset()
{
    m_at = 0;
    ResetEvent(m_raised.Get());
}

void Signal::Raise()
{
    long long never = 0;
    if (m_at.compare_exchange_strong(never, ServiceClient::Now()))
        SetEvent(m_raised.Get());
}

long long Signal::Await() const
{
    constexpr DWORD patience = 20000; // ms
    Require(WaitForSingleObject(m_raised.Get(), patience) == WAIT_OBJECT_0, "a sign did not come in time");
    return m_at;
}

void Require(bool holds, const char* what)
{
    if (!holds)
        throw std::runtime_error(what);
}

BOOL PlainLogonUserExW(const wchar_t* /*user*/, const wchar_t* /*domain*/, const wchar_t* /*password*/,
                       DWORD /*type*/, DWORD /*provider*/, HANDLE* /*token*/, PSID* /*sid*/,
                       void** /*profile*/, DWORD* /*profileLength*/, QUOTA_LIMITS* /*quotas*/)
{
    return TRUE;
}

BOOL PlainCredIsProtectedW(wchar_t* /*text*/, CRED_PROTECTION_TYPE* type)
{
    *type = CredUnprotected;
    return TRUE;
}

BOOL PlainCredProtectW(BOOL /*asSelf*/, wchar_t* text, DWORD units, wchar_t* buffer, DWORD* bufferUnits,
                       CRED_PROTECTION_TYPE* /*type*/)
{
    constexpr wchar_t mark[] = L"@@PLAIN@";
    constexpr DWORD markUnits = std::size(mark) - 1;
    const bool fits = buffer != nullptr && *bufferUnits >= units + markUnits;
    *bufferUnits = units + markUnits;
    if (!fits) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    std::wmemcpy(buffer, mark, markUnits);
    std::wmemcpy(buffer + markUnits, text, units);
    return TRUE;
}

NTSTATUS PlainLsaLookupAuthenticationPackage(HANDLE /*lsa*/, LSA_STRING* /*name*/, ULONG* package)
{
    *package = 0;
    return 0;
}
