// The local accounts as the network user API and LookupAccountNameW list them.
#include "WindowsModel/Replacement.h"

#include <lm.h>

#include <cstddef>
#include <cstring>
#include <cwchar>

namespace WindowsModel {

namespace {

constexpr DWORD NormalAccount = UF_SCRIPT | UF_NORMAL_ACCOUNT;
constexpr DWORD FirstUserId = 1001;

/// A place for S-1-5-21-x-y-z-id.
union AccountSid {
    SID sid;
    BYTE bytes[SECURITY_MAX_SID_SIZE];
};
constexpr BYTE SubAuthorities = 5;
constexpr DWORD SidBytes = offsetof(SID, SubAuthority) + SubAuthorities * sizeof(DWORD);

/// What NetUserGetInfo hands out: a structure of the level asked for, and what it points to.
struct AccountBlock {
    union {
        USER_INFO_0 level0;
        USER_INFO_4 level4;
        USER_INFO_23 level23;
    };
    AccountSid sid;
    wchar_t name[UNLEN + 1];
    wchar_t empty[1];
};

/// Accounts are numbered as they stand in the model, below one machine or domain each.
DWORD UserId(const AccountsState& accounts, const Account& account)
{
    return FirstUserId + DWORD(&account - accounts.accounts.data());
}

AccountSid SidOf(const AccountsState& accounts, const Account& account)
{
    const DWORD subAuthorities[SubAuthorities] = {SECURITY_NT_NON_UNIQUE, 0x51300001,
                                                  accounts.IsLocal(account) ? 1u : 2u, 3,
                                                  UserId(accounts, account)};
    AccountSid sid{};
    sid.sid.Revision = SID_REVISION;
    sid.sid.SubAuthorityCount = SubAuthorities;
    sid.sid.IdentifierAuthority = SECURITY_NT_AUTHORITY;
    std::memcpy(sid.bytes + offsetof(SID, SubAuthority), subAuthorities, sizeof subAuthorities);
    return sid;
}

/// Null when memory is short.
void* NewNetBuffer(AccountsState& accounts, size_t bytes)
{
    void* const block = HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, bytes);
    if (block != nullptr)
        accounts.netBuffers.push_back(block);
    return block;
}

NET_API_STATUS ModelNetUserGetInfo(const wchar_t* server, const wchar_t* name, DWORD level, BYTE** result)
{
    if (result == nullptr || name == nullptr)
        return ERROR_INVALID_PARAMETER;
    *result = nullptr;
    if (server != nullptr && *server != L'\0')
        return ERROR_BAD_NETPATH;
    if (level != 0 && level != 4 && level != 23)
        return ERROR_INVALID_LEVEL;

    const ModelState state;
    // An alias leads to an account, but no account is found by it.
    const Account* const account = state->accounts.FindLocal(name);
    if (account == nullptr || !SameName(account->user, name))
        return NERR_UserNotFound;
    auto* const block = static_cast<AccountBlock*>(NewNetBuffer(state->accounts, sizeof(AccountBlock)));
    if (block == nullptr)
        return ERROR_NOT_ENOUGH_MEMORY;
    *result = reinterpret_cast<BYTE*>(block);

    block->sid = SidOf(state->accounts, *account);
    account->user.copy(block->name, UNLEN);
    const DWORD flags = NormalAccount | (account->state == AccountState::Disabled ? UF_ACCOUNTDISABLE : 0u);
    if (level == 0) {
        block->level0.usri0_name = block->name;
    } else if (level == 4) {
        USER_INFO_4& info = block->level4;
        for (wchar_t** text :
             {&info.usri4_password, &info.usri4_home_dir, &info.usri4_comment, &info.usri4_script_path,
              &info.usri4_full_name, &info.usri4_usr_comment, &info.usri4_parms, &info.usri4_workstations,
              &info.usri4_logon_server, &info.usri4_profile, &info.usri4_home_dir_drive})
            *text = block->empty;
        info.usri4_name = block->name;
        info.usri4_flags = flags;
        info.usri4_acct_expires = TIMEQ_FOREVER;
        info.usri4_user_sid = &block->sid;
    } else {
        USER_INFO_23& info = block->level23;
        info.usri23_name = block->name;
        info.usri23_full_name = info.usri23_comment = block->empty;
        info.usri23_flags = flags;
        info.usri23_user_sid = &block->sid;
    }
    return NERR_Success;
}

/// Level 0 alone: names are all that a caller needs to ask further.
NET_API_STATUS ModelNetUserEnum(const wchar_t* server, DWORD level, DWORD /*filter*/, BYTE** result,
                                DWORD /*preferredBytes*/, DWORD* read, DWORD* total, DWORD* resume)
{
    if (result == nullptr || read == nullptr || total == nullptr)
        return ERROR_INVALID_PARAMETER;
    *result = nullptr;
    *read = *total = 0;
    if (server != nullptr && *server != L'\0')
        return ERROR_BAD_NETPATH;
    if (level != 0)
        return ERROR_INVALID_LEVEL;

    const ModelState state;
    std::vector<const Account*> accounts;
    for (const Account& account : state->accounts.accounts) {
        if (state->accounts.IsLocal(account))
            accounts.push_back(&account);
    }
    const size_t first = std::min<size_t>(resume != nullptr ? *resume : 0, accounts.size());
    size_t count = accounts.size() - first;
    if (state->accounts.netPageSize != 0)
        count = std::min(count, state->accounts.netPageSize);

    struct Entry {
        wchar_t name[UNLEN + 1];
    };
    void* const block =
        NewNetBuffer(state->accounts, std::max<size_t>(count, 1) * (sizeof(USER_INFO_0) + sizeof(Entry)));
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
    const bool more = first + count < accounts.size();
    if (resume != nullptr)
        *resume = more ? DWORD(first + count) : 0;
    return more ? NET_API_STATUS(ERROR_MORE_DATA) : NERR_Success;
}

NET_API_STATUS ModelNetApiBufferFree(void* block)
{
    if (block == nullptr)
        return NERR_Success;
    const ModelState state;
    if (!TakeOut(state->accounts.netBuffers, block)) {
        ++state->accounts.wrongNetFrees;
        return ERROR_INVALID_PARAMETER;
    }
    HeapFree(GetProcessHeap(), 0, block);
    return NERR_Success;
}

/// "user", "DOMAIN\user" or a local account's alias.
const Account* FindByFullName(const AccountsState& accounts, const std::wstring& name)
{
    const size_t separator = name.find(L'\\');
    if (separator != std::wstring::npos)
        return accounts.Find(name.substr(0, separator), name.substr(separator + 1));
    const Account* const local = accounts.FindLocal(name);
    return local != nullptr ? local : accounts.Find(L"", name);
}

DWORD LookUp(const wchar_t* name, PSID sid, DWORD* sidBytes, wchar_t* domain, DWORD* domainCharacters,
             SID_NAME_USE* use)
{
    const ModelState state;
    const Account* const account = FindByFullName(state->accounts, name);
    if (account == nullptr)
        return ERROR_NONE_MAPPED;
    const DWORD domainNeeded = DWORD(account->domain.size() + 1);
    const bool fits =
        *sidBytes >= SidBytes && *domainCharacters >= domainNeeded && sid != nullptr && domain != nullptr;
    *sidBytes = SidBytes;
    if (!fits) {
        *domainCharacters = domainNeeded;
        return ERROR_INSUFFICIENT_BUFFER;
    }
    const AccountSid found = SidOf(state->accounts, *account);
    std::memcpy(sid, found.bytes, SidBytes);
    std::wmemcpy(domain, account->domain.c_str(), domainNeeded);
    *domainCharacters = domainNeeded - 1;
    *use = SidTypeUser;
    return ERROR_SUCCESS;
}

BOOL ModelLookupAccountNameW(const wchar_t* /*system*/, const wchar_t* name, PSID sid, DWORD* sidBytes,
                             wchar_t* domain, DWORD* domainCharacters, SID_NAME_USE* use)
{
    if (name == nullptr || sidBytes == nullptr || domainCharacters == nullptr || use == nullptr)
        return Answer(ERROR_INVALID_PARAMETER);
    return Answer(LookUp(name, sid, sidBytes, domain, domainCharacters, use));
}

const Replacement g_replacements[] = {
    SIM_MODELLED(Accounts, Status, NetUserGetInfo, ModelNetUserGetInfo),
    SIM_MODELLED(Accounts, Status, NetUserEnum, ModelNetUserEnum),
    SIM_MODELLED(Accounts, Status, NetApiBufferFree, ModelNetApiBufferFree),
    SIM_MODELLED(Accounts, LastError, LookupAccountNameW, ModelLookupAccountNameW),
};

} // namespace

std::span<const Replacement> LocalUserReplacements()
{
    return g_replacements;
}

} // namespace WindowsModel
