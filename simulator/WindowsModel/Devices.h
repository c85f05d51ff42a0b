// Devices as SetupAPI and the configuration manager tell of them.
#pragma once

#include <windows.h>

#include <optional>

namespace WindowsModel {

struct DevicesState {
    /// When set, the machine has no other device than the sensor: plugged in, or known and unplugged.
    /// Otherwise Windows is asked.
    std::optional<bool> sensor;
    /// Reported for every device node when set, for example CM_PROB_DISABLED (22); 0 is a healthy node.
    std::optional<ULONG> problem;
};

} // namespace WindowsModel
