// Scripts the simulated pre-boot library, and tells which calls it received. Everything is a registry value,
// so that `reg add` does as well as a program:
//
//     reg add "HKLM\SOFTWARE\Fingerprint Simulator\PreBoot" /v Enabled /t REG_DWORD /d 0
//     reg add "HKLM\SOFTWARE\Fingerprint Simulator\PreBoot" /v User /d anna
//     reg query "HKLM\SOFTWARE\Fingerprint Simulator\PreBoot\Calls"
//
// Value          Type        Without it             Meaning
// Enabled        REG_DWORD   1                      the flag that vcsWavIsPbaEnabled sets, its lowest byte
// OpenStatus     REG_DWORD   0                      returned by vcsWavPbaOpen
// EnabledStatus  REG_DWORD   0                      returned by vcsWavIsPbaEnabled; other than 0 sets no flag
// CloseStatus    REG_DWORD   0                      returned by vcsWavPbaClose
// User, Password, Domain
//                REG_SZ      empty                  the user who was authenticated before boot
// Record         REG_BINARY  made of the texts      the bytes of the record, whatever they are and however
// many SizeStatus     REG_DWORD   0; 8273 without user   returned by vcsWavPbaGetAuthUserCreds for the size
// CredsStatus    REG_DWORD   0; 8273 without user   returned by vcsWavPbaGetAuthUserCreds for the record
// Size           REG_DWORD   bytes of the record    the size reported first; 4294967295 is -1
// FilledSize     REG_DWORD   bytes of the record    the size reported with the record
//
// "Without user" is a script with neither User nor Record: nobody was authenticated before boot. A call that
// fails leaves the size alone. The bytes given never exceed the caller's buffer, whatever size is reported.
//
// Below the key, `Calls` holds one text for each call: the value's name counts from 0001.
//
//     0001   vcsWavPbaOpen(2) = 0
//     0002   vcsWavPbaGetAuthUserCreds(null, 0) = 0, size 386
//     0003   vcsWavPbaGetAuthUserCreds(buffer, 386) = 0, size 386
//     0004   vcsWavPbaClose() = 0
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace PreBootLibrary {

/// In HKEY_LOCAL_MACHINE.
constexpr wchar_t kScriptKey[] = LR"(SOFTWARE\Fingerprint Simulator\PreBoot)";
constexpr wchar_t kCallsKey[] = LR"(SOFTWARE\Fingerprint Simulator\PreBoot\Calls)";

/// What asking for credentials returns when nobody was authenticated: 0x2051.
constexpr LONG kNobodyAuthenticated = 0x2051;

struct Script {
    LONG enabled = 1;
    LONG openStatus = 0, enabledStatus = 0, closeStatus = 0;
    /// Empty: nobody was authenticated.
    std::optional<std::vector<BYTE>> record;
    /// As the record says where they are missing.
    std::optional<LONG> sizeStatus, credsStatus, size, filledSize;
};

/// A record of 386 bytes; each text is cut to its field.
std::vector<BYTE> MakeRecord(std::wstring_view user, std::wstring_view password, std::wstring_view domain);

/// The script that the registry holds.
Script Load();
/// Replaces the script and forgets the calls.
bool Store(const Script& script);
/// Back to an enabled library that has nobody to hand over; the calls are forgotten too.
bool Clear();

/// The calls since the script was stored, in order of their ends.
std::vector<std::wstring> Calls();
void NoteCall(const std::wstring& call);

} // namespace PreBootLibrary
