#include "Device.h"
#include "Doctor.h"
#include "Text.h"

#include <cfgmgr32.h>
#include <setupapi.h>
#include <shlwapi.h>

namespace {

/// A device of the sensor's vendor.
struct VendorDevice {
    wchar_t id[256];
    bool hasDriver;
    ULONG problem;
};

bool IsSensor(const wchar_t* id)
{
    return StrStrIW(id, L"PID_0008") != nullptr || StrStrIW(id, L"PID_0010") != nullptr;
}

/// What Windows tells of the first sensor with a driver, for want of one of the last sensor without, or else
/// of the vendor's last device: so a near miss can be named.
VendorDevice FindVendorDevice()
{
    VendorDevice found{};
    // Without a list there is nothing to enumerate.
    const HDEVINFO devices =
        SetupDiGetClassDevsW(nullptr, nullptr, nullptr, DIGCF_PRESENT | DIGCF_ALLCLASSES);
    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof device;
    for (DWORD index = 0; SetupDiEnumDeviceInfo(devices, index, &device); ++index) {
        VendorDevice next{};
        SetupDiGetDeviceRegistryPropertyW(devices, &device, SPDRP_HARDWAREID, nullptr,
                                          reinterpret_cast<BYTE*>(next.id), sizeof next.id - sizeof(wchar_t),
                                          nullptr);
        if (StrStrIW(next.id, LR"(USB\VID_138A)") == nullptr || (IsSensor(found.id) && !IsSensor(next.id)))
            continue;
        wchar_t driver[256] = L"";
        next.hasDriver = SetupDiGetDeviceRegistryPropertyW(devices, &device, SPDRP_DRIVER, nullptr,
                                                           reinterpret_cast<BYTE*>(driver), sizeof driver,
                                                           nullptr) != FALSE;
        ULONG status = 0;
        CM_Get_DevNode_Status(&status, &next.problem, device.DevInst, 0);
        found = next;
        if (IsSensor(next.id) && next.hasDriver)
            break;
    }
    SetupDiDestroyDeviceInfoList(devices);
    return found;
}

Finding NoSensor()
{
    const VendorDevice miss = FindVendorDevice();
    if (miss.id[0] == L'\0')
        return Refuse(Status::NoSensor, L"no device of vendor 138A is present",
                      L"Connect the sensor; look for it in the firmware's setup and in the device manager.");
    if (IsSensor(miss.id))
        return Refuse(Status::NoSensor,
                      Format(L"%s is there without a driver (problem %lu)", miss.id, miss.problem),
                      L"Install the sensor's driver.");
    return Refuse(Status::NoSensor, Format(L"%s is a device of the vendor, but no supported sensor", miss.id),
                  L"Supported are the products 138A:0008 and 138A:0010.");
}

} // namespace

Finding CheckSensor(Examination&)
{
    bool enabled = false;
    // Once, unlike creation, which gives a sensor that comes up late two seconds, and two more.
    const int model = FindFPDevice(&enabled);
    if (model == 0)
        return NoSensor();
    const VendorDevice device = FindVendorDevice();
    const wchar_t* const product = model == 1 ? L"0008" : L"0010";
    if (!enabled)
        return Refuse(Status::SensorDisabled,
                      Format(L"product %s is disabled (problem %d)", product, CM_PROB_DISABLED),
                      L"Enable the device in the device manager.");
    std::wstring text = Format(L"product %s is enabled (problem %lu)", product, device.problem);
    if (device.problem != 0)
        return {Outcome::Attention, std::move(text),
                L"Windows reports a problem with the device: see the device manager."};
    return {Outcome::Pass, std::move(text)};
}
