// Scripts the simulated pre-boot library, and tells which calls it received. Everything is a registry value,
// so that `reg add` does as well as a program: README.md says what each of them means.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace PreBootLibrary {

/// What is missing has the answer of a library that works, is enabled, and hands over what the record holds.
struct Script {
    std::optional<LONG> enabled = {}, openStatus = {}, enabledStatus = {}, closeStatus = {};
    /// Empty: nobody was authenticated.
    std::optional<std::vector<BYTE>> record = {};
    std::optional<LONG> sizeStatus = {}, credsStatus = {}, size = {}, filledSize = {};
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
