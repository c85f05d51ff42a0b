#include "LogonSerialization.h"

#include "Handle.h"
#include "Result.h"

#include <objbase.h>
#include <shlwapi.h>
#include <wincred.h>

#include <cstddef>
#include <cstring>
#include <cwchar>
#include <limits>

static_assert(offsetof(KERB_INTERACTIVE_UNLOCK_LOGON, Logon.LogonDomainName) == 8);
static_assert(offsetof(KERB_INTERACTIVE_UNLOCK_LOGON, Logon.UserName) == 24);
static_assert(offsetof(KERB_INTERACTIVE_UNLOCK_LOGON, Logon.Password) == 40);
static_assert(offsetof(KERB_INTERACTIVE_UNLOCK_LOGON, LogonId) == 56);
static_assert(sizeof(KERB_INTERACTIVE_UNLOCK_LOGON) == 64);

namespace {

constexpr int MaximumUnits = std::numeric_limits<USHORT>::max() / sizeof(WCHAR);

/// Text from the COM task allocator that is wiped before it is freed: it holds passwords.
struct SecretTextPolicy {
    using Type = PWSTR;
    static Type Invalid() { return nullptr; }
    static void Close(Type text)
    {
        SecureZeroMemory(text, std::wcslen(text) * sizeof(WCHAR));
        CoTaskMemFree(text);
    }
};
using SecretText = UniqueResource<SecretTextPolicy>;

struct LsaHandlePolicy {
    using Type = HANDLE;
    static Type Invalid() { return nullptr; }
    static void Close(Type handle) { LsaDeregisterLogonProcess(handle); }
};
using LsaHandle = UniqueResource<LsaHandlePolicy>;

/// Copies the text of `source` behind what `block` holds already and lets `target` refer to it by offset.
void AppendText(const UNICODE_STRING& source, BYTE* block, ULONG_PTR& offset, UNICODE_STRING& target)
{
    target.Length = source.Length;
    target.MaximumLength = source.Length;
    target.Buffer = reinterpret_cast<PWSTR>(offset);
    std::memcpy(block + offset, source.Buffer, source.Length);
    offset += source.Length;
}

} // namespace

HRESULT UnicodeStringInitWithString(PWSTR pwz, UNICODE_STRING* pus)
{
    if (pwz == nullptr)
        return E_INVALIDARG;
    const int units = lstrlenW(pwz);
    if (units > MaximumUnits)
        return HRESULT_FROM_WIN32(ERROR_ARITHMETIC_OVERFLOW);
    pus->Length = static_cast<USHORT>(units * sizeof(WCHAR));
    pus->MaximumLength = pus->Length;
    pus->Buffer = pwz;
    return S_OK;
}

HRESULT KerbInteractiveUnlockLogonInit(PWSTR pwzDomain, PWSTR pwzUserName, PWSTR pwzPassword,
                                       CREDENTIAL_PROVIDER_USAGE_SCENARIO cpus,
                                       KERB_INTERACTIVE_UNLOCK_LOGON* pkiul)
{
    KERB_INTERACTIVE_UNLOCK_LOGON kiul{};
    KERB_INTERACTIVE_LOGON& logon = kiul.Logon;
    HRESULT result = UnicodeStringInitWithString(pwzDomain, &logon.LogonDomainName);
    if (SUCCEEDED(result))
        result = UnicodeStringInitWithString(pwzUserName, &logon.UserName);
    if (SUCCEEDED(result))
        result = UnicodeStringInitWithString(pwzPassword, &logon.Password);
    if (FAILED(result))
        return result;

    switch (cpus) {
    case CPUS_LOGON:
        logon.MessageType = KerbInteractiveLogon;
        break;
    case CPUS_UNLOCK_WORKSTATION:
        logon.MessageType = KerbWorkstationUnlockLogon;
        break;
    case CPUS_CREDUI:
        logon.MessageType = static_cast<KERB_LOGON_SUBMIT_TYPE>(0); // no type of its own: deliberate
        break;
    default:
        return E_FAIL;
    }
    *pkiul = kiul;
    return S_OK;
}

