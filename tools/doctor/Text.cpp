#include "Text.h"

#include <windows.h>

#include <cstdarg>
#include <cwchar>

namespace {

std::string ToUtf8(const std::wstring& text)
{
    const int units = static_cast<int>(text.size());
    std::string utf8(WideCharToMultiByte(CP_UTF8, 0, text.c_str(), units, nullptr, 0, nullptr, nullptr),
                     '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.c_str(), units, utf8.data(), static_cast<int>(utf8.size()), nullptr,
                        nullptr);
    return utf8;
}

void Print(DWORD which, const std::wstring& text)
{
    const HANDLE output = GetStdHandle(which);
    DWORD written = 0;
    DWORD mode = 0;
    if (GetConsoleMode(output, &mode)) {
        WriteConsoleW(output, text.c_str(), static_cast<DWORD>(text.size()), &written, nullptr);
        return;
    }
    const std::string utf8 = ToUtf8(text);
    WriteFile(output, utf8.data(), static_cast<DWORD>(utf8.size()), &written, nullptr);
}

} // namespace

std::wstring Format(const wchar_t* format, ...)
{
    wchar_t buffer[1024] = L"";
    va_list arguments;
    va_start(arguments, format);
    // Leaves the terminator that the buffer was filled with alone.
    _vsnwprintf(buffer, ARRAYSIZE(buffer) - 1, format, arguments);
    va_end(arguments);
    return buffer;
}

void PrintOut(const std::wstring& text)
{
    Print(STD_OUTPUT_HANDLE, text);
}

void PrintError(const std::wstring& text)
{
    Print(STD_ERROR_HANDLE, text);
}
