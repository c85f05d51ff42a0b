#include "WindowsModel/NtStatus.h"

#include "WindowsModel/Accounts.h"

#include "WindowsModel/Replacement.h"

#include <cwchar>

namespace WindowsModel {

namespace {

struct StateRow {
    AccountState state;
    LogonVerdict verdict;
};
// clang-format off
constexpr StateRow States[] = {
    // state                            Win32 error                 status                      substatus
    {AccountState::Ok,                 {ERROR_SUCCESS,              STATUS_SUCCESS,             STATUS_SUCCESS}},
    {AccountState::Restricted,         {ERROR_ACCOUNT_RESTRICTION,  STATUS_ACCOUNT_RESTRICTION, STATUS_SUCCESS}},
    {AccountState::LogonHours,         {ERROR_INVALID_LOGON_HOURS,  STATUS_ACCOUNT_RESTRICTION, STATUS_INVALID_LOGON_HOURS}},
    {AccountState::Workstation,        {ERROR_INVALID_WORKSTATION,  STATUS_ACCOUNT_RESTRICTION, STATUS_INVALID_WORKSTATION}},
    {AccountState::PasswordExpired,    {ERROR_PASSWORD_EXPIRED,     STATUS_ACCOUNT_RESTRICTION, STATUS_PASSWORD_EXPIRED}},
    {AccountState::Disabled,           {ERROR_ACCOUNT_DISABLED,     STATUS_ACCOUNT_RESTRICTION, STATUS_ACCOUNT_DISABLED}},
    {AccountState::PasswordMustChange, {ERROR_PASSWORD_MUST_CHANGE, STATUS_PASSWORD_MUST_CHANGE, STATUS_SUCCESS}},
    {AccountState::LockedOut,          {ERROR_ACCOUNT_LOCKED_OUT,   STATUS_ACCOUNT_LOCKED_OUT,  STATUS_SUCCESS}},
};
// clang-format on

constexpr LogonVerdict WrongNameOrPassword = {ERROR_LOGON_FAILURE, STATUS_LOGON_FAILURE, STATUS_SUCCESS};

LogonVerdict VerdictOf(AccountState state)
{
    for (const StateRow& row : States) {
        if (row.state == state)
            return row.verdict;
    }
    return WrongNameOrPassword;
}

bool IsKnownLogonType(DWORD type)
{
    return type >= LOGON32_LOGON_INTERACTIVE && type <= LOGON32_LOGON_NEW_CREDENTIALS && type != 6;
}

/// Any token serves a caller that only opens and closes it; this one belongs to the process.
HANDLE OwnToken()
{
    HANDLE token = nullptr;
    OpenProcessToken(GetCurrentProcess(), TOKEN_ALL_ACCESS, &token);
    return token;
}

BOOL ModelLogonUserExW(const wchar_t* user, const wchar_t* domain, const wchar_t* password, DWORD type,
                       DWORD provider, HANDLE* token, PSID* sid, void** profile, DWORD* profileLength,
                       QUOTA_LIMITS* quotas)
{
    DWORD error = ERROR_SUCCESS;
    {
        const ModelState state;
        LogonCall call{TextOrEmpty(user),
                       TextOrEmpty(domain),
                       TextOrEmpty(password),
                       user != nullptr,
                       domain != nullptr,
                       password != nullptr,
                       type,
                       provider,
                       token != nullptr,
                       sid != nullptr,
                       profile != nullptr,
                       profileLength != nullptr,
                       quotas != nullptr,
                       FALSE,
                       ERROR_SUCCESS,
                       GetCurrentThreadId()};
        if (!IsKnownLogonType(type))
            error = ERROR_INVALID_LOGON_TYPE;
        else if (type != LOGON32_LOGON_NEW_CREDENTIALS) // these are not checked before they are used
            error = CheckLogon(state->accounts, call.domain, call.user, call.password).error;
        call.error = error;
        call.result = error == ERROR_SUCCESS;
        state->accounts.logons.push_back(std::move(call));
    }
    if (error == ERROR_SUCCESS) {
        if (token != nullptr)
            *token = OwnToken();
        if (sid != nullptr)
            *sid = nullptr;
        if (profile != nullptr)
            *profile = nullptr;
        if (profileLength != nullptr)
            *profileLength = 0;
        if (quotas != nullptr)
            *quotas = {};
    }
    return Answer(error);
}

BOOL ModelGetComputerNameW(wchar_t* buffer, DWORD* characters)
{
    if (characters == nullptr || buffer == nullptr)
        return Answer(ERROR_INVALID_PARAMETER);
    const std::wstring name = ModelState()->accounts.computerName;
    if (*characters <= name.size()) {
        *characters = DWORD(name.size() + 1);
        return Answer(ERROR_BUFFER_OVERFLOW);
    }
    std::wmemcpy(buffer, name.c_str(), name.size() + 1);
    *characters = DWORD(name.size());
    return TRUE;
}

const Replacement g_replacements[] = {
    SIM_MODELLED(Accounts, LastError, LogonUserExW, ModelLogonUserExW),
    SIM_MODELLED(Accounts, LastError, GetComputerNameW, ModelGetComputerNameW),
};

} // namespace

std::span<const Replacement> AccountReplacements()
{
    return g_replacements;
}

bool AccountsState::IsLocal(const Account& account) const
{
    return SameName(account.domain, computerName);
}

const Account* AccountsState::Find(const std::wstring& domain, const std::wstring& user) const
{
    std::wstring wantedDomain = domain;
    std::wstring wantedUser = user;
    const size_t at = user.find(L'@');
    if (domain.empty() && at != std::wstring::npos) {
        wantedUser = user.substr(0, at);
        wantedDomain = user.substr(at + 1);
    }
    const bool onlyLocal = wantedDomain == L".";
    const bool anywhere = wantedDomain.empty();
    const Account* elsewhere = nullptr;
    for (const Account& account : accounts) {
        if (!SameName(account.user, wantedUser))
            continue;
        if (onlyLocal || anywhere) {
            if (IsLocal(account))
                return &account;
            elsewhere = elsewhere != nullptr ? elsewhere : &account;
        } else if (SameName(account.domain, wantedDomain)) {
            return &account;
        }
    }
    return anywhere ? elsewhere : nullptr;
}

const Account* AccountsState::FindLocal(const std::wstring& user) const
{
    for (const Account& account : accounts) {
        if (IsLocal(account) &&
            (SameName(account.user, user) || (!account.alias.empty() && SameName(account.alias, user))))
            return &account;
    }
    return nullptr;
}

LogonVerdict CheckLogon(const AccountsState& accounts, const std::wstring& domain, const std::wstring& user,
                        const std::wstring& password)
{
    const Account* const account = accounts.Find(domain, user);
    if (account == nullptr)
        return WrongNameOrPassword;
    // A lock-out shows itself to whoever tries; the rest only to one who knows the password.
    if (account->state != AccountState::LockedOut && account->password != password)
        return WrongNameOrPassword;
    return VerdictOf(account->state);
}

} // namespace WindowsModel
