// The language Windows speaks.
#pragma once

#include <windows.h>

namespace WindowsModel {

struct LocaleState {
    LCID systemDefault = MAKELCID(MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US), SORT_DEFAULT);
};

} // namespace WindowsModel
