#include "WindowsModel/NtStatus.h"

#include "WindowsModel/Accounts.h"

#include "WindowsModel/Replacement.h"

#include <cwchar>
#include <iterator>

namespace WindowsModel {

namespace {

// clang-format off
// In the order of AccountState.
constexpr LogonVerdict Verdicts[] = {
    // Win32 error                status                       substatus
    {ERROR_SUCCESS,               STATUS_SUCCESS,              STATUS_SUCCESS},
    {ERROR_ACCOUNT_RESTRICTION,   STATUS_ACCOUNT_RESTRICTION,  STATUS_SUCCESS},
    {ERROR_INVALID_LOGON_HOURS,   STATUS_ACCOUNT_RESTRICTION,  STATUS_INVALID_LOGON_HOURS},
    {ERROR_INVALID_WORKSTATION,   STATUS_ACCOUNT_RESTRICTION,  STATUS_INVALID_WORKSTATION},
    {ERROR_PASSWORD_EXPIRED,      STATUS_ACCOUNT_RESTRICTION,  STATUS_PASSWORD_EXPIRED},
    {ERROR_ACCOUNT_DISABLED,      STATUS_ACCOUNT_RESTRICTION,  STATUS_ACCOUNT_DISABLED},
    {ERROR_PASSWORD_MUST_CHANGE,  STATUS_PASSWORD_MUST_CHANGE, STATUS_SUCCESS},
    {ERROR_ACCOUNT_LOCKED_OUT,    STATUS_ACCOUNT_LOCKED_OUT,   STATUS_SUCCESS},
};
// clang-format on
static_assert(std::size(Verdicts) == size_t(AccountState::LockedOut) + 1);

constexpr LogonVerdict WrongNameOrPassword = {ERROR_LOGON_FAILURE, STATUS_LOGON_FAILURE, STATUS_SUCCESS};

BOOL ModelLogonUserExW(const wchar_t* user, const wchar_t* domain, const wchar_t* password, DWORD type,
                       DWORD /*provider*/, HANDLE* token, PSID* sid, void** profile, DWORD* /*profileLength*/,
                       QUOTA_LIMITS* quotas)
{
    // Nobody wants more than the answer.
    if (token != nullptr || sid != nullptr || profile != nullptr || quotas != nullptr)
        return Answer(ERROR_CALL_NOT_IMPLEMENTED);
    const ModelState state;
    LogonCall call{user, domain != nullptr ? domain : L"", password, domain != nullptr, type, TRUE, 0};
    // Credentials for the network are not checked before they are used.
    if (type != LOGON32_LOGON_NEW_CREDENTIALS)
        call.error = CheckLogon(state->accounts, call.domain, call.user, call.password).error;
    call.result = call.error == ERROR_SUCCESS;
    state->accounts.logons.push_back(call);
    return Answer(call.error);
}

BOOL ModelGetComputerNameW(wchar_t* buffer, DWORD* characters)
{
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
const Table g_table(g_replacements);

} // namespace

bool AccountsState::IsLocal(const Account& account) const
{
    return SameName(account.domain, computerName);
}

const Account* AccountsState::Find(const std::wstring& domain, const std::wstring& user) const
{
    const Account* found = nullptr;
    for (const Account& account : accounts) {
        if (!SameName(account.user, user) || !(domain.empty() || SameName(account.domain, domain)))
            continue;
        if (found == nullptr || IsLocal(account))
            found = &account;
    }
    return found;
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
    return Verdicts[size_t(account->state)];
}

} // namespace WindowsModel
