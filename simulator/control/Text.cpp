#include "control/Text.h"

namespace control {
namespace {

bool IsBlank(wchar_t c)
{
    return c == L' ' || c == L'\t';
}

} // namespace

std::string ToUtf8(std::wstring_view text)
{
    int units = static_cast<int>(text.size());
    int bytes = WideCharToMultiByte(CP_UTF8, 0, text.data(), units, nullptr, 0, nullptr, nullptr);
    std::string result(bytes, '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), units, result.data(), bytes, nullptr, nullptr);
    return result;
}

std::wstring FromUtf8(std::string_view text)
{
    int bytes = static_cast<int>(text.size());
    int units = MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, nullptr, 0);
    std::wstring result(units, L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), bytes, result.data(), units);
    return result;
}

void Print(DWORD standardHandle, std::wstring_view text)
{
    HANDLE output = GetStdHandle(standardHandle);
    DWORD written = 0;
    DWORD mode = 0;
    if (GetConsoleMode(output, &mode)) {
        WriteConsoleW(output, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
        return;
    }
    std::string bytes = ToUtf8(text);
    WriteFile(output, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
}

std::optional<std::vector<std::wstring>> SplitWords(std::wstring_view line)
{
    std::vector<std::wstring> words;
    size_t at = 0;
    while (true) {
        while (at < line.size() && IsBlank(line[at]))
            ++at;
        if (at == line.size())
            return words;
        std::wstring word;
        bool quoted = false;
        for (; at < line.size() && (quoted || !IsBlank(line[at])); ++at) {
            if (line[at] != L'"') {
                word += line[at];
            } else if (quoted && at + 1 < line.size() && line[at + 1] == L'"') {
                word += L'"';
                ++at;
            } else {
                quoted = !quoted;
            }
        }
        if (quoted)
            return std::nullopt;
        words.push_back(std::move(word));
    }
}

std::wstring QuoteWord(std::wstring_view word)
{
    if (!word.empty() && word.find_first_of(L" \t\"") == std::wstring_view::npos)
        return std::wstring(word);
    std::wstring quoted = L"\"";
    for (wchar_t c : word)
        quoted.append(c == L'"' ? 2 : 1, c);
    return quoted + L'"';
}

} // namespace control
