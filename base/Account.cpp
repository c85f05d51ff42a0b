#include "Account.h"

#include "Session.h"

#include <oleauto.h>
#include <powrprof.h>

#include <iterator>
#include <optional>

namespace {

constexpr DWORD OutOfMemory = 0x8007000E;

constexpr GUID NoSubgroup = {0xFEA3413E, 0x7E05, 0x4911, {0x9A, 0x71, 0x70, 0x03, 0x31, 0xF1, 0xC2, 0x94}};
constexpr GUID ConsoleLock = {0x0E796BDB, 0x100D, 0x47D6, {0xA2, 0xD5, 0xF7, 0xD2, 0xDA, 0xA5, 0x1F, 0x51}};
constexpr BYTE OnMains = 1;

constexpr wchar_t WinlogonKey[] = LR"(SOFTWARE\Microsoft\Windows NT\CurrentVersion\Winlogon)";
constexpr wchar_t AutoLogonValue[] = L"AutoAdminLogon";

struct SystemStringPolicy {
    using Type = BSTR;
    static Type Invalid() { return nullptr; }
    static void Close(Type text) { SysFreeString(text); }
};
using SystemString = UniqueResource<SystemStringPolicy>;

struct LocalMemoryPolicy {
    using Type = GUID*;
    static Type Invalid() { return nullptr; }
    static void Close(Type memory) { LocalFree(memory); }
};

/// False when memory is short. A null text gives a null string.
bool CopyLowered(const wchar_t* text, SystemString& copy)
{
    if (text == nullptr)
        return true;
    copy.Reset(SysAllocString(text));
    if (!copy)
        return false;
    CharLowerBuffW(copy.Get(), SysStringLen(copy.Get()));
    return true;
}

/// An unknown state counts as active, which is the stricter check.
bool IsSessionActive()
{
    const auto state = QueryCurrentSession<DWORD>(WTSConnectState);
    return !state || *state.Get() == WTSActive;
}

/// No token is asked for, so none has to be closed.
bool TryLogon(const wchar_t* userName, const wchar_t* domain, const wchar_t* password, DWORD logonType)
{
    if (LogonUserExW(userName, domain, password, logonType, LOGON32_PROVIDER_DEFAULT, nullptr, nullptr,
                     nullptr, nullptr, nullptr))
        return true;
    return GetLastError() == ERROR_ACCOUNT_RESTRICTION;
}

/// Nothing when memory is short. An account of this computer, in whatever case it is written, is tried here
/// first.
std::optional<bool> TryAccount(const wchar_t* userName, const wchar_t* password, const wchar_t* domain)
{
    SystemString loweredDomain;
    if (!CopyLowered(domain, loweredDomain))
        return std::nullopt;
    wchar_t computer[256] = {};
    DWORD units = std::size(computer);
    GetComputerNameW(computer, &units);
    SystemString loweredComputer;
    if (!CopyLowered(computer, loweredComputer))
        return std::nullopt;
    const DWORD otherType = IsSessionActive() ? LOGON32_LOGON_INTERACTIVE : LOGON32_LOGON_NEW_CREDENTIALS;
    const HRESULT order = VarBstrCmp(loweredComputer.Get(), loweredDomain.Get(), LOCALE_USER_DEFAULT, 0);
    const bool isHere = order == static_cast<HRESULT>(VARCMP_EQ);
    return (isHere && TryLogon(userName, computer, password, LOGON32_LOGON_INTERACTIVE)) ||
           TryLogon(userName, domain, password, otherType);
}

/// Does the active power scheme ask for a password on wake-up?
bool IsPasswordAskedOnWake()
{
    UniqueResource<LocalMemoryPolicy> scheme;
    const DWORD found = PowerGetActiveScheme(nullptr, scheme.Put());
    SYSTEM_POWER_STATUS power{};
    GetSystemPowerStatus(&power);
    if (found != ERROR_SUCCESS || !scheme)
        return false;
    const auto read = power.ACLineStatus == OnMains ? PowerReadACValueIndex : PowerReadDCValueIndex;
    DWORD value = 0;
    if (read(nullptr, scheme.Get(), &NoSubgroup, &ConsoleLock, &value) != ERROR_SUCCESS)
        value = 0;
    return value != 0;
}

bool IsAutoAdminLogonSet()
{
    RegistryKey key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, WinlogonKey, 0, KEY_READ | KEY_WOW64_64KEY, key.Put()) !=
        ERROR_SUCCESS)
        return false;
    DWORD type = REG_NONE;
    DWORD bytes = 0;
    if (RegQueryValueExW(key.Get(), AutoLogonValue, nullptr, &type, nullptr, &bytes) != ERROR_SUCCESS)
        return false;
    wchar_t text[256] = {};
    bytes = sizeof text;
    return RegQueryValueExW(key.Get(), AutoLogonValue, nullptr, &type, reinterpret_cast<BYTE*>(text),
                            &bytes) == ERROR_SUCCESS &&
           text[0] == L'1';
}

} // namespace

int CheckUserAndPwd(const wchar_t* userName, const wchar_t* password, const wchar_t* domain)
{
    const std::optional<bool> accepted = TryAccount(userName, password, domain);
    // Raised here, where nothing is owned any more: unwinding would not reach it.
    if (!accepted)
        RaiseException(OutOfMemory, EXCEPTION_NONCONTINUABLE, 0, nullptr);
    return *accepted ? 1 : 0;
}

bool CheckSystemAutoLogon()
{
    const bool isAsked = IsPasswordAskedOnWake();
    return IsAutoAdminLogonSet() || !isAsked;
}
