#include "CredentialTile.h"
#include "Names.h"

namespace {

constexpr wchar_t g_interface[] = L"ICredentialProviderCredential";

std::wstring Method(const wchar_t* call)
{
    return Format(L"%s::%s", g_interface, call);
}

/// The block as LogonUI frees it: it holds a password, be it a protected one.
void FreeSerialization(CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION& serialization)
{
    if (serialization.rgbSerialization == nullptr)
        return;
    SecureZeroMemory(serialization.rgbSerialization, serialization.cbSerialization);
    CoTaskMemFree(serialization.rgbSerialization);
    serialization = {};
}

} // namespace

CredentialTile::CredentialTile(CallLog& log, Findings& findings, HANDLE activity, HWND owner)
    : m_log(log), m_findings(findings), m_sink(std::make_unique<CredentialSink>(activity, owner))
{
}

CredentialTile::~CredentialTile()
{
    Close();
}

bool CredentialTile::Open(ICredentialProvider* provider, DWORD index,
                          const std::vector<FieldDescriptor>& descriptors)
{
    {
        Call call(m_log, Format(L"ICredentialProvider::GetCredentialAt(%lu)", index));
        if (FAILED(call.Returned(call.Took(provider->GetCredentialAt(index, m_credential.Put())))))
            return false;
    }
    if (!m_credential) {
        m_findings.Violation(L"GetCredentialAt succeeded without a credential");
        return false;
    }
    {
        Call call(m_log, Method(L"Advise(sink)"));
        call.Returned(call.Took(m_credential.Get()->Advise(m_sink.get())));
    }
    for (const FieldDescriptor& descriptor : descriptors) {
        TileField& field = m_tile.fields.emplace_back(descriptor);
        ReadField(field);
    }
    return true;
}

void CredentialTile::ReadField(TileField& field)
{
    {
        Call call(m_log, Method(Format(L"GetFieldState(%lu)", field.id).c_str()));
        const HRESULT result =
            call.Took(m_credential.Get()->GetFieldState(field.id, &field.state, &field.interactive));
        call.Returned(
            result, Format(L"%s, %s", FieldStateName(field.state), InteractiveStateName(field.interactive)));
    }
    if (field.HasText())
        ReadText(field);
    else if (field.type == CPFT_TILE_IMAGE)
        ReadBitmap(field);
    else if (field.type == CPFT_SUBMIT_BUTTON) {
        DWORD adjacentTo = 0;
        Call call(m_log, Method(Format(L"GetSubmitButtonValue(%lu)", field.id).c_str()));
        const HRESULT result = call.Took(m_credential.Get()->GetSubmitButtonValue(field.id, &adjacentTo));
        call.Returned(result, Format(L"next to %lu", adjacentTo));
    } else if (field.type == CPFT_CHECKBOX) {
        BOOL checked = FALSE;
        TaskMemory<wchar_t> label;
        Call call(m_log, Method(Format(L"GetCheckboxValue(%lu)", field.id).c_str()));
        const HRESULT result =
            call.Took(m_credential.Get()->GetCheckboxValue(field.id, &checked, label.Put()));
        field.text = label ? label.Get() : L"";
        call.Returned(result, Format(L"%s, %s", checked ? L"TRUE" : L"FALSE", Quoted(field.text).c_str()));
    }
}

void CredentialTile::ReadText(TileField& field)
{
    TaskMemory<wchar_t> text;
    Call call(m_log, Method(Format(L"GetStringValue(%lu)", field.id).c_str()));
    const HRESULT result = call.Took(m_credential.Get()->GetStringValue(field.id, text.Put()));
    field.text = text ? text.Get() : L"";
    const bool secret = field.type == CPFT_PASSWORD_TEXT;
    call.Returned(result, secret ? Format(L"%zu characters", field.text.size()) : Quoted(field.text));
    if (SUCCEEDED(result) && !text)
        m_findings.Violation(Format(L"GetStringValue(%lu) succeeded without a text", field.id));
}

