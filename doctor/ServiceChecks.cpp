#include "Binding.h"
#include "Bounded.h"
#include "Doctor.h"
#include "FPStub.h"
#include "Handle.h"
#include "SehGuard.h"
#include "Text.h"

#include <iterator>

namespace {

struct ServiceState {
    const wchar_t* name;
    /// Null where the service's own advice applies.
    const wchar_t* advice;
};

/// By their numbers, from SERVICE_STOPPED on.
constexpr ServiceState ServiceStates[] = {
    {L"stopped", nullptr},
    {L"starting", L"Wait until it runs, then look again."},
    {L"stopping", L"Wait until it is stopped, then start it."},
    {L"running", nullptr},
    {L"resuming", L"Wait until it runs, then look again."},
    {L"pausing", L"Wait until it is paused, then resume it."},
    {L"paused", L"Resume it."},
};

/// Asks once: unlike the watchdog's query it does not wait for a service to settle.
Finding CheckService(const wchar_t* name, const wchar_t* missing, const wchar_t* stopped)
{
    const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    if (!manager)
        return CantTell(GetLastError());
    const ServiceHandle service(OpenServiceW(manager.Get(), name, SERVICE_QUERY_STATUS));
    if (!service && GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST)
        return {Outcome::Attention, L"there is no such service", missing};
    SERVICE_STATUS status{};
    if (!service || !QueryServiceStatus(service.Get(), &status))
        return CantTell(GetLastError());
    if (status.dwCurrentState == SERVICE_RUNNING)
        return {Outcome::Pass, L"running"};
    if (status.dwCurrentState == 0 || status.dwCurrentState > std::size(ServiceStates))
        return {Outcome::Attention, Format(L"in the unknown state %lu", status.dwCurrentState), stopped};
    const ServiceState& state = ServiceStates[status.dwCurrentState - 1];
    return {Outcome::Attention, state.name, state.advice != nullptr ? state.advice : stopped};
}

ServiceAnswer Ask()
{
    ServiceAnswer answer{.silent = false};
    BindFPService();
    const SehResult asked = Guarded([&] {
        CallStub(Stub_Probe);
        answer.pbaEnabled = CallStub(Stub_IsPbaEnable);
    });
    answer.code = asked.code;
    if (!asked.raised) {
        long result = -1;
        long value = 0;
        long enrolled = 0;
        if (!Guarded([&] { result = CallStub(Stub_ListEnroll, nullptr, &value, &enrolled); }).raised &&
            result == 0)
            answer.enrolled = enrolled;
    }
    UnbindFPService();
    return answer;
}

} // namespace

std::wstring ServiceAnswer::Text() const
{
    if (silent)
        return L"does not answer in time";
    return code != 0 ? L"can't be reached: " + ErrorText(code) : Format(L"answers %ld", pbaEnabled);
}

const ServiceAnswer& Examination::Service()
{
    if (!service)
        service = CallBounded(choices.patience, Ask).value_or(ServiceAnswer{});
    return *service;
}

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
    if (service.SaysYes())
        return {Outcome::Pass, L"it answers 1: sensor present and enabled"};
    if (service.silent || service.code != 0)
        return {Outcome::Attention, L"it " + service.Text(),
                L"Have VexaFPService running; restart it if it is."};
    return {Outcome::Attention,
            L"it " + service.Text() + L", not 1: the sensor is absent or disabled" +
                (service.pbaEnabled == 0 ? L", and a tile would switch fingerprint logon off" : L""),
            L"See to the sensor, restart VexaFPService, and have fingerprint logon switched on."};
}

Finding CheckEnrolment(Examination& examination)
{
    const auto& enrolled = examination.Service().enrolled;
    if (!enrolled)
        return {Outcome::Skipped, L"the service has not told"};
    if (*enrolled == 0)
        return {Outcome::Attention, L"none: the tile would say that the sensor failed", L"Enrol a finger."};
    return {Outcome::Pass, Format(*enrolled == 1 ? L"%ld record" : L"%ld records", *enrolled)};
}
