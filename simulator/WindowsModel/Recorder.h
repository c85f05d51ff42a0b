// The list of calls that went through replaced functions, whatever these did.
#pragma once

#include <windows.h>

#include <string_view>
#include <vector>

namespace WindowsModel {

struct Call {
    const char* function;
    DWORD thread;
};

struct RecorderState {
    /// A call's index is its sequence number.
    std::vector<Call> calls;

    size_t Count(std::string_view function) const;
};

} // namespace WindowsModel