HRESULT KerbInteractiveUnlockLogonPack(const KERB_INTERACTIVE_UNLOCK_LOGON& kiul, BYTE** prgb, DWORD* pcb)
{
    const KERB_INTERACTIVE_LOGON& in = kiul.Logon;
    const DWORD size =
        static_cast<DWORD>(sizeof kiul) + in.LogonDomainName.Length + in.UserName.Length + in.Password.Length;
    auto* block = static_cast<BYTE*>(CoTaskMemAlloc(size));
    if (block == nullptr)
        return E_OUTOFMEMORY;

    // Field by field: the padding between them is not written.
    auto& packed = *reinterpret_cast<KERB_INTERACTIVE_UNLOCK_LOGON*>(block);
    packed.Logon.MessageType = in.MessageType;
    packed.LogonId = {};
    ULONG_PTR offset = sizeof kiul;
    AppendText(in.LogonDomainName, block, offset, packed.Logon.LogonDomainName);
    AppendText(in.UserName, block, offset, packed.Logon.UserName);
    AppendText(in.Password, block, offset, packed.Logon.Password);

    *prgb = block;
    *pcb = size;
    return S_OK;
}

HRESULT RetrieveNegotiateAuthPackage(ULONG* pulAuthPackage)
{
    LsaHandle lsa;
    HRESULT result = HresultFromNtStatus(LsaConnectUntrusted(lsa.Put()));
    if (FAILED(result))
        return result;
    char name[] = "Negotiate";
    LSA_STRING negotiate{sizeof name - 1, sizeof name, name};
    ULONG package = 0;
    result = HresultFromNtStatus(LsaLookupAuthenticationPackage(lsa.Get(), &negotiate, &package));
    if (FAILED(result))
        return result;
    *pulAuthPackage = package;
    return S_OK;
}

HRESULT ProtectIfNecessaryAndCopyPassword(PCWSTR pwzPassword, CREDENTIAL_PROVIDER_USAGE_SCENARIO cpus,
                                          PWSTR* ppwzProtected)
{
    *ppwzProtected = nullptr;
    if (pwzPassword == nullptr || *pwzPassword == L'\0')
        return SHStrDupW(L"", ppwzProtected);

    SecretText password;
    const HRESULT result = SHStrDupW(pwzPassword, password.Put());
    if (FAILED(result))
        return result;
    CRED_PROTECTION_TYPE protection = CredUnprotected;
    const bool isProtected = CredIsProtectedW(password.Get(), &protection) && protection != CredUnprotected;
    if (cpus != CPUS_CREDUI && !isProtected)
        return ProtectAndCopyString(password.Get(), ppwzProtected);
    return SHStrDupW(password.Get(), ppwzProtected);
}

HRESULT ProtectAndCopyString(PCWSTR pwzToProtect, PWSTR* ppwzProtected)
{
    *ppwzProtected = nullptr;
    SecretText text;
    const HRESULT result = SHStrDupW(pwzToProtect, text.Put());
    if (FAILED(result))
        return result;
    const DWORD units = lstrlenW(text.Get()) + 1;

    // Not protected as the calling account itself: the LSA has to be able to unprotect it.
    DWORD protectedUnits = 0;
    if (CredProtectW(FALSE, text.Get(), units, nullptr, &protectedUnits, nullptr))
        return S_OK; // nothing was needed, so there is nothing to hand out
    const DWORD error = GetLastError();
    if (error != ERROR_INSUFFICIENT_BUFFER || protectedUnits == 0)
        return HRESULT_FROM_WIN32(error);

    auto* buffer = static_cast<PWSTR>(CoTaskMemAlloc(protectedUnits * sizeof(WCHAR)));
    if (buffer == nullptr)
        return E_OUTOFMEMORY;
    if (!CredProtectW(FALSE, text.Get(), units, buffer, &protectedUnits, nullptr)) {
        const HRESULT failure = HresultFromLastError();
        CoTaskMemFree(buffer);
        return failure;
    }
    *ppwzProtected = buffer;
    return S_OK;
}

HRESULT PackLogon(PWSTR domain, PWSTR userName, PCWSTR password, CREDENTIAL_PROVIDER_USAGE_SCENARIO cpus,
                  BYTE** prgb, DWORD* pcb)
{
    SecretText protectedPassword;
    HRESULT result = ProtectIfNecessaryAndCopyPassword(password, cpus, protectedPassword.Put());
    if (FAILED(result))
        return result;
    // A protection that hands nothing out makes the password in the package an empty one.
    WCHAR empty[] = L"";
    PWSTR text = protectedPassword ? protectedPassword.Get() : empty;
    KERB_INTERACTIVE_UNLOCK_LOGON kiul;
    result = KerbInteractiveUnlockLogonInit(domain, userName, text, cpus, &kiul);
    if (FAILED(result))
        return result;
    return KerbInteractiveUnlockLogonPack(kiul, prgb, pcb);
}
