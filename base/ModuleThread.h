// Threads that hold the module they run in, so that its code can't be unloaded under them.
#pragma once

#include "Handle.h"

namespace ModuleThread {

/// Adds a reference to this module; false, with the last error set, when that fails.
bool HoldModule();

/// Gives one reference back and ends the calling thread, without returning into the module.
[[noreturn]] void LeaveModule(DWORD exitCode);

template <DWORD (*Body)(void*)>
DWORD WINAPI Entry(void* argument)
{
    LeaveModule(Body(argument));
}

/// Starts `entry(argument)`, which must end with LeaveModule. Null, with the last error set, when it can't be
/// started.
KernelHandle StartEntry(LPTHREAD_START_ROUTINE entry, void* argument);

/// Starts Body(argument) on a thread of its own. Null, with the last error set, when it can't be started.
template <DWORD (*Body)(void*)>
KernelHandle Start(void* argument)
{
    return StartEntry(Entry<Body>, argument);
}

} // namespace ModuleThread
