// The doctor as it ships, on a Windows that reports every device as disabled: Wine reports no problems.
#include "WindowsModel/SimulatedWindows.h"

#include <cfgmgr32.h>

int DoctorMain(int argc, wchar_t** argv);

int wmain(int argc, wchar_t** argv)
{
    auto& windows = WindowsModel::SimulatedWindows::Instance();
    windows.Lock()->devices.problem = CM_PROB_DISABLED;
    WindowsModel::ImportHooks hooks(GetModuleHandleW(nullptr));
    windows.Hook(hooks, WindowsModel::Group::Devices);
    return DoctorMain(argc, argv);
}
