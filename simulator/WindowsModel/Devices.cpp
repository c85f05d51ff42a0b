#include "WindowsModel/Devices.h"

#include "WindowsModel/Replacement.h"

#include <cfgmgr32.h>

namespace WindowsModel {

namespace {

CONFIGRET ModelCM_Get_DevNode_Status(ULONG* status, ULONG* problem, DEVINST device, ULONG flags)
{
    const CONFIGRET result = SIM_ORIGINAL(CM_Get_DevNode_Status)(status, problem, device, flags);
    const std::optional<ULONG> told = ModelState()->devices.problem;
    if (result != CR_SUCCESS || !told)
        return result;
    *status = *told == 0 ? DN_DRIVER_LOADED | DN_STARTED : DN_HAS_PROBLEM;
    *problem = *told;
    return CR_SUCCESS;
}

const Replacement g_replacements[] = {
    SIM_MODELLED(Devices, Status, CM_Get_DevNode_Status, ModelCM_Get_DevNode_Status),
};
const Table g_table(g_replacements);

} // namespace

} // namespace WindowsModel
