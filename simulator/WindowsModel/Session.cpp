#include "WindowsModel/Session.h"

#include "WindowsModel/Replacement.h"

#include <cstring>

namespace WindowsModel {

namespace {

/// Hands a copy out. A module that is not given its block is told that memory is short.
DWORD HandOut(SessionState& session, const void* data, size_t bytes, wchar_t** buffer, DWORD* returned)
{
    void* const block = HeapAlloc(GetProcessHeap(), 0, bytes);
    if (block == nullptr)
        return ERROR_NOT_ENOUGH_MEMORY;
    std::memcpy(block, data, bytes);
    session.buffers.push_back(block);
    *buffer = static_cast<wchar_t*>(block);
    *returned = DWORD(bytes);
    return ERROR_SUCCESS;
}

DWORD HandOut(SessionState& session, const std::wstring& text, wchar_t** buffer, DWORD* returned)
{
    return HandOut(session, text.c_str(), (text.size() + 1) * sizeof(wchar_t), buffer, returned);
}

DWORD Query(SessionState& session, DWORD id, WTS_INFO_CLASS info, wchar_t** buffer, DWORD* returned)
{
    session.queries.push_back(info);
    if (id != WTS_CURRENT_SESSION && id != session.id)
        return ERROR_FILE_NOT_FOUND;
    switch (info) {
    case WTSConnectState:
        return HandOut(session, &session.connectState, sizeof session.connectState, buffer, returned);
    case WTSUserName:
        return HandOut(session, session.userName, buffer, returned);
    case WTSDomainName:
        return HandOut(session, session.domainName, buffer, returned);
    case WTSSessionId:
        return HandOut(session, &session.id, sizeof session.id, buffer, returned);
    default:
        return ERROR_NOT_SUPPORTED;
    }
}

BOOL ModelWTSQuerySessionInformationW(HANDLE /*server*/, DWORD id, WTS_INFO_CLASS info, wchar_t** buffer,
                                      DWORD* returned)
{
    if (buffer == nullptr || returned == nullptr)
        return Answer(ERROR_INVALID_PARAMETER);
    return Answer(Query(ModelState()->session, id, info, buffer, returned));
}

void ModelWTSFreeMemory(void* block)
{
    if (block == nullptr)
        return;
    const ModelState state;
    if (TakeOut(state->session.buffers, block))
        HeapFree(GetProcessHeap(), 0, block);
    else
        ++state->session.wrongFrees;
}

const Replacement g_replacements[] = {
    SIM_MODELLED(Session, LastError, WTSQuerySessionInformationW, ModelWTSQuerySessionInformationW),
    SIM_MODELLED(Session, Never, WTSFreeMemory, ModelWTSFreeMemory),
};

} // namespace

std::span<const Replacement> SessionReplacements()
{
    return g_replacements;
}

} // namespace WindowsModel
