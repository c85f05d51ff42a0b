// Devices as SetupAPI and the configuration manager tell of them.
#include "WindowsModel/Replacement.h"

#include <cfgmgr32.h>
#include <setupapi.h>

#include <cstring>

namespace WindowsModel {

namespace {

constexpr DEVINST SensorNode = 0x138A0010;
constexpr wchar_t Driver[] = L"{53D29EF7-377C-4D14-864B-EB3A85769359}\\0000";
// A list: each text has its NUL, and so has the list.
constexpr wchar_t HardwareIds[] = L"USB\\VID_138A&PID_0010&REV_0001\0USB\\VID_138A&PID_0010\0";

// Sets of the model: nobody asks them for more than whether the sensor is in them.
const HDEVINFO WithSensor = reinterpret_cast<HDEVINFO>(0x51400001);
const HDEVINFO WithNothing = reinterpret_cast<HDEVINFO>(0x51400003);

bool IsOfModel(HDEVINFO set)
{
    return set == WithSensor || set == WithNothing;
}

HDEVINFO ModelSetupDiGetClassDevsW(const GUID* deviceClass, const wchar_t* enumerator, HWND parent,
                                   DWORD flags)
{
    const std::optional<bool> sensor = ModelState()->devices.sensor;
    if (!sensor)
        return SIM_ORIGINAL(SetupDiGetClassDevsW)(deviceClass, enumerator, parent, flags);
    // Windows remembers a device that was pulled out.
    return *sensor || (flags & DIGCF_PRESENT) == 0 ? WithSensor : WithNothing;
}

BOOL ModelSetupDiEnumDeviceInfo(HDEVINFO set, DWORD index, SP_DEVINFO_DATA* device)
{
    if (!IsOfModel(set))
        return SIM_ORIGINAL(SetupDiEnumDeviceInfo)(set, index, device);
    if (device == nullptr || device->cbSize != sizeof *device)
        return Answer(ERROR_INVALID_USER_BUFFER);
    if (set == WithNothing || index > 0)
        return Answer(ERROR_NO_MORE_ITEMS);
    device->DevInst = SensorNode;
    return TRUE;
}

BOOL ModelSetupDiGetDeviceRegistryPropertyW(HDEVINFO set, SP_DEVINFO_DATA* device, DWORD property,
                                            DWORD* type, BYTE* buffer, DWORD bytes, DWORD* required)
{
    if (!IsOfModel(set))
        return SIM_ORIGINAL(SetupDiGetDeviceRegistryPropertyW)(set, device, property, type, buffer, bytes,
                                                               required);
    if (property != SPDRP_DRIVER && property != SPDRP_HARDWAREID)
        return Answer(ERROR_INVALID_DATA);
    const bool isList = property == SPDRP_HARDWAREID;
    const DWORD size = isList ? sizeof HardwareIds : sizeof Driver;
    if (type != nullptr)
        *type = isList ? REG_MULTI_SZ : REG_SZ;
    if (required != nullptr)
        *required = size;
    if (buffer == nullptr || bytes < size)
        return Answer(ERROR_INSUFFICIENT_BUFFER);
    std::memcpy(buffer, isList ? HardwareIds : Driver, size);
    return TRUE;
}

BOOL ModelSetupDiDestroyDeviceInfoList(HDEVINFO set)
{
    return IsOfModel(set) || SIM_ORIGINAL(SetupDiDestroyDeviceInfoList)(set);
}

CONFIGRET ModelCM_Get_DevNode_Status(ULONG* status, ULONG* problem, DEVINST device, ULONG flags)
{
    const std::optional<ULONG> told = ModelState()->devices.problem;
    const CONFIGRET result = device == SensorNode
                                 ? CR_SUCCESS
                                 : SIM_ORIGINAL(CM_Get_DevNode_Status)(status, problem, device, flags);
    if (result != CR_SUCCESS || (!told && device != SensorNode))
        return result;
    *problem = told.value_or(0);
    *status = *problem == 0 ? DN_DRIVER_LOADED | DN_STARTED : DN_HAS_PROBLEM;
    return CR_SUCCESS;
}

const Replacement g_replacements[] = {
    SIM_MODELLED(Devices, Invalid, SetupDiGetClassDevsW, ModelSetupDiGetClassDevsW),
    SIM_MODELLED(Devices, LastError, SetupDiEnumDeviceInfo, ModelSetupDiEnumDeviceInfo),
    SIM_MODELLED(Devices, LastError, SetupDiGetDeviceRegistryPropertyW,
                 ModelSetupDiGetDeviceRegistryPropertyW),
    SIM_MODELLED(Devices, LastError, SetupDiDestroyDeviceInfoList, ModelSetupDiDestroyDeviceInfoList),
    SIM_MODELLED(Devices, Status, CM_Get_DevNode_Status, ModelCM_Get_DevNode_Status),
};
const Table g_table(g_replacements);

} // namespace

} // namespace WindowsModel
