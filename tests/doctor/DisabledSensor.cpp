// The doctor as it ships, on a Windows that reports every device as disabled: Wine reports no problems.
#include "windows/SimulatedWindows.h"

#include <cfgmgr32.h>

int DoctorMain(int argc, wchar_t** argv);

int wmain(int argc, wchar_t** argv)
{
    auto& windows = simwindows::SimulatedWindows::Instance();
    windows.Lock()->devices.problem = CM_PROB_DISABLED;
    simwindows::ImportHooks hooks(GetModuleHandleW(nullptr));
    windows.Hook(hooks, simwindows::Group::Devices);
    return DoctorMain(argc, argv);
}
