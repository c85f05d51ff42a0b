// Accounts, passwords and the computer's name: what LogonUserExW, GetComputerNameW and the network user API
// answer from.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

namespace WindowsModel {

/// What stands in the way of an account although its password is right.
enum class AccountState {
    Ok,
    Restricted,         ///< 1327, for example an empty password
    LogonHours,         ///< 1328
    Workstation,        ///< 1329
    PasswordExpired,    ///< 1330
    Disabled,           ///< 1331
    PasswordMustChange, ///< 1907
    LockedOut,          ///< 1909; told without a look at the password
};

struct Account {
    /// The computer's name for a local account.
    std::wstring domain;
    std::wstring user;
    std::wstring password;
    AccountState state = AccountState::Ok;
    /// A name that leads to the same account, the way a Microsoft account's mail address does.
    std::wstring alias = {};
};

/// One LogonUserExW as it was made. A null domain is recorded as an empty one with its flag unset.
struct LogonCall {
    std::wstring user, domain, password;
    bool hasDomain;
    DWORD type;
    BOOL result;
    /// ERROR_SUCCESS for a logon that was granted.
    DWORD error;
};

struct AccountsState {
    /// Longer than MAX_COMPUTERNAME_LENGTH makes the usual 16 characters too few: ERROR_BUFFER_OVERFLOW.
    std::wstring computerName = L"SIMULATED-PC";
    std::vector<Account> accounts;
    std::vector<LogonCall> logons;
    /// Names that NetUserEnum hands out at once; 0 means all of them.
    size_t netPageSize = 0;

    /// Names are compared without regard to case. Without a domain the computer's own account comes first.
    const Account* Find(const std::wstring& domain, const std::wstring& user) const;
    bool IsLocal(const Account& account) const;
};

/// What an attempt to log on comes to, in the languages of both Win32 and the LSA.
struct LogonVerdict {
    DWORD error;
    LONG status;
    LONG substatus;
};
LogonVerdict CheckLogon(const AccountsState& accounts, const std::wstring& domain, const std::wstring& user,
                        const std::wstring& password);

} // namespace WindowsModel
