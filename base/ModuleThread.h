// Threads that hold the module they run in, so that its code can't be unloaded under them.
#pragma once

#include "Handle.h"

namespace ModuleThread {

/// Adds a reference to the module that holds `address`; null when that fails.
HMODULE HoldModule(const void* address);

/// Gives one reference back and ends the calling thread, without returning into the module.
[[noreturn]] void LeaveModule(const void* address, DWORD exitCode);

template <DWORD (*Body)(void*)>
DWORD WINAPI Entry(void* argument)
{
    const DWORD exitCode = Body(argument);
    LeaveModule(reinterpret_cast<const void*>(&Entry<Body>), exitCode);
}

/// Starts Body(argument) on a thread of its own. Null, with the last error set, when it can't be started.
template <DWORD (*Body)(void*)>
KernelHandle Start(void* argument)
{
    const HMODULE module = HoldModule(reinterpret_cast<const void*>(&Entry<Body>));
    if (module == nullptr)
        return KernelHandle();
    KernelHandle thread(CreateThread(nullptr, 0, Entry<Body>, argument, 0, nullptr));
    if (!thread) {
        const DWORD error = GetLastError();
        FreeLibrary(module);
        SetLastError(error);
    }
    return thread;
}

} // namespace ModuleThread
