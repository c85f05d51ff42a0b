// Power schemes and the mains.
#pragma once

#include <windows.h>

#include <vector>

namespace WindowsModel {

struct PowerSetting {
    GUID subgroup, setting;
    DWORD onMains, onBattery;
};

struct PowerRead {
    bool onMains;
    GUID scheme, subgroup, setting;
};

struct PowerState {
    GUID activeScheme = {0x381b4222, 0xf694, 0x41f0, {0x96, 0x85, 0xff, 0x5b, 0xb2, 0x60, 0xdf, 0x2e}};
    std::vector<PowerSetting> settings;
    SYSTEM_POWER_STATUS status = {1, 8, 100, 0, DWORD(-1), DWORD(-1)};
    /// The reads of a setting, in order.
    std::vector<PowerRead> reads;

    /// A password on wake-up is asked for, on mains and on battery, as Windows is delivered.
    PowerState();
    /// Sets what wake-up asks for: 1 a password, 0 none.
    void SetConsoleLock(DWORD onMains, DWORD onBattery);
    void SetOnMains(bool onMains) { status.ACLineStatus = onMains; }
    /// Takes the setting away, so that reading it fails.
    void Remove(const GUID& setting);
};

} // namespace WindowsModel
