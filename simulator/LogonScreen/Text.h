// Wide text: printf into a string, and quoting for a line-based record.
#pragma once

#include <windows.h>

#include <cstdarg>
#include <string>

/// Windows' rules for wide formats: %s takes a wide string.
std::wstring Format(const wchar_t* format, ...);
std::wstring FormatV(const wchar_t* format, va_list arguments);

/// In double quotes, with control characters escaped, so that any text of the provider stays on its line.
std::wstring Quoted(const std::wstring& text);

std::wstring GuidText(const GUID& guid);
