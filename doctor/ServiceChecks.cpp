#include "Checks.h"
#include "Handle.h"
#include "Text.h"

namespace {

struct StateName {
    DWORD state;
    const wchar_t* name;
};

constexpr StateName StateNames[] = {
    {SERVICE_STOPPED, L"stopped"},
    {SERVICE_START_PENDING, L"starting"},
    {SERVICE_STOP_PENDING, L"stopping"},
    {SERVICE_RUNNING, L"running"},
    {SERVICE_CONTINUE_PENDING, L"resuming"},
    {SERVICE_PAUSE_PENDING, L"pausing"},
    {SERVICE_PAUSED, L"paused"},
};

const wchar_t* NameOf(DWORD state)
{
    for (const StateName& entry : StateNames) {
        if (entry.state == state)
            return entry.name;
    }
    return L"in an unknown state";
}

/// Asks once: unlike the watchdog's query it does not wait for a service to settle.
Finding CheckService(const wchar_t* name, const wchar_t* missing, const wchar_t* notRunning)
{
    const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    if (!manager)
        return Attention(Format(L"the service manager can't be asked (error %lu)", GetLastError()),
                         L"Run this program as administrator.");
    const ServiceHandle service(OpenServiceW(manager.Get(), name, SERVICE_QUERY_STATUS));
    if (!service && GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST)
        return Attention(L"there is no such service", missing);
    SERVICE_STATUS status{};
    if (!service || !QueryServiceStatus(service.Get(), &status))
        return Attention(Format(L"can't be queried (error %lu)", GetLastError()),
                         L"Run this program as administrator.");
    if (status.dwCurrentState == SERVICE_RUNNING)
        return Pass(L"running");
    return Attention(NameOf(status.dwCurrentState), notRunning);
}

} // namespace

Finding CheckSensorService(Examination&)
{
    return CheckService(L"vcsFPService", L"Install the sensor vendor's software again.",
                        L"Start vcsFPService: the provider does not start it by itself.");
}

Finding CheckFingerprintService(Examination&)
{
    return CheckService(L"VexaFPService", L"Install the product again.",
                        L"Start VexaFPService. The provider tries that as well once its tile is there.");
}

Finding CheckEndpoint(Examination& examination)
{
    const ServiceAnswer& service = examination.Service();
    if (service.kind == ServiceAnswer::Kind::Silent)
        return Attention(Format(L"none within %lu ms", examination.choices.patience),
                         L"Restart VexaFPService.");
    if (service.kind == ServiceAnswer::Kind::Raised)
        return Attention(Format(L"none: exception 0x%lX", service.code), L"Start VexaFPService.");
    if (service.pbaEnabled == 1)
        return Pass(L"reached; sensor present and enabled");
    if (service.pbaEnabled == 0)
        return Attention(L"reached; sensor absent or disabled: a tile would switch fingerprint logon off",
                         L"See to the sensor, then switch fingerprint logon on again.");
    return Attention(Format(L"reached; its answer about the sensor is %ld, not 1", service.pbaEnabled),
                     L"See to the sensor and restart VexaFPService.");
}

Finding CheckEnrolment(Examination& examination)
{
    const ServiceAnswer& service = examination.Service();
    if (!service.counted)
        return Skip(L"the service has not told");
    if (service.enrolled == 0)
        return Attention(L"none: the tile would say that the sensor failed", L"Enrol a finger.");
    return Pass(Format(L"%ld records", service.enrolled));
}
