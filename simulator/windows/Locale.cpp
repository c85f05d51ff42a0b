#include "windows/Locale.h"

#include "windows/Replacement.h"

namespace simwindows {

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

} // namespace simwindows
