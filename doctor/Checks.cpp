#include "Checks.h"

namespace {

// clang-format off
constexpr Check Table[] = {
    // LogonUI finds the provider
    {L"class",           L"Class",               CheckClass},
    {L"threading-model", L"Threading model",     CheckThreadingModel},
    {L"provider",        L"Provider",            CheckProviderList},
    {L"policy",          L"Policy",              CheckPolicy},
    {L"dll",             L"DLL",                 CheckDll},
    // The creation gate
    {L"sensor",          L"Sensor",              CheckSensor},
    {L"library",         L"Pre-boot library",    CheckLibraryFile},
    {L"enable",          L"Enable",              CheckEnable},
    {L"exports",         L"Library's functions", CheckLibraryExports},
    {L"step1",           L"Step-1 event",        CheckStep1Event},
    {L"pre-boot",        L"Pre-boot check",      CheckPreBoot},
    // The workers
    {L"vcsFPService",    L"vcsFPService",        CheckSensorService},
    {L"VexaFPService",   L"VexaFPService",       CheckFingerprintService},
    {L"endpoint",        L"Service's answer",    CheckEndpoint},
    {L"enrolment",       L"Enrolled fingers",    CheckEnrolment},
    {L"lock-out",        L"Lock-out",            CheckLockOut},
    {L"logs",            L"Log folders",         CheckLogFolders},
};
// clang-format on

} // namespace

std::span<const Check> AllChecks()
{
    return Table;
}

const ServiceAnswer& Examination::Service()
{
    if (!m_service)
        m_service = AskService(choices.patience);
    return *m_service;
}
