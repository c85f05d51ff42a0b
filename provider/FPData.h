// The identified-user record: what the service and the pre-boot library fill in, as it lies in memory.
#pragma once

#include <cstddef>

struct FPData {
    wchar_t userName[66];
    wchar_t password[94];
    wchar_t domain[33];

    /// Cuts each field at its end. Legal records hold terminated strings, but the bytes come from elsewhere:
    /// a missing terminator must not make a password part of a user name.
    void Terminate()
    {
        userName[65] = L'\0';
        password[93] = L'\0';
        domain[32] = L'\0';
    }
};

static_assert(sizeof(wchar_t) == 2);
static_assert(offsetof(FPData, userName) == 0);
static_assert(offsetof(FPData, password) == 132);
static_assert(offsetof(FPData, domain) == 320);
static_assert(sizeof(FPData) == 386);

/// Written by ThreadFP before it sends the command window WM_FINGERPRINT; only ever holds terminated fields.
/// The password stays in it until the next fill.
extern FPData g_FPData;
