#include "Text.h"

#include <objbase.h>

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

std::wstring Quoted(const std::wstring& text)
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

std::wstring GuidText(const GUID& guid)
{
    wchar_t text[40] = L"";
    StringFromGUID2(guid, text, ARRAYSIZE(text));
    return text;
}
