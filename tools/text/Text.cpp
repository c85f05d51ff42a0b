#include "Text.h"

namespace {

bool IsBlank(wchar_t c)
{
    return c == L' ' || c == L'\t';
}

} // namespace

std::wstring FormatV(const wchar_t* format, va_list arguments)
{
    // _vsnwprintf tells no length when the text does not fit, so the buffer grows until it does.
    for (size_t capacity = 256;; capacity *= 2) {
        std::wstring text(capacity, L'\0');
        va_list copy;
        va_copy(copy, arguments);
        const int length = _vsnwprintf(text.data(), capacity, format, copy);
        va_end(copy);
        if (length >= 0) {
            text.resize(static_cast<size_t>(length));
            return text;
        }
        if (capacity > 1024 * 1024)
            return format;
    }
}

std::wstring Format(const wchar_t* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    std::wstring text = FormatV(format, arguments);
    va_end(arguments);
    return text;
}

std::wstring ErrorText(DWORD error)
{
    wchar_t text[512];
    const DWORD units = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS |
                                           FORMAT_MESSAGE_MAX_WIDTH_MASK,
                                       nullptr, error, 0, text, std::size(text), nullptr);
    // It ends with a blank in place of the line's end.
    return std::wstring(text, units) + Format(L"(error %lu)", error);
}

std::string ToUtf8(std::wstring_view text)
{
    auto convert = [&](char* buffer, int bytes) {
        return WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), buffer, bytes,
                                   nullptr, nullptr);
    };
    std::string result(convert(nullptr, 0), '\0');
    convert(result.data(), static_cast<int>(result.size()));
    return result;
}

std::wstring FromUtf8(std::string_view text)
{
    auto convert = [&](wchar_t* buffer, int units) {
        return MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), buffer, units);
    };
    std::wstring result(convert(nullptr, 0), L'\0');
    convert(result.data(), static_cast<int>(result.size()));
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

std::wstring Quoted(std::wstring_view text)
{
    std::wstring quoted = L"\"";
    for (const wchar_t c : text) {
        if (c == L'\n')
            quoted += L"\\n";
        else if (c == L'\r')
            quoted += L"\\r";
        else if (c < L' ')
            quoted += Format(L"\\x%02x", static_cast<unsigned>(c));
        else
            quoted += c;
    }
    return quoted + L'"';
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
