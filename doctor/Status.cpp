#include "Status.h"

#include <algorithm>

namespace {

// clang-format off
constexpr StatusInfo Table[] = {
    {Status::Offered,            L"offered",              S_OK,          L"a tile would be offered"},
    {Status::Usage,              L"usage",                S_OK,          L"wrong use of this program"},
    {Status::ClassMissing,       L"class-missing",        S_OK,          L"the provider's class is not registered"},
    {Status::ThreadingModel,     L"threading-model",      S_OK,          L"the class has an unfit threading model"},
    {Status::ProviderNotListed,  L"provider-not-listed",  S_OK,          L"not in the list of credential providers"},
    {Status::ProviderDisabled,   L"provider-disabled",    S_OK,          L"disabled in the list of credential providers"},
    {Status::ProviderExcluded,   L"provider-excluded",    S_OK,          L"excluded by policy"},
    {Status::DllMissing,         L"dll-missing",          S_OK,          L"no file at the registered path"},
    {Status::DllUnfit,           L"dll-unfit",            S_OK,          L"the file there is no 64-bit DLL"},
    {Status::NoSensor,           L"no-sensor",            E_OUTOFMEMORY, L"no fingerprint sensor"},
    {Status::SensorDisabled,     L"sensor-disabled",      E_NOTIMPL,     L"the sensor is disabled"},
    {Status::LibraryMissing,     L"library-missing",      E_OUTOFMEMORY, L"the pre-boot library is missing"},
    {Status::SwitchedOff,        L"switched-off",         E_OUTOFMEMORY, L"fingerprint logon is switched off"},
    {Status::WrongView,          L"wrong-view",           E_OUTOFMEMORY, L"switched on in the wrong registry view"},
    {Status::LibraryUnfit,       L"library-unfit",        E_OUTOFMEMORY, L"the pre-boot library is no 64-bit DLL that works"},
    {Status::ExportMissing,      L"export-missing",       E_OUTOFMEMORY, L"the pre-boot library lacks a function"},
    {Status::ServiceUnreachable, L"service-unreachable",  E_OUTOFMEMORY, L"the fingerprint service can't be reached"},
    {Status::ServiceRefuses,     L"service-refuses",      E_OUTOFMEMORY, L"the fingerprint service says no"},
    {Status::ServiceSilent,      L"service-silent",       S_OK,          L"the fingerprint service does not answer"},
    {Status::LibraryDecides,     L"library-decides",      S_OK,          L"Undecided: only the pre-boot library can tell (--ask-library)"},
};
// clang-format on

} // namespace

std::span<const StatusInfo> AllStatuses()
{
    return Table;
}

const StatusInfo& Describe(Status status)
{
    return *std::find_if(std::begin(Table), std::end(Table),
                         [&](const StatusInfo& info) { return info.status == status; });
}
