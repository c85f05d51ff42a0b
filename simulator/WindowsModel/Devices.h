// Device nodes: the status that the configuration manager reports.
#pragma once

#include <windows.h>

#include <optional>

namespace WindowsModel {

struct DevicesState {
    /// Reported for every device node when set, for example CM_PROB_DISABLED (22); 0 is a healthy node.
    std::optional<ULONG> problem;
};

} // namespace WindowsModel
