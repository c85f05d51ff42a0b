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
    /// The classes that were asked for, in order.
    std::vector<WTS_INFO_CLASS> queries;
};

} // namespace WindowsModel
