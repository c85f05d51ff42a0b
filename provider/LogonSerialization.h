// The packed interactive logon that LogonUI passes on to the LSA.
#pragma once

#include <windows.h>

#include <ntsecapi.h>

#include <credentialprovider.h>

/// Lets `pus` refer to `pwz`, without a copy. E_INVALIDARG for null; ERROR_ARITHMETIC_OVERFLOW as an HRESULT
/// when the length in bytes does not fit 16 bits.
HRESULT UnicodeStringInitWithString(PWSTR pwz, UNICODE_STRING* pus);

/// Fills `pkiul` with references to the three texts and the message type of the scenario; untouched on
/// failure.
HRESULT KerbInteractiveUnlockLogonInit(PWSTR pwzDomain, PWSTR pwzUserName, PWSTR pwzPassword,
                                       CREDENTIAL_PROVIDER_USAGE_SCENARIO cpus,
                                       KERB_INTERACTIVE_UNLOCK_LOGON* pkiul);

/// One block from the COM task allocator, `*pcb` bytes: the structure, then domain, user name and password
/// without gaps; the buffers hold offsets from the block's start. The caller frees it.
HRESULT KerbInteractiveUnlockLogonPack(const KERB_INTERACTIVE_UNLOCK_LOGON& kiul, BYTE** prgb, DWORD* pcb);

/// The number of "Negotiate".
HRESULT RetrieveNegotiateAuthPackage(ULONG* pulAuthPackage);

/// A copy of the password, protected unless it is already, or the scenario is CredUI, or it is empty. The
/// caller frees it with CoTaskMemFree.
HRESULT ProtectIfNecessaryAndCopyPassword(PCWSTR pwzPassword, CREDENTIAL_PROVIDER_USAGE_SCENARIO cpus,
                                          PWSTR* ppwzProtected);
/// Null with S_OK when Windows, against its contract, needs no buffer.
HRESULT ProtectAndCopyString(PCWSTR pwzToProtect, PWSTR* ppwzProtected);

/// Protects the password and packs the account. Nothing is returned on failure.
HRESULT PackLogon(PWSTR domain, PWSTR userName, PCWSTR password, CREDENTIAL_PROVIDER_USAGE_SCENARIO cpus,
                  BYTE** prgb, DWORD* pcb);
