#include "IniFile.h"

#include <windows.h>

void IniReadSectionInt(const wchar_t* key, std::uint32_t* out, const wchar_t* section)
{
    if (out == nullptr)
        return;
    *out = 0;
    if (section != nullptr && key != nullptr)
        *out = GetPrivateProfileIntW(section, key, 0, IniPath);
}
