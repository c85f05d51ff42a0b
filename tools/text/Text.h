// Texts of the programs around the DLL: UTF-16 inside, UTF-8 in files and pipes.
#pragma once

#include <windows.h>

#include <cstdarg>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Formats by the Windows rule, for which %s is wide text.
std::wstring Format(const wchar_t* format, ...);
std::wstring FormatV(const wchar_t* format, va_list arguments);

/// Windows' own words for an error, and its number: "Access is denied. (error 5)".
std::wstring ErrorText(DWORD error);

std::string ToUtf8(std::wstring_view text);
std::wstring FromUtf8(std::string_view text);

/// Writes to a standard handle, whatever stands behind it; wide stdio would narrow to the code page.
void Print(DWORD standardHandle, std::wstring_view text);
inline void PrintOut(std::wstring_view text)
{
    Print(STD_OUTPUT_HANDLE, text);
}
inline void PrintError(std::wstring_view text)
{
    Print(STD_ERROR_HANDLE, text);
}

/// In double quotes, with control characters escaped, so that any text stays on its line.
std::wstring Quoted(std::wstring_view text);

/// Words are separated by blanks. A word in double quotes may hold blanks or nothing; "" in it is one quote.
/// Nothing when a quote stays open.
std::optional<std::vector<std::wstring>> SplitWords(std::wstring_view line);

/// The inverse of SplitWords for one word: quoted only where it has to be.
std::wstring QuoteWord(std::wstring_view word);
