#include "WindowsModel/Locale.h"

#include "WindowsModel/Replacement.h"

namespace WindowsModel {

namespace {

LCID ModelGetSystemDefaultLCID()
{
    return ModelState()->locale.systemDefault;
}

const Replacement g_replacements[] = {
    SIM_MODELLED(Locale, Never, GetSystemDefaultLCID, ModelGetSystemDefaultLCID),
};

} // namespace

std::span<const Replacement> LocaleReplacements()
{
    return g_replacements;
}

} // namespace WindowsModel
