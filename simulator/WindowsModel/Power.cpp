#include "WindowsModel/Power.h"

#include "WindowsModel/Replacement.h"

#include <powrprof.h>

namespace WindowsModel {

namespace {

constexpr GUID NoSubgroup = {0xFEA3413E, 0x7E05, 0x4911, {0x9A, 0x71, 0x70, 0x03, 0x31, 0xF1, 0xC2, 0x94}};
constexpr GUID ConsoleLock = {0x0E796BDB, 0x100D, 0x47D6, {0xA2, 0xD5, 0xF7, 0xD2, 0xDA, 0xA5, 0x1F, 0x51}};

DWORD ModelPowerGetActiveScheme(HKEY /*root*/, GUID** scheme)
{
    if (scheme == nullptr)
        return ERROR_INVALID_PARAMETER;
    // The caller frees it with LocalFree.
    *scheme = static_cast<GUID*>(LocalAlloc(LMEM_FIXED, sizeof(GUID)));
    if (*scheme == nullptr)
        return ERROR_NOT_ENOUGH_MEMORY;
    **scheme = ModelState()->power.activeScheme;
    return ERROR_SUCCESS;
}

DWORD ReadSetting(bool onMains, const GUID* scheme, const GUID* subgroup, const GUID* setting, DWORD* value)
{
    // Without a subgroup the one of settings that belong to none is meant.
    if (scheme == nullptr || setting == nullptr || value == nullptr)
        return ERROR_INVALID_PARAMETER;
    const GUID group = subgroup != nullptr ? *subgroup : NoSubgroup;
    const ModelState state;
    state->power.reads.push_back({onMains, *scheme, group, *setting});
    if (*scheme != state->power.activeScheme)
        return ERROR_FILE_NOT_FOUND;
    for (const PowerSetting& known : state->power.settings) {
        if (known.subgroup == group && known.setting == *setting) {
            *value = onMains ? known.onMains : known.onBattery;
            return ERROR_SUCCESS;
        }
    }
    return ERROR_FILE_NOT_FOUND;
}

DWORD ModelPowerReadACValueIndex(HKEY /*root*/, const GUID* scheme, const GUID* subgroup, const GUID* setting,
                                 DWORD* value)
{
    return ReadSetting(true, scheme, subgroup, setting, value);
}

DWORD ModelPowerReadDCValueIndex(HKEY /*root*/, const GUID* scheme, const GUID* subgroup, const GUID* setting,
                                 DWORD* value)
{
    return ReadSetting(false, scheme, subgroup, setting, value);
}

BOOL ModelGetSystemPowerStatus(SYSTEM_POWER_STATUS* status)
{
    if (status == nullptr)
        return Answer(ERROR_INVALID_PARAMETER);
    *status = ModelState()->power.status;
    return TRUE;
}

const Replacement g_replacements[] = {
    SIM_MODELLED(Power, Status, PowerGetActiveScheme, ModelPowerGetActiveScheme),
    SIM_MODELLED(Power, Status, PowerReadACValueIndex, ModelPowerReadACValueIndex),
    SIM_MODELLED(Power, Status, PowerReadDCValueIndex, ModelPowerReadDCValueIndex),
    SIM_MODELLED(Power, LastError, GetSystemPowerStatus, ModelGetSystemPowerStatus),
};

} // namespace

std::span<const Replacement> PowerReplacements()
{
    return g_replacements;
}

PowerState::PowerState()
{
    SetConsoleLock(1, 1);
}

void PowerState::SetConsoleLock(DWORD onMains, DWORD onBattery)
{
    Remove(ConsoleLock);
    settings.push_back({NoSubgroup, ConsoleLock, onMains, onBattery});
}

void PowerState::Remove(const GUID& setting)
{
    std::erase_if(settings, [&](const PowerSetting& known) { return known.setting == setting; });
}

} // namespace WindowsModel
