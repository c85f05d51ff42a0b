#include "WindowsModel/Session.h"

#include "WindowsModel/Replacement.h"

#include <cstring>

namespace WindowsModel {

namespace {

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

DWORD Query(State& state, WTS_INFO_CLASS info, wchar_t** buffer, DWORD* returned)
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
    return Answer(Query(*ModelState(), info, buffer, returned));
}

void ModelWTSFreeMemory(void* block)
{
    if (block != nullptr)
        ModelState()->ledger.Free(block);
}

const Replacement g_replacements[] = {
    SIM_MODELLED(Session, LastError, WTSQuerySessionInformationW, ModelWTSQuerySessionInformationW),
    SIM_MODELLED(Session, Never, WTSFreeMemory, ModelWTSFreeMemory),
};
const Table g_table(g_replacements);

} // namespace

} // namespace WindowsModel
