#include "WindowsModel/NtStatus.h"

#include "WindowsModel/Accounts.h"

#include "WindowsModel/Replacement.h"

#include <lm.h>

#include <cstddef>
#include <cstring>
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

constexpr DWORD FirstUserId = 1001;

/// A place for S-1-5-21-x-y-z-id.
union AccountSid {
    SID sid;
    BYTE bytes[SECURITY_MAX_SID_SIZE];
};
constexpr BYTE SubAuthorities = 5;
constexpr DWORD SidBytes = offsetof(SID, SubAuthority) + SubAuthorities * sizeof(DWORD);

/// What NetUserGetInfo hands out: the structure, and what it points to.
struct AccountBlock {
    USER_INFO_4 info;
    AccountSid sid;
    wchar_t name[UNLEN + 1];
};

/// Accounts are numbered as they stand in the model, below one machine or domain each.
AccountSid SidOf(const AccountsState& accounts, const Account& account)
{
    const DWORD subAuthorities[SubAuthorities] = {SECURITY_NT_NON_UNIQUE, 0x51300001,
                                                  accounts.IsLocal(account) ? 1u : 2u, 3,
                                                  FirstUserId + DWORD(&account - accounts.accounts.data())};
    AccountSid sid{};
    sid.sid.Revision = SID_REVISION;
    sid.sid.SubAuthorityCount = SubAuthorities;
    sid.sid.IdentifierAuthority = SECURITY_NT_AUTHORITY;
    std::memcpy(sid.bytes + offsetof(SID, SubAuthority), subAuthorities, sizeof subAuthorities);
    return sid;
}

/// Level 4 alone; of its texts, the name.
NET_API_STATUS ModelNetUserGetInfo(const wchar_t* /*server*/, const wchar_t* name, DWORD level, BYTE** result)
{
    if (level != 4)
        return ERROR_INVALID_LEVEL;
    const ModelState state;
    // An alias leads to an account, but no account is found by it.
    const Account* const account = state->accounts.Find(state->accounts.computerName, name);
    if (account == nullptr)
        return NERR_UserNotFound;
    auto* const block = static_cast<AccountBlock*>(state->ledger.Allocate(sizeof(AccountBlock)));
    if (block == nullptr)
        return ERROR_NOT_ENOUGH_MEMORY;
    block->sid = SidOf(state->accounts, *account);
    account->user.copy(block->name, UNLEN);
    block->info.usri4_name = block->name;
    block->info.usri4_flags = UF_SCRIPT | UF_NORMAL_ACCOUNT;
    block->info.usri4_user_sid = &block->sid;
    *result = reinterpret_cast<BYTE*>(block);
    return NERR_Success;
}

/// Level 0 alone: names are all that a caller needs to ask further.
NET_API_STATUS ModelNetUserEnum(const wchar_t* /*server*/, DWORD level, DWORD /*filter*/, BYTE** result,
                                DWORD /*preferredBytes*/, DWORD* read, DWORD* total, DWORD* resume)
{
    if (level != 0)
        return ERROR_INVALID_LEVEL;
    const ModelState state;
    std::vector<const Account*> accounts;
    for (const Account& account : state->accounts.accounts) {
        if (state->accounts.IsLocal(account))
            accounts.push_back(&account);
    }
    const size_t first = std::min<size_t>(*resume, accounts.size());
    size_t count = accounts.size() - first;
    if (state->accounts.netPageSize != 0)
        count = std::min(count, state->accounts.netPageSize);

    struct Entry {
        wchar_t name[UNLEN + 1];
    };
    void* const block = state->ledger.Allocate((count + 1) * (sizeof(USER_INFO_0) + sizeof(Entry)));
    if (block == nullptr)
        return ERROR_NOT_ENOUGH_MEMORY;
    auto* const infos = static_cast<USER_INFO_0*>(block);
    auto* const entries = reinterpret_cast<Entry*>(infos + count);
    for (size_t index = 0; index < count; ++index) {
        accounts[first + index]->user.copy(entries[index].name, UNLEN);
        infos[index].usri0_name = entries[index].name;
    }
    *result = static_cast<BYTE*>(block);
    *read = DWORD(count);
    *total = DWORD(accounts.size() - first);
    const bool more = count < *total;
    *resume = more ? DWORD(first + count) : 0;
    return more ? NET_API_STATUS(ERROR_MORE_DATA) : NERR_Success;
}

NET_API_STATUS ModelNetApiBufferFree(void* block)
{
    return ModelState()->ledger.Free(block) ? NERR_Success : NET_API_STATUS(ERROR_INVALID_PARAMETER);
}

/// A user's name or a local account's alias.
const Account* FindByName(const AccountsState& accounts, const std::wstring& name)
{
    for (const Account& account : accounts.accounts) {
        if (accounts.IsLocal(account) && !account.alias.empty() && SameName(account.alias, name))
            return &account;
    }
    return accounts.Find(L"", name);
}

BOOL ModelLookupAccountNameW(const wchar_t* /*system*/, const wchar_t* name, PSID sid, DWORD* sidBytes,
                             wchar_t* domain, DWORD* domainCharacters, SID_NAME_USE* use)
{
    const ModelState state;
    const Account* const account = FindByName(state->accounts, name);
    if (account == nullptr)
        return Answer(ERROR_NONE_MAPPED);
    const DWORD domainNeeded = DWORD(account->domain.size() + 1);
    if (*sidBytes < SidBytes || *domainCharacters < domainNeeded)
        return Answer(ERROR_INSUFFICIENT_BUFFER);
    const AccountSid found = SidOf(state->accounts, *account);
    std::memcpy(sid, found.bytes, SidBytes);
    std::wmemcpy(domain, account->domain.c_str(), domainNeeded);
    *domainCharacters = domainNeeded - 1;
    *use = SidTypeUser;
    return TRUE;
}

const Replacement g_replacements[] = {
    SIM_MODELLED(Accounts, LastError, LogonUserExW, ModelLogonUserExW),
    SIM_MODELLED(Accounts, LastError, GetComputerNameW, ModelGetComputerNameW),
    SIM_MODELLED(Accounts, Status, NetUserGetInfo, ModelNetUserGetInfo),
    SIM_MODELLED(Accounts, Status, NetUserEnum, ModelNetUserEnum),
    SIM_MODELLED(Accounts, Status, NetApiBufferFree, ModelNetApiBufferFree),
    SIM_MODELLED(Accounts, LastError, LookupAccountNameW, ModelLookupAccountNameW),
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
