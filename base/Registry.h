// The product's values in the registry. Every call opens, reads or writes, and closes, so that a change made
// by the product's other programs counts at once. All of them use the 32-bit view: the other programs are
// 32-bit ones.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

/// The value "Enable" under HKLM\SOFTWARE\VEXA\FingerPrint: is fingerprint logon switched on? Off when
/// absent.
bool GetFPEnable();
void SetFPEnable(std::uint32_t value);

/// Values under HKLM\SOFTWARE\VEXA\FingerPrint. 0xFFFFFFFF when there is no such number.
std::uint32_t RegReadFPDword(const wchar_t* name);
LSTATUS RegWriteFPDword(const wchar_t* name, std::uint32_t value);
/// At most 255 units; empty when there is no such text.
std::wstring RegReadFPString(const wchar_t* name);
/// The first write into a missing key creates it and leaves the value empty.
LSTATUS RegWriteFPString(const wchar_t* name, const wchar_t* text);

/// The same for any key under HKEY_LOCAL_MACHINE. A write that can't open `subkey` creates a key called
/// `name`.
std::wstring RegReadString(const wchar_t* subkey, const wchar_t* name);
LSTATUS RegWriteString(const wchar_t* subkey, const wchar_t* name, const wchar_t* text);
