// Wide strings for callers that have no use for an exception.
#pragma once

#include <cstddef>
#include <new>
#include <string>

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
