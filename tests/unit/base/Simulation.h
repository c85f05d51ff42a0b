// The simulated Windows around the test program itself.
#pragma once

#include "WindowsModel/SimulatedWindows.h"

#include <doctest/doctest.h>

using WindowsModel::Group;

/// A new machine whose functions of `groups` stand in for Windows' own until the object goes.
class Simulation {
public:
    explicit Simulation(Group groups = Group::None)
    {
        windows.Reset();
        REQUIRE(windows.Hook(m_hooks, groups).failed.empty());
    }

    WindowsModel::SimulatedWindows::Locked operator->() { return windows.Lock(); }
    void FailNext(const char* function, DWORD code, unsigned times = 1, unsigned skip = 0)
    {
        REQUIRE(windows.FailNext(function, code, skip, times));
    }

    /// A test's own function stands in for Windows' or the simulation's.
    template <class Function>
    void Replace(const char* name, Function* replacement, Function** original = nullptr)
    {
        REQUIRE(m_own.Replace(name, replacement, original) == WindowsModel::ImportHooks::Result::Replaced);
    }

    WindowsModel::SimulatedWindows& windows = WindowsModel::SimulatedWindows::Instance();

private:
    WindowsModel::ImportHooks m_hooks{GetModuleHandleW(nullptr)};
    WindowsModel::ImportHooks m_own{GetModuleHandleW(nullptr)}; // restored first
};
