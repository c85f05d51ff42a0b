#include "Checks.h"
#include "Device.h"
#include "Handle.h"
#include "Text.h"

#include <cfgmgr32.h>
#include <setupapi.h>
#include <shlwapi.h>

namespace {

struct DeviceInfoSetPolicy {
    using Type = HDEVINFO;
    static Type Invalid() { return INVALID_HANDLE_VALUE; }
    static void Close(Type set) { SetupDiDestroyDeviceInfoList(set); }
};
using DeviceInfoSet = UniqueResource<DeviceInfoSetPolicy>;

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

/// What Windows tells of the first sensor, or for want of one of the vendor's last device. Any product of the
/// vendor counts, with or without a driver, so that a near miss can be named.
VendorDevice FindVendorDevice(bool needDriver)
{
    VendorDevice found{};
    const DeviceInfoSet devices(
        SetupDiGetClassDevsW(nullptr, nullptr, nullptr, DIGCF_PRESENT | DIGCF_ALLCLASSES));
    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof device;
    for (DWORD index = 0; devices && SetupDiEnumDeviceInfo(devices.Get(), index, &device); ++index) {
        VendorDevice next{};
        SetupDiGetDeviceRegistryPropertyW(devices.Get(), &device, SPDRP_HARDWAREID, nullptr,
                                          reinterpret_cast<BYTE*>(next.id), sizeof next.id - sizeof(wchar_t),
                                          nullptr);
        if (StrStrIW(next.id, LR"(USB\VID_138A)") == nullptr)
            continue;
        wchar_t driver[256] = L"";
        next.hasDriver = SetupDiGetDeviceRegistryPropertyW(devices.Get(), &device, SPDRP_DRIVER, nullptr,
                                                           reinterpret_cast<BYTE*>(driver), sizeof driver,
                                                           nullptr) != FALSE;
        ULONG status = 0;
        CM_Get_DevNode_Status(&status, &next.problem, device.DevInst, 0);
        found = next;
        if (IsSensor(next.id) && (next.hasDriver || !needDriver))
            break;
    }
    return found;
}

/// Queries as often as the creation gate does, so that a sensor that comes up late counts here as there.
int FindSensor(bool* enabled)
{
    constexpr int queries = 3;
    constexpr DWORD pause = 2000; // ms
    for (int query = 1;; ++query) {
        const int model = FindFPDevice(enabled);
        if (model != 0 || query == queries)
            return model;
        Sleep(pause);
    }
}

Finding NoSensor()
{
    const VendorDevice miss = FindVendorDevice(false);
    if (miss.id[0] == L'\0')
        return Refuse(Status::NoSensor, L"no device of vendor 138A is present",
                      L"Connect the sensor; look for it in the firmware's setup and in the device manager.");
    if (IsSensor(miss.id) && !miss.hasDriver)
        return Refuse(Status::NoSensor,
                      Format(L"%s is there without a driver (problem %lu)", miss.id, miss.problem),
                      L"Install the sensor's driver.");
    if (IsSensor(miss.id))
        return Refuse(Status::NoSensor, Format(L"%s was not found, and is there now", miss.id),
                      L"Look again; the sensor comes up late, or its contact is loose.");
    return Refuse(Status::NoSensor, Format(L"%s is another product than 0008 and 0010", miss.id),
                  L"Only the products 0008 and 0010 are supported.");
}

} // namespace

Finding CheckSensor(Examination&)
{
    bool enabled = false;
    const int model = FindSensor(&enabled);
    if (model == 0)
        return NoSensor();
    const VendorDevice device = FindVendorDevice(true);
    const wchar_t* const product = model == 1 ? L"0008" : L"0010";
    if (!enabled)
        return Refuse(Status::SensorDisabled,
                      Format(L"product %s is disabled (problem %d)", product, CM_PROB_DISABLED),
                      L"Enable the device in the device manager.");
    std::wstring text = Format(L"product %s is enabled (problem %lu)", product, device.problem);
    if (device.problem != 0)
        return Attention(std::move(text),
                         L"Windows reports a problem with the device: see the device manager.");
    return Pass(std::move(text));
}
