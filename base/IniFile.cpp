#include "IniFile.h"

#include "Session.h"
#include "WideText.h"

#include <lm.h>

#include <iterator>
#include <span>
#include <utility>

namespace {

template <class T>
struct NetBufferPolicy {
    using Type = T*;
    static Type Invalid() { return nullptr; }
    static void Close(Type buffer) { NetApiBufferFree(buffer); }
};
template <class T>
using NetBuffer = UniqueResource<NetBufferPolicy<T>>;

/// Also tells by the error whether there is such an account at all.
NET_API_STATUS GetAccount(const wchar_t* name, NetBuffer<USER_INFO_4>& account)
{
    return NetUserGetInfo(nullptr, name, 4, reinterpret_cast<BYTE**>(account.Put()));
}

/// The local account whose identifier is `sid`; empty when there is none.
std::wstring FindLocalAccount(PSID sid)
{
    DWORD resume = 0;
    NET_API_STATUS status = ERROR_MORE_DATA;
    while (status == ERROR_MORE_DATA) {
        NetBuffer<USER_INFO_0> page;
        DWORD count = 0;
        DWORD total = 0;
        status = NetUserEnum(nullptr, 0, FILTER_NORMAL_ACCOUNT, reinterpret_cast<BYTE**>(page.Put()),
                             MAX_PREFERRED_LENGTH, &count, &total, &resume);
        if ((status != NERR_Success && status != ERROR_MORE_DATA) || !page || count == 0)
            return {};
        for (const USER_INFO_0& user : std::span(page.Get(), count)) {
            NetBuffer<USER_INFO_4> account;
            if (GetAccount(user.usri0_name, account) == NERR_Success && account &&
                account.Get()->usri4_user_sid != nullptr && EqualSid(account.Get()->usri4_user_sid, sid))
                return CopyWideText(user.usri0_name, UNLEN);
        }
    }
    return {};
}

/// Empty when the session has no user. A name that no local account bears or stands behind is kept as it is.
std::wstring UserSection()
{
    const auto sessionUser = QueryCurrentSession<wchar_t>(WTSUserName);
    if (!sessionUser)
        return {};
    std::wstring name = CopyWideText(sessionUser.Get(), UNLEN);
    if (name.empty())
        return {};

    NetBuffer<USER_INFO_4> account;
    if (GetAccount(name.c_str(), account) != NERR_UserNotFound)
        return name;

    alignas(SID) BYTE sid[SECURITY_MAX_SID_SIZE];
    DWORD sidBytes = sizeof sid;
    wchar_t domain[256];
    DWORD domainUnits = std::size(domain);
    SID_NAME_USE use;
    if (!LookupAccountNameW(nullptr, name.c_str(), sid, &sidBytes, domain, &domainUnits, &use))
        return name;
    std::wstring local = FindLocalAccount(sid);
    return local.empty() ? std::move(name) : std::move(local);
}

/// `section`, or for want of one the user section, which `user` then holds. Null when there is neither.
const wchar_t* ResolveSection(const wchar_t* section, std::wstring& user)
{
    if (section != nullptr)
        return section;
    user = UserSection();
    return user.empty() ? nullptr : user.c_str();
}

} // namespace

void IniReadInt(const wchar_t* key, std::uint32_t* out, const wchar_t* section)
{
    if (out == nullptr)
        return;
    std::wstring user;
    IniReadSectionInt(key, out, ResolveSection(section, user));
}

std::wstring IniReadString(const wchar_t* key)
{
    const std::wstring user = UserSection();
    // Without a section or key the profile API would answer with a list of names.
    if (user.empty() || key == nullptr)
        return {};
    wchar_t text[256] = {};
    GetPrivateProfileStringW(user.c_str(), key, nullptr, text, std::size(text), IniPath);
    return CopyWideText(text, std::size(text));
}

bool IniWriteString(const wchar_t* key, std::wstring&& value, const wchar_t* section)
{
    const std::wstring text = std::exchange(value, {});
    std::wstring user;
    section = ResolveSection(section, user);
    // Without a key the profile API would delete the section.
    if (section == nullptr || key == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    return WritePrivateProfileStringW(section, key, text.c_str(), IniPath) != FALSE;
}
