// The product's INI file in the public profile, read and written afresh by every call.
#pragma once

#include <cstdint>
#include <string>

inline constexpr wchar_t IniPath[] = LR"(C:\Users\Public\VEXA\FingerPrint\config.ini)";

// A null section is the user section. It is called like the user of the current session or, when Windows
// doesn't know an account of that name, like the local account with the same security identifier.

/// 0 when the file, section or key is missing or there is no user section.
void IniReadInt(const wchar_t* key, std::uint32_t* out, const wchar_t* section);

/// The same for a section that is named; 0 for a null one. Apart from the rest, so that a module that needs
/// no more does not map the network API into every process that it is loaded in.
void IniReadSectionInt(const wchar_t* key, std::uint32_t* out, const wchar_t* section);

/// From the user section; at most 255 units, empty when missing.
std::wstring IniReadString(const wchar_t* key);

/// The value is moved in and left empty. False, with the last error set, when nothing was written.
bool IniWriteString(const wchar_t* key, std::wstring&& value, const wchar_t* section);
