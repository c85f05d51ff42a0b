#include "Doctor.h"
#include "IniFile.h"
#include "Registry.h"
#include "Text.h"

namespace {

constexpr wchar_t ProductKey[] = LR"(SOFTWARE\VEXA\FingerPrint)";

std::optional<DWORD> ReadEnable(DWORD view)
{
    DWORD value = 0;
    DWORD bytes = sizeof value;
    if (RegGetValueW(HKEY_LOCAL_MACHINE, ProductKey, L"Enable", RRF_RT_DWORD | view, nullptr, &value,
                     &bytes) != ERROR_SUCCESS)
        return std::nullopt;
    return value;
}

/// Why ReadEnable reads nothing where the provider looks.
std::wstring WhyUnread()
{
    constexpr const wchar_t* types[] = {L"REG_NONE", L"REG_SZ", L"REG_EXPAND_SZ", L"REG_BINARY"};
    DWORD type = REG_NONE;
    DWORD bytes = 0;
    if (RegGetValueW(HKEY_LOCAL_MACHINE, ProductKey, L"Enable",
                     RRF_RT_ANY | RRF_NOEXPAND | RRF_SUBKEY_WOW6432KEY, &type, nullptr,
                     &bytes) != ERROR_SUCCESS)
        return L"no DWORD in the 32-bit view";
    return (type < ARRAYSIZE(types) ? types[type] : Format(L"a value of type %lu", type)) +
           Format(L" of %lu bytes in the 32-bit view, where only a DWORD counts", bytes);
}

} // namespace

Finding CheckEnable(Examination&)
{
    constexpr wchar_t switchOn[] =
        L"Switch fingerprint logon on in the product's settings, or set the DWORD \"Enable\" to 1 under "
        L"HKLM\\SOFTWARE\\WOW6432Node\\VEXA\\FingerPrint.";
    const auto value = ReadEnable(RRF_SUBKEY_WOW6432KEY);
    // Without a value the provider's own query would try to store one.
    if (value && GetFPEnable())
        return {Outcome::Pass, Format(L"%lu in the 32-bit view", *value)};
    const std::wstring here = value ? L"0 in the 32-bit view" : WhyUnread();
    if (const auto other = ReadEnable(RRF_SUBKEY_WOW6464KEY); other && *other != 0)
        return Refuse(Status::WrongView,
                      Format(L"%s; %lu in the 64-bit view, which nobody reads", here.c_str(), *other),
                      switchOn);
    return Refuse(Status::SwitchedOff, here, switchOn);
}

Finding CheckLockOut(Examination&)
{
    std::uint32_t enable = 0;
    std::uint32_t count = 0;
    IniReadInt(L"LockEnable", &enable, L"Public");
    IniReadInt(L"LockCount", &count, L"Public");
    const std::wstring keys = Format(L"LockEnable=%u, LockCount=%u: ", enable, count);
    if (enable == 0)
        return {Outcome::Note, keys + L"switched off (a tile stops asking after 32767 matched fingers)"};
    if (count == 0)
        return {Outcome::Note, keys + L"switched on, without a limit"};
    return {Outcome::Note,
            keys + Format(L"after %u matched finger%s, whatever the passwords, the tile asks for a manual "
                          L"logon",
                          count, count == 1 ? L"" : L"s")};
}
