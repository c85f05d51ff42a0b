// Texts that are put together.
#pragma once

#include <string>

/// Formats by the Windows rule (%s is wide text); what exceeds 1023 units is cut.
std::wstring Format(const wchar_t* format, ...);

/// Both for programs and for people who see it on a console: UTF-8 into files and pipes.
void PrintOut(const std::wstring& text);
void PrintError(const std::wstring& text);
