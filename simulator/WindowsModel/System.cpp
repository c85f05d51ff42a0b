#include "WindowsModel/System.h"

#include "WindowsModel/Replacement.h"

#include <powrprof.h>

#include <cstring>

namespace WindowsModel {

namespace {

constexpr GUID NoSubgroup = {0xFEA3413E, 0x7E05, 0x4911, {0x9A, 0x71, 0x70, 0x03, 0x31, 0xF1, 0xC2, 0x94}};
constexpr GUID ConsoleLock = {0x0E796BDB, 0x100D, 0x47D6, {0xA2, 0xD5, 0xF7, 0xD2, 0xDA, 0xA5, 0x1F, 0x51}};

/// Hands a copy out.
DWORD HandOut(Ledger& ledger, const void* data, size_t bytes, wchar_t** buffer, DWORD* returned)
{
    void* const block = ledger.Allocate(bytes);
    if (block == nullptr)
        return ERROR_NOT_ENOUGH_MEMORY;
    std::memcpy(block, data, bytes);
    *buffer = static_cast<wchar_t*>(block);
    *returned = DWORD(bytes);
    return ERROR_SUCCESS;
}

DWORD QuerySession(State& state, WTS_INFO_CLASS info, wchar_t** buffer, DWORD* returned)
{
    SessionState& session = state.session;
    session.queries.push_back(info);
    if (info == WTSConnectState)
        return HandOut(state.ledger, &session.connectState, sizeof session.connectState, buffer, returned);
    if (info == WTSUserName)
        return HandOut(state.ledger, session.userName.c_str(),
                       (session.userName.size() + 1) * sizeof(wchar_t), buffer, returned);
    return ERROR_NOT_SUPPORTED;
}

BOOL ModelWTSQuerySessionInformationW(HANDLE /*server*/, DWORD id, WTS_INFO_CLASS info, wchar_t** buffer,
                                      DWORD* returned)
{
    if (id != WTS_CURRENT_SESSION)
        return Answer(ERROR_FILE_NOT_FOUND);
    return Answer(QuerySession(*ModelState(), info, buffer, returned));
}

void ModelWTSFreeMemory(void* block)
{
    if (block != nullptr)
        ModelState()->ledger.Free(block);
}

LCID ModelGetSystemDefaultLCID()
{
    return ModelState()->locale.systemDefault;
}

DWORD ModelPowerGetActiveScheme(HKEY /*root*/, GUID** scheme)
{
    // The caller frees it with LocalFree.
    *scheme = static_cast<GUID*>(LocalAlloc(LMEM_FIXED, sizeof(GUID)));
    if (*scheme == nullptr)
        return ERROR_NOT_ENOUGH_MEMORY;
    **scheme = ModelState()->power.activeScheme;
    return ERROR_SUCCESS;
}

DWORD ReadSetting(bool onMains, const GUID& scheme, const GUID& subgroup, const GUID& setting, DWORD& value)
{
    const ModelState state;
    state->power.reads.push_back(scheme);
    if (scheme != state->power.activeScheme || subgroup != NoSubgroup || setting != ConsoleLock)
        return ERROR_FILE_NOT_FOUND;
    value = onMains ? state->power.lockOnMains : state->power.lockOnBattery;
    return ERROR_SUCCESS;
}

DWORD ModelPowerReadACValueIndex(HKEY /*root*/, const GUID* scheme, const GUID* subgroup, const GUID* setting,
                                 DWORD* value)
{
    return ReadSetting(true, *scheme, *subgroup, *setting, *value);
}

DWORD ModelPowerReadDCValueIndex(HKEY /*root*/, const GUID* scheme, const GUID* subgroup, const GUID* setting,
                                 DWORD* value)
{
    return ReadSetting(false, *scheme, *subgroup, *setting, *value);
}

BOOL ModelGetSystemPowerStatus(SYSTEM_POWER_STATUS* status)
{
    *status = ModelState()->power.status;
    return TRUE;
}

UINT ModelWinExec(const char* line, UINT show)
{
    const CommandsState commands = ModelState()->commands;
    UINT result = 33;
    if (commands.onCommand)
        result = commands.onCommand(line, show);
    else if (commands.passThrough)
        result = SIM_ORIGINAL(WinExec)(line, show);
    ModelState()->commands.commands.push_back({line, show, result});
    return result;
}

const Replacement g_replacements[] = {
    SIM_MODELLED(Session, LastError, WTSQuerySessionInformationW, ModelWTSQuerySessionInformationW),
    SIM_MODELLED(Session, Never, WTSFreeMemory, ModelWTSFreeMemory),
    SIM_MODELLED(Locale, Never, GetSystemDefaultLCID, ModelGetSystemDefaultLCID),
    SIM_MODELLED(Power, Status, PowerGetActiveScheme, ModelPowerGetActiveScheme),
    SIM_MODELLED(Power, Status, PowerReadACValueIndex, ModelPowerReadACValueIndex),
    SIM_MODELLED(Power, Status, PowerReadDCValueIndex, ModelPowerReadDCValueIndex),
    SIM_MODELLED(Power, LastError, GetSystemPowerStatus, ModelGetSystemPowerStatus),
    SIM_MODELLED(Commands, Status, WinExec, ModelWinExec),
};
const Table g_table(g_replacements);

} // namespace

} // namespace WindowsModel
