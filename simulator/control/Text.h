// Text between the control pipe (UTF-8) and the programs at its ends (UTF-16), and the words of a command.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace control {

std::string ToUtf8(std::wstring_view text);
std::wstring FromUtf8(std::string_view text);

/// Writes UTF-8 to a standard handle, whatever stands behind it; wide stdio would narrow to the code page.
void Print(DWORD standardHandle, std::wstring_view text);

/// Words are separated by blanks. A word in double quotes may hold blanks or nothing; "" in it is one quote.
/// Nothing when a quote stays open.
std::optional<std::vector<std::wstring>> SplitWords(std::wstring_view line);

/// The inverse of SplitWords for one word: quoted only where it has to be.
std::wstring QuoteWord(std::wstring_view word);

} // namespace control
