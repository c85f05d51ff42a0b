// The simulated Windows around the test program itself.
#pragma once

#include "WindowsModel/SimulatedWindows.h"

#include <doctest/doctest.h>

using WindowsModel::Group;

/// A new machine whose functions of `groups` stand in for Windows' own until the object goes.
class Simulation {
public:
    explicit Simulation(Group groups) : hooks(GetModuleHandleW(nullptr))
    {
        windows.Reset();
        REQUIRE(windows.Hook(hooks, groups).failed.empty());
    }

    WindowsModel::SimulatedWindows::Locked operator->() { return windows.Lock(); }
    void FailNext(const char* function, DWORD code, unsigned times = 1)
    {
        REQUIRE(windows.FailNext(function, code, 0, times));
    }

    WindowsModel::SimulatedWindows& windows = WindowsModel::SimulatedWindows::Instance();
    WindowsModel::ImportHooks hooks;
};
