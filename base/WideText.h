// Wide strings for callers that have no use for an exception.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cwchar>
#include <new>
#include <string>

/// Formats by the Windows rule, for which %s is wide text; cuts what does not fit. Always terminated.
template <std::size_t Units>
void FormatWideText(wchar_t (&text)[Units], const wchar_t* format, va_list arguments)
{
    // vswprintf would read %s as 8-bit text. An over-long text is left unterminated.
    text[0] = L'\0';
    _vsnwprintf(text, Units - 1, format, arguments);
    text[Units - 1] = L'\0';
}

/// The text up to its terminator, at most `units` of it. Empty for a null pointer or for want of memory.
inline std::wstring CopyWideText(const wchar_t* text, std::size_t units) noexcept
{
    if (text == nullptr)
        return {};
    std::size_t length = 0;
    while (length < units && text[length] != L'\0')
        ++length;
    try {
        return std::wstring(text, length);
    } catch (const std::bad_alloc&) {
        return {};
    }
}
