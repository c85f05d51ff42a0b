#include "LogonReport.h"
#include "Names.h"
#include "Text.h"

#include "WindowsModel/Credentials.h"
#include "WindowsModel/PackedLogon.h"

#include <cstring>

namespace {

// KERB_INTERACTIVE_UNLOCK_LOGON as a 64-bit LSA reads it. The fields are read by offset, so that the table
// shows what is in the block whatever the provider meant to put there.
constexpr size_t g_messageType = 0;
constexpr size_t g_domain = 8;
constexpr size_t g_user = 24;
constexpr size_t g_password = 40;
constexpr size_t g_logonId = 56;
constexpr size_t g_strings = 64;

template <class Value>
Value Read(const byte* block, size_t offset)
{
    Value value;
    memcpy(&value, block + offset, sizeof(value));
    return value;
}

const wchar_t* MessageTypeName(DWORD type)
{
    switch (type) {
    case 2:
        return L"KerbInteractiveLogon";
    case 7:
        return L"KerbWorkstationUnlockLogon";
    default:
        return L"(not an interactive logon)";
    }
}

/// The characters of one string of the block; nothing when they do not lie within it.
std::optional<std::wstring> StringAt(const byte* block, size_t bytes, USHORT length, ULONGLONG offset)
{
    if (offset > bytes || length > bytes - offset)
        return std::nullopt;
    std::wstring text(length / sizeof(wchar_t), L'\0');
    memcpy(text.data(), block + offset, text.size() * sizeof(wchar_t));
    return text;
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

} // namespace

void LogonReport::WriteString(const byte* block, size_t bytes, size_t field, const wchar_t* name, bool secret)
{
    const USHORT length = Read<USHORT>(block, field);
    const ULONGLONG offset = Read<ULONGLONG>(block, field + 8);
    const std::optional<std::wstring> text = StringAt(block, bytes, length, offset);
    std::wstring shown = L"(outside the block)";
    if (text)
        shown = secret ? SecretText(*text) : Quoted(*text);
    m_transcript.Line(L"logon", L"  %6zu  %-16s length %-5hu maximum %-5hu at %-5llu %s", field, name, length,
                      Read<USHORT>(block, field + 2), offset, shown.c_str());
}

void LogonReport::WriteTable(const byte* block, size_t bytes)
{
    if (block == nullptr || bytes < g_strings) {
        m_transcript.Line(L"logon", L"  too short for its fixed part of %zu bytes", g_strings);
        return;
    }
    const DWORD type = Read<DWORD>(block, g_messageType);
    m_transcript.Line(L"logon", L"  offset  field");
    m_transcript.Line(L"logon", L"  %6zu  %-16s %lu %s", g_messageType, L"MessageType", type,
                      MessageTypeName(type));
    WriteString(block, bytes, g_domain, L"LogonDomainName", false);
    WriteString(block, bytes, g_user, L"UserName", false);
    WriteString(block, bytes, g_password, L"Password", true);
    m_transcript.Line(L"logon", L"  %6zu  %-16s %llu", g_logonId, L"LogonId",
                      Read<ULONGLONG>(block, g_logonId));
}

LogonOutcome LogonReport::Examine(const CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION& serialization)
{
    m_transcript.Line(L"logon", L"%lu bytes for authentication package %lu, from %s",
                      serialization.cbSerialization, serialization.ulAuthenticationPackage,
                      GuidText(serialization.clsidCredentialProvider).c_str());
    WriteTable(serialization.rgbSerialization, serialization.cbSerialization);

    // On a real system the packages have other numbers than in the model; there the block alone is checked.
    const WindowsModel::PackedLogon packed =
        m_options.real ? WindowsModel::DecodePackedLogon(serialization.rgbSerialization,
                                                         serialization.cbSerialization, m_options.scenario)
                       : WindowsModel::DecodePackedLogon(serialization, m_options.scenario, m_options.clsid);
    for (const std::string& violation : packed.violations)
        m_findings.Violation(L"packed logon: " + FromUtf8(violation));

    LogonOutcome outcome;
    outcome.cameOut = true;
    outcome.account = packed.domain + L"\\" + packed.user;
    if (!m_options.real) {
        const WindowsModel::LogonResult result = WindowsModel::Logon(packed);
        outcome.status = result.status;
        outcome.substatus = result.substatus;
        m_transcript.Line(L"lsa", L"logon of %s: %s, substatus %s", outcome.account.c_str(),
                          StatusName(result.status).c_str(), StatusName(result.substatus).c_str());
    }
    if (m_options.report) {
        outcome.status = m_options.report->status;
        outcome.substatus = m_options.report->substatus;
        m_transcript.Line(L"lsa", L"reported instead, as asked for: %s, substatus %s",
                          StatusName(outcome.status).c_str(), StatusName(outcome.substatus).c_str());
    }
    return outcome;
}
