#include "Doctor.h"

#include "Bounded.h"
#include "EventLog.h"
#include "Text.h"

#include <shlobj.h>

#include <algorithm>
#include <iterator>

/// The support library's notes in the event log are left out: this program leaves no trace.
void ReportFPEvent(const wchar_t* /*format*/, ...) {}

namespace {

// clang-format off
constexpr StatusInfo Statuses[] = {
    {Status::Offered,            L"offered",              S_OK,          L"a tile would be offered"},
    {Status::Usage,              L"usage",                S_OK,          L"wrong use of this program"},
    {Status::ClassMissing,       L"class-missing",        S_OK,          L"the provider's class is not registered"},
    {Status::ThreadingModel,     L"threading-model",      S_OK,          L"the class has an unfit threading model"},
    {Status::ProviderNotListed,  L"provider-not-listed",  S_OK,          L"not in the list of credential providers"},
    {Status::ProviderDisabled,   L"provider-disabled",    S_OK,          L"disabled in the list of credential providers"},
    {Status::ProviderExcluded,   L"provider-excluded",    S_OK,          L"excluded by policy"},
    {Status::DllMissing,         L"dll-missing",          S_OK,          L"no file at the registered path"},
    {Status::DllUnfit,           L"dll-unfit",            S_OK,          L"the file there is not the 64-bit DLL"},
    {Status::NoSensor,           L"no-sensor",            E_OUTOFMEMORY, L"no fingerprint sensor"},
    {Status::SensorDisabled,     L"sensor-disabled",      E_NOTIMPL,     L"the sensor is disabled"},
    {Status::LibraryMissing,     L"library-missing",      E_OUTOFMEMORY, L"the pre-boot library is missing"},
    {Status::SwitchedOff,        L"switched-off",         E_OUTOFMEMORY, L"fingerprint logon is switched off"},
    {Status::WrongView,          L"wrong-view",           E_OUTOFMEMORY, L"switched on in the wrong registry view"},
    {Status::LibraryUnfit,       L"library-unfit",        E_OUTOFMEMORY, L"the pre-boot library is not a 64-bit DLL that works"},
    {Status::ExportMissing,      L"export-missing",       E_OUTOFMEMORY, L"the pre-boot library lacks a function"},
    {Status::ServiceUnreachable, L"service-unreachable",  E_OUTOFMEMORY, L"the fingerprint service can't be reached"},
    {Status::ServiceRefuses,     L"service-refuses",      E_OUTOFMEMORY, L"the fingerprint service says no"},
    {Status::ServiceSilent,      L"service-silent",       S_OK,          L"the fingerprint service does not answer"},
    {Status::LibraryDecides,     L"library-decides",      S_OK,          L"Undecided: only the pre-boot library can tell (--ask-library)"},
    {Status::CheckSilent,        L"check-silent",         S_OK,          L"Undecided: Windows does not answer a check"},
};

constexpr Check Checks[] = {
    // LogonUI finds the provider
    {L"class",           L"Class",               CheckClass},
    {L"threading-model", L"Threading model",     CheckThreadingModel},
    {L"provider",        L"Provider",            CheckProviderList},
    {L"policy",          L"Policy",              CheckPolicy},
    {L"filters",         L"Filters",             CheckFilters},
    {L"dll",             L"DLL",                 CheckDll},
    // The creation gate
    {L"sensor",          L"Sensor",              CheckSensor},
    {L"library",         L"Pre-boot library",    CheckLibraryFile},
    {L"enable",          L"Enable",              CheckEnable},
    {L"exports",         L"Library's functions", CheckLibraryExports},
    {L"step1",           L"First-check mark",    CheckFirstCheckMark},
    {L"pre-boot",        L"Pre-boot check",      CheckPreBoot},
    // The workers
    {L"vcsFPService",    L"vcsFPService",        CheckSensorService},
    {L"VexaFPService",   L"VexaFPService",       CheckFingerprintService},
    {L"endpoint",        L"Service's answer",    CheckEndpoint},
    {L"enrolment",       L"Enrolled fingers",    CheckEnrolment},
    {L"lock-out",        L"Lock-out",            CheckLockOut},
    // What is left behind
    {L"folders",         L"Folders' rights",     CheckFolderRights},
    {L"logs",            L"Log folders",         CheckLogFolders},
    {L"last-logon",      L"Last logon",          CheckLastLogon},
};
// clang-format on

} // namespace

std::span<const StatusInfo> AllStatuses()
{
    return Statuses;
}

const StatusInfo& Describe(Status status)
{
    return *std::ranges::find(Statuses, status, &StatusInfo::status);
}

std::span<const Check> AllChecks()
{
    return Checks;
}

Finding CantTell(DWORD error)
{
    return {Outcome::Unknown, L"can't be told: " + ErrorText(error), L"Run this program as administrator."};
}

Finding LookBounded(const Check& check, Examination& examination)
{
    struct Looked {
        Finding finding = {};
        Examination examination = {};
    };
    // A check that never comes back has a copy to itself.
    auto looked = CallBounded(examination.choices.limit, [look = check.look, own = examination]() mutable {
        Finding finding = look(own);
        return Looked{std::move(finding), own};
    });
    if (!looked)
        return {Outcome::Unknown, Format(L"no answer within %lu ms", examination.choices.limit),
                L"Look again later; restart Windows if it stays so.", Status::CheckSilent};
    examination = std::move(looked->examination);
    return std::move(looked->finding);
}

Diagnosis Diagnose(const Choices& choices)
{
    Diagnosis diagnosis;
    wchar_t computer[MAX_COMPUTERNAME_LENGTH + 1] = L"";
    DWORD units = ARRAYSIZE(computer);
    GetComputerNameW(computer, &units);
    diagnosis.computer = computer;
    diagnosis.elevated = IsUserAnAdmin() != FALSE;
    Examination examination{.choices = choices};
    for (const Check& check : Checks)
        diagnosis.findings.push_back(LookBounded(check, examination));

    const auto& findings = diagnosis.findings;
    for (const Outcome outcome : {Outcome::Refusal, Outcome::Unknown}) {
        const auto found = std::ranges::find_if(findings, [outcome](const Finding& finding) {
            return finding.outcome == outcome && finding.status != Status::Offered;
        });
        if (found == findings.end())
            continue;
        diagnosis.decisive = static_cast<size_t>(found - findings.begin());
        diagnosis.status = found->status;
        break;
    }
    return diagnosis;
}
