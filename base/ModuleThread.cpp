#include "ModuleThread.h"

/// The module's own header, which the linker supplies: its address is the module's handle. Nothing is asked
/// for it, so that nothing can fail when a thread leaves.
extern "C" IMAGE_DOS_HEADER __ImageBase;

namespace ModuleThread {

bool HoldModule()
{
    HMODULE module = nullptr;
    return GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS,
                              reinterpret_cast<const wchar_t*>(&__ImageBase), &module) != FALSE;
}

void LeaveModule(DWORD exitCode)
{
    FreeLibraryAndExitThread(reinterpret_cast<HMODULE>(&__ImageBase), exitCode);
}

KernelHandle StartEntry(LPTHREAD_START_ROUTINE entry, void* argument)
{
    if (!HoldModule())
        return KernelHandle();
    KernelHandle thread(CreateThread(nullptr, 0, entry, argument, 0, nullptr));
    if (!thread) {
        const DWORD error = GetLastError();
        FreeLibrary(reinterpret_cast<HMODULE>(&__ImageBase));
        SetLastError(error);
    }
    return thread;
}

} // namespace ModuleThread
