// Functions that Wine lacks, answered at once: the same for the shipped DLL and the bare program.
#pragma once

#include <windows.h>

#include <ntsecapi.h>
#include <wincred.h>

BOOL PlainLogonUserExW(const wchar_t* user, const wchar_t* domain, const wchar_t* password, DWORD type,
                       DWORD provider, HANDLE* token, PSID* sid, void** profile, DWORD* profileLength,
                       QUOTA_LIMITS* quotas);
BOOL PlainCredIsProtectedW(wchar_t* text, CRED_PROTECTION_TYPE* type);
/// Eight units longer, as a protected text is.
BOOL PlainCredProtectW(BOOL asSelf, wchar_t* text, DWORD units, wchar_t* buffer, DWORD* bufferUnits,
                       CRED_PROTECTION_TYPE* type);
NTSTATUS PlainLsaLookupAuthenticationPackage(HANDLE lsa, LSA_STRING* name, ULONG* package);
