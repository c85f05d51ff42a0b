// The named events through which the product's processes find each other across sessions and accounts.
#pragma once

#include <windows.h>

/// Lives while a provider lives; auto-reset.
inline constexpr char STR_CREDENTIAL_SERVICE[] = "Global\\{D3368B8A-2EA4-49d7-A2B0-6F711BAD3DB9}";
/// Signalled once a credential check may go ahead; manual-reset.
inline constexpr char STR_CREDENTIAL_CHECK[] = "Global\\{375ACA95-352B-460B-977A-2A354D0FAD35}";
/// Signalled once the first pre-boot step has run; manual-reset.
inline constexpr char STR_CREDENTIAL_STEP1[] = "Global\\{689E254C-9110-4F0B-AB84-002C3CB331B6}";
/// Exists when automatic logon comes before pre-boot credentials; others create it. Opened by its wide name.
inline constexpr wchar_t STR_CREDENTIAL_AUTOLOGON[] = L"Global\\{86CF491E-A467-42CA-B4C4-486B1767AA5F}";

/// What GetSecurityEveryOne's attributes point to: every call writes the same into it.
extern SECURITY_DESCRIPTOR g_EveryoneSD;

/// Attributes for an event of ours: every account may do everything with it.
SECURITY_ATTRIBUTES GetSecurityEveryOne();

// Spelled so in every program of the product.

/// Creates or opens the credential-service event; the caller closes it. Null when that fails.
HANDLE createCredetialSeviceEvent();

/// Waits, as long as it takes, until the credential-service event is signalled; returns at once without one.
void waitCredetialSeviceEvent();
