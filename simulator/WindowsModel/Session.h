// The session that asks: its connect state and its user.
#pragma once

#include <windows.h>

#include <wtsapi32.h>

#include <string>
#include <vector>

namespace WindowsModel {

struct SessionState {
    WTS_CONNECTSTATE_CLASS connectState = WTSActive;
    std::wstring userName;
    std::wstring domainName;
    DWORD id = 1;
    /// The classes that were asked for, in order.
    std::vector<WTS_INFO_CLASS> queries;
    /// Blocks that were handed out and not freed yet.
    std::vector<void*> buffers;
    /// Calls of WTSFreeMemory with a pointer that was not handed out.
    size_t wrongFrees = 0;
};

} // namespace WindowsModel