void CredentialTile::ReadBitmap(TileField& field)
{
    Call call(m_log, Method(Format(L"GetBitmapValue(%lu)", field.id).c_str()));
    const HRESULT result = call.Took(m_credential.Get()->GetBitmapValue(field.id, field.bitmap.Put()));
    BITMAP bitmap = {};
    const bool isBitmap = field.bitmap && GetObjectW(field.bitmap.Get(), sizeof(bitmap), &bitmap) != 0;
    call.Returned(
        result, isBitmap ? Format(L"%ld x %ld, %hu bits", bitmap.bmWidth, bitmap.bmHeight, bitmap.bmBitsPixel)
                         : std::wstring(L"no bitmap"));
    if (SUCCEEDED(result) && !isBitmap)
        m_findings.Violation(Format(L"GetBitmapValue(%lu) succeeded without a bitmap", field.id));
}

bool CredentialTile::Select()
{
    BOOL autoLogon = FALSE;
    Call call(m_log, Method(L"SetSelected()"));
    const HRESULT result = call.Took(m_credential.Get()->SetSelected(&autoLogon));
    call.Returned(result, autoLogon ? L"auto-logon" : L"no auto-logon");
    return SUCCEEDED(result) && autoLogon;
}

LogonOutcome CredentialTile::LogOn(LogonReport& report, std::wstring& statusText)
{
    LogonOutcome outcome;
    CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION serialization = {};
    if (Serialize(serialization, statusText)) {
        outcome = report.Examine(serialization);
        ReportResult(outcome, statusText);
    }
    FreeSerialization(serialization);
    return outcome;
}

bool CredentialTile::Serialize(CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION& serialization,
                               std::wstring& statusText)
{
    CREDENTIAL_PROVIDER_GET_SERIALIZATION_RESPONSE response = CPGSR_NO_CREDENTIAL_NOT_FINISHED;
    CREDENTIAL_PROVIDER_STATUS_ICON icon = CPSI_NONE;
    TaskMemory<wchar_t> text;
    HRESULT result;
    {
        Call call(m_log, Method(L"GetSerialization()"));
        result =
            call.Took(m_credential.Get()->GetSerialization(&response, &serialization, text.Put(), &icon));
        call.Returned(result,
                      Format(L"%s, %lu bytes", ResponseName(response), serialization.cbSerialization));
    }
    if (text)
        statusText = text.Get();
    if (FAILED(result) || response != CPGSR_RETURN_CREDENTIAL_FINISHED)
        return false;
    if (serialization.rgbSerialization == nullptr) {
        m_findings.Violation(L"GetSerialization returned a credential without a block");
        return false;
    }
    return true;
}

void CredentialTile::ReportResult(const LogonOutcome& outcome, std::wstring& statusText)
{
    CREDENTIAL_PROVIDER_STATUS_ICON icon = CPSI_NONE;
    TaskMemory<wchar_t> text;
    Call call(m_log, Method(Format(L"ReportResult(%s, %s)", StatusName(outcome.status).c_str(),
                                   StatusName(outcome.substatus).c_str())
                                .c_str()));
    const HRESULT result =
        call.Took(m_credential.Get()->ReportResult(outcome.status, outcome.substatus, text.Put(), &icon));
    call.Returned(result, text ? Quoted(text.Get()) : std::wstring());
    if (text)
        statusText = text.Get();
}

void CredentialTile::Close()
{
    if (m_credential) {
        {
            Call call(m_log, Method(L"UnAdvise()"));
            call.Returned(call.Took(m_credential.Get()->UnAdvise()));
        }
        LoggedRelease(m_log, g_interface, m_credential.Release());
    }
    if (m_sink && m_sink->HeldByProvider() > 0) {
        m_findings.Violation(
            Format(L"the credential still holds %ld references to its events sink after UnAdvise",
                   m_sink->HeldByProvider()));
        // It may call through them yet.
        (void)m_sink.release();
    }
    m_sink.reset();
}

bool CredentialTile::ApplyChanges()
{
    const std::vector<TileChange> changes = m_sink->Take();
    for (const TileChange& change : changes) {
        m_log.Lines().Line(L"event", L"ICredentialProviderCredentialEvents::%s", change.text.c_str());
        if (change.apply)
            change.apply(m_tile);
    }
    return !changes.empty();
}
