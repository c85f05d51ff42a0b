#include "Device.h"

#include "EventLog.h"
#include "Handle.h"

#include <cfgmgr32.h>
#include <setupapi.h>

#include <cwchar>

namespace {

constexpr GUID BiometricClass = {
    0x53D29EF7, 0x377C, 0x4D14, {0x86, 0x4B, 0xEB, 0x3A, 0x85, 0x76, 0x93, 0x59}};

constexpr wchar_t Vendor[] = LR"(USB\VID_138A)";

struct DeviceInfoSetPolicy {
    using Type = HDEVINFO;
    static Type Invalid() { return INVALID_HANDLE_VALUE; }
    static void Close(Type set) { SetupDiDestroyDeviceInfoList(set); }
};
using DeviceInfoSet = UniqueResource<DeviceInfoSetPolicy>;

/// A property may be this long; what is longer counts as unreadable.
constexpr DWORD PropertyBytes = 512;
/// One unit more than Windows may fill: nothing makes a property's writer terminate it.
using Property = wchar_t[PropertyBytes / sizeof(wchar_t) + 1];

DeviceInfoSet GetPresentDevices()
{
    // Devices of all classes: a sensor whose driver chose another class counts too.
    DeviceInfoSet devices(
        SetupDiGetClassDevsW(&BiometricClass, nullptr, nullptr, DIGCF_PRESENT | DIGCF_ALLCLASSES));
    if (!devices)
        ReportFPEvent(L"SetupDiGetClassDevs Fail");
    return devices;
}

/// `id` receives the first of the device's hardware IDs. False, with a note in the event log, when there is
/// none.
bool ReadHardwareId(const DeviceInfoSet& devices, SP_DEVINFO_DATA& device, DWORD index, Property& id)
{
    auto* const data = reinterpret_cast<BYTE*>(id);
    // The driver's text is not looked at: that there is one tells a device that is installed.
    if (!SetupDiGetDeviceRegistryPropertyW(devices.Get(), &device, SPDRP_DRIVER, nullptr, data, PropertyBytes,
                                           nullptr)) {
        ReportFPEvent(L"1 SetupDiGetDeviceRegistryPropertyW %d ", index);
        return false;
    }
    DWORD bytes = PropertyBytes;
    // Deliberate: TRUE itself is asked for, not just any success.
    if (SetupDiGetDeviceRegistryPropertyW(devices.Get(), &device, SPDRP_HARDWAREID, nullptr, data,
                                          PropertyBytes, &bytes) != TRUE) {
        ReportFPEvent(L"2 SetupDiGetDeviceRegistryPropertyW %d ", index);
        return false;
    }
    // Behind an ID without terminator the driver's text still stands. Half a unit is no part of the ID.
    id[(bytes < PropertyBytes ? bytes : PropertyBytes) / sizeof(wchar_t)] = L'\0';
    return true;
}

/// 1, 2, or 0 for a product that is no sensor of ours. 0008 is looked for first.
int ProductModel(const wchar_t* id)
{
    if (std::wcsstr(id, L"PID_0008") != nullptr)
        return 1;
    return std::wcsstr(id, L"PID_0010") != nullptr ? 2 : 0;
}

} // namespace

int FindFPDevice(bool* enabled)
{
    *enabled = false;
    const DeviceInfoSet devices = GetPresentDevices();
    if (!devices)
        return 0;

    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof device;
    DWORD index = 0;
    for (; SetupDiEnumDeviceInfo(devices.Get(), index, &device); ++index) {
        Property id{};
        if (!ReadHardwareId(devices, device, index, id))
            continue;
        CharUpperW(id);
        if (std::wcsstr(id, Vendor) == nullptr)
            continue;
        // A node whose status is unknown counts as enabled.
        ULONG status = 0;
        ULONG problem = 0;
        CM_Get_DevNode_Status(&status, &problem, device.DevInst, 0);
        // Deliberate: another product of the vendor leaves its state here, even if no sensor follows.
        *enabled = problem != CM_PROB_DISABLED;
        if (const int model = ProductModel(id); model != 0)
            return model;
    }
    ReportFPEvent(L"SetupDiEnumDeviceInfo %d ", index);
    return 0;
}

bool IsFPDeviceEnabled()
{
    const DeviceInfoSet devices = GetPresentDevices();
    if (!devices)
        return false;

    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof device;
    for (DWORD index = 0; SetupDiEnumDeviceInfo(devices.Get(), index, &device); ++index) {
        Property id{};
        // Deliberate: unlike FindFPDevice, this one takes the ID in the case in which it is written.
        if (!ReadHardwareId(devices, device, index, id) || std::wcsstr(id, Vendor) == nullptr)
            continue;
        ULONG status = 0;
        ULONG problem = 0;
        return CM_Get_DevNode_Status(&status, &problem, device.DevInst, 0) == CR_SUCCESS &&
               (status & DN_DISABLEABLE) != 0 && problem != CM_PROB_DISABLED &&
               problem != CM_PROB_HARDWARE_DISABLED;
    }
    return false;
}
