// What the module asks of the system around it: its session, the language, power, devices and the programs
// that it starts.
#pragma once

#include <windows.h>

#include <wtsapi32.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace WindowsModel {

struct SessionState {
    WTS_CONNECTSTATE_CLASS connectState = WTSActive;
    std::wstring userName;
    /// The classes that were asked for, in order.
    std::vector<WTS_INFO_CLASS> queries;
};

struct LocaleState {
    LCID systemDefault = MAKELCID(MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US), SORT_DEFAULT);
};

struct PowerState {
    GUID activeScheme = {0x381b4222, 0xf694, 0x41f0, {0x96, 0x85, 0xff, 0x5b, 0xb2, 0x60, 0xdf, 0x2e}};
    SYSTEM_POWER_STATUS status = {1, 8, 100, 0, DWORD(-1), DWORD(-1)};
    /// What wake-up asks for: 1 a password, as Windows is delivered, 0 none.
    DWORD lockOnMains = 1, lockOnBattery = 1;
    /// The schemes of which a setting was read, in order.
    std::vector<GUID> reads;

    void SetConsoleLock(DWORD onMains, DWORD onBattery)
    {
        lockOnMains = onMains;
        lockOnBattery = onBattery;
    }
};

struct DevicesState {
    /// When set, the machine has no other device than the sensor: plugged in, or known and unplugged.
    /// Otherwise Windows is asked.
    std::optional<bool> sensor;
    /// Reported for every device node when set, for example CM_PROB_DISABLED (22); 0 is a healthy node.
    std::optional<ULONG> problem;
};

/// One WinExec.
struct Command {
    std::string line;
    UINT show;
    UINT result;
};

struct CommandsState {
    /// TRUE lets Windows run the program; otherwise the model says that it was started.
    bool passThrough = false;
    /// Answers instead, outside the model's lock: it may change the model, for example start a scripted
    /// service. Above 31 means that the program was started.
    std::function<UINT(const std::string& line, UINT show)> onCommand;
    std::vector<Command> commands;
};

} // namespace WindowsModel
