#include "LogonReport.h"
#include "Names.h"

#include "WindowsModel/PackedLogon.h"
#include "WindowsModel/SimulatedWindows.h"

using WindowsModel::PackedLogon;
using WindowsModel::PackedString;

namespace {

const wchar_t* MessageTypeName(DWORD type)
{
    if (type == KerbInteractiveLogon)
        return L"KerbInteractiveLogon";
    return type == KerbWorkstationUnlockLogon ? L"KerbWorkstationUnlockLogon" : L"(not an interactive logon)";
}

std::wstring SecretText(const std::wstring& text)
{
    switch (WindowsModel::ProtectionOf(text)) {
    case WindowsModel::Protection::Trusted:
        return Format(L"%zu characters, protected for the LSA", text.size());
    case WindowsModel::Protection::User:
        return Format(L"%zu characters, protected for its maker alone", text.size());
    default:
        return Format(L"%zu characters, not protected by the simulated Windows", text.size());
    }
}

void WriteString(Transcript& log, size_t field, const wchar_t* name, const PackedString& place,
                 const std::wstring& shown)
{
    log.Line(L"logon", L"  %6zu  %-16s length %-5hu maximum %-5hu at %-5llu %s", field, name, place.length,
             place.maximum, place.offset, shown.c_str());
}

void WriteTable(Transcript& log, const PackedLogon& packed)
{
    constexpr size_t interactive = offsetof(KERB_INTERACTIVE_UNLOCK_LOGON, Logon);
    log.Line(L"logon", L"  offset  field");
    log.Line(L"logon", L"  %6zu  %-16s %lu %s", interactive + offsetof(KERB_INTERACTIVE_LOGON, MessageType),
             L"MessageType", packed.messageType, MessageTypeName(packed.messageType));
    WriteString(log, interactive + offsetof(KERB_INTERACTIVE_LOGON, LogonDomainName), L"LogonDomainName",
                packed.domainPlace, Quoted(packed.domain));
    WriteString(log, interactive + offsetof(KERB_INTERACTIVE_LOGON, UserName), L"UserName", packed.userPlace,
                Quoted(packed.user));
    WriteString(log, interactive + offsetof(KERB_INTERACTIVE_LOGON, Password), L"Password",
                packed.passwordPlace, SecretText(packed.password));
    log.Line(L"logon", L"  %6zu  %-16s %llu", offsetof(KERB_INTERACTIVE_UNLOCK_LOGON, LogonId), L"LogonId",
             packed.logonId);
}

} // namespace

LogonOutcome Examine(const Options& options, Transcript& log,
                     const CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION& serialization)
{
    log.Line(L"logon", L"%lu bytes for authentication package %lu, from %s", serialization.cbSerialization,
             serialization.ulAuthenticationPackage, GuidText(serialization.clsidCredentialProvider).c_str());
    // On a real system the packages have other numbers than in the model; there the block alone is checked.
    const PackedLogon packed =
        options.real ? WindowsModel::DecodePackedLogon(serialization.rgbSerialization,
                                                       serialization.cbSerialization, options.scenario)
                     : WindowsModel::DecodePackedLogon(serialization, options.scenario, ProviderClass);
    WriteTable(log, packed);
    for (const std::string& violation : packed.violations)
        log.Violation(L"packed logon: " + FromUtf8(violation));

    LogonOutcome outcome;
    outcome.cameOut = true;
    outcome.account = packed.domain + L"\\" + packed.user;
    if (!options.real) {
        const WindowsModel::LogonResult result = WindowsModel::Logon(packed);
        outcome.status = result.status;
        outcome.substatus = result.substatus;
        log.Line(L"lsa", L"logon of %s: %s, substatus %s", outcome.account.c_str(),
                 StatusName(result.status).c_str(), StatusName(result.substatus).c_str());
    }
    return outcome;
}
