// How the service's report renders the arguments of a call. Programs that check a report render what they
// sent with the same functions.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

namespace ServiceClient {

/// In double quotes on one line: quote and backslash escaped with a backslash, control characters and
/// unpaired surrogates as \uXXXX. A null pointer is the word null.
std::wstring QuotedText(const wchar_t* text);
std::wstring QuotedText(std::wstring_view text);
/// The same for 8-bit text; bytes outside printable ASCII as \xXX, for their code page is unknown.
std::wstring QuotedText(const char* text);

/// "3 bytes 0a0b0c" up to sixteen bytes, beyond that "386 bytes fnv1a=<64-bit FNV-1a, 16 hex digits>".
std::wstring BytesText(const void* data, size_t size);

} // namespace ServiceClient
