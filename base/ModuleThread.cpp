#include "ModuleThread.h"

namespace ModuleThread {

HMODULE HoldModule(const void* address)
{
    HMODULE module = nullptr;
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS, static_cast<const wchar_t*>(address),
                            &module))
        return nullptr;
    return module;
}

void LeaveModule(const void* address, DWORD exitCode)
{
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       static_cast<const wchar_t*>(address), &module);
    FreeLibraryAndExitThread(module, exitCode);
}

} // namespace ModuleThread
