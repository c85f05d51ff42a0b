// An account as the interface carries it: 386 opaque bytes, three zero-terminated strings at fixed places.
#pragma once

#include <windows.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

struct UserRecord {
    wchar_t user[66];
    wchar_t password[94];
    wchar_t domain[33];
};
static_assert(sizeof(UserRecord) == 386);
static_assert(offsetof(UserRecord, password) == 132);
static_assert(offsetof(UserRecord, domain) == 320);

/// Nothing when one of the texts does not fit.
std::optional<UserRecord> MakeRecord(std::wstring_view domain, std::wstring_view user,
                                     std::wstring_view password);

/// For people and tests to read: domain and user name, of the password its length only.
std::wstring Describe(const UserRecord& record);
