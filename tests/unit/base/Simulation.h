// The simulated Windows around the test program itself.
#pragma once

#include "windows/SimulatedWindows.h"

#include <doctest/doctest.h>

using simwindows::Group;

/// A new machine whose functions of `groups` stand in for Windows' own until the object goes.
class Simulation {
public:
    explicit Simulation(Group groups) : hooks(GetModuleHandleW(nullptr))
    {
        windows.Reset();
        REQUIRE(windows.Hook(hooks, groups).failed.empty());
    }

    simwindows::SimulatedWindows::Locked operator->() { return windows.Lock(); }
    void FailNext(const char* function, DWORD code, unsigned times = 1)
    {
        REQUIRE(windows.FailNext(function, code, 0, times));
    }

    simwindows::SimulatedWindows& windows = simwindows::SimulatedWindows::Instance();
    simwindows::ImportHooks hooks;
};
