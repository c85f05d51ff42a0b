#include "Checks.h"
#include "IniFile.h"
#include "Registry.h"
#include "Text.h"

#include <shlwapi.h>

#include <optional>

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

} // namespace

Finding CheckEnable(Examination&)
{
    constexpr wchar_t switchOn[] =
        L"Switch fingerprint logon on in the product's settings, or set the DWORD \"Enable\" to 1 under "
        L"HKLM\\SOFTWARE\\WOW6432Node\\VEXA\\FingerPrint.";
    const auto value = ReadEnable(RRF_SUBKEY_WOW6432KEY);
    // Without a value the provider's own query would try to store one.
    if (value && GetFPEnable())
        return Pass(Format(L"%lu in the 32-bit view", *value));
    const wchar_t* const here = value ? L"0 in the 32-bit view" : L"no DWORD in the 32-bit view";
    if (const auto other = ReadEnable(RRF_SUBKEY_WOW6464KEY); other && *other != 0)
        return Refuse(Status::WrongView,
                      Format(L"%s, %lu in the 64-bit view, which nobody reads", here, *other), switchOn);
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
        return Note(keys + L"no limit is set; fingers are taken up to 32767 times");
    if (count == 0)
        return Note(keys + L"no limit");
    return Note(keys +
                Format(L"after %u matched fingers, whatever their passwords, the tile asks for a manual "
                       L"logon",
                       count));
}

Finding CheckLogFolders(Examination&)
{
    const bool text = PathFileExistsW(L"C:\\CPLog") != FALSE;
    const bool records = PathFileExistsW(L"c:\\FPLog") != FALSE;
    std::wstring found = Format(L"C:\\CPLog %s, c:\\FPLog %s", text ? L"is there" : L"is absent",
                                records ? L"is there" : L"is absent");
    if (text && records)
        return Note(std::move(found));
    return Note(std::move(found),
                L"To have the provider tell more, create C:\\CPLog (text log) and c:\\FPLog "
                L"(event log).");
}
