#include "VexaFPCredential.h"

#include "CommandWindow/CommandWindow.h"
#include "LogFile.h"
#include "LogonSerialization.h"
#include "Module.h"
#include "Resource.h"
#include "Result.h"

#include <objbase.h>
#include <shlwapi.h>

#include <cwchar>
#include <utility>

namespace {

constexpr char LogSource[] = "VexaFPCredential.cpp";

} // namespace

CVexaFPCredential::CVexaFPCredential()
{
    FP_LOG("CVexaFPCredential::CVexaFPCredential", L"Start");
    DllAddRef();
}

// A sink still held is not released: LogonUI is expected to have called UnAdvise.
CVexaFPCredential::~CVexaFPCredential()
{
    OutputDebugStringA("VEXA CredPro ~CVexaFPCredential");
    FP_LOG("CVexaFPCredential::~CVexaFPCredential", L"Start");
    DllRelease();
}

STDMETHODIMP CVexaFPCredential::QueryInterface(REFIID riid, void** ppv)
{
    static const QITAB interfaces[] = {
        QITABENT(CVexaFPCredential, ICredentialProviderCredential),
        {nullptr, 0},
    };
    return QISearch(this, interfaces, riid, ppv);
}

STDMETHODIMP_(ULONG) CVexaFPCredential::AddRef()
{
    return ++m_cRef;
}

STDMETHODIMP_(ULONG) CVexaFPCredential::Release()
{
    const LONG count = --m_cRef;
    if (count == 0)
        delete this;
    return count;
}

HRESULT CVexaFPCredential::Initialize(CREDENTIAL_PROVIDER_USAGE_SCENARIO cpus,
                                      const CREDENTIAL_PROVIDER_FIELD_DESCRIPTOR* rgcpfd,
                                      const FIELD_STATE_PAIR* rgfsp, PCWSTR pwzCaption)
{
    FP_LOG("CVexaFPCredential::Initialize", L"Start");
    m_cpus = cpus;
    HRESULT result = S_OK;
    for (DWORD i = 0; i < FIELD_COUNT && SUCCEEDED(result); ++i) {
        m_rgFieldStatePairs[i] = rgfsp[i];
        result = FieldDescriptorCopy(rgcpfd[i], m_rgCredProvFieldDescriptors[i]);
    }
    if (SUCCEEDED(result))
        SHStrDupW(pwzCaption, &m_rgFieldStrings[FIELD_USERNAME]);
    return S_OK;
}

void CVexaFPCredential::SetAccount(PCWSTR domain, PCWSTR userName, PCWSTR password)
{
    std::wcscpy(m_wszDomain, domain);
    std::wcscpy(m_wszUserName, userName);
    std::wcscpy(m_wszPassword, password);
}

STDMETHODIMP CVexaFPCredential::Advise(ICredentialProviderCredentialEvents* pcpce)
{
    FP_LOG("CVexaFPCredential::Advise", L"Start");
    ReleaseEvents();
    pcpce->AddRef();
    m_pCredProvCredentialEvents = pcpce;
    return S_OK;
}

STDMETHODIMP CVexaFPCredential::UnAdvise()
{
    FP_LOG("CVexaFPCredential::UnAdvise", L"Start");
    ReleaseEvents();
    return S_OK;
}

void CVexaFPCredential::ReleaseEvents()
{
    ICredentialProviderCredentialEvents* const events = std::exchange(m_pCredProvCredentialEvents, nullptr);
    if (events != nullptr)
        events->Release();
}

STDMETHODIMP CVexaFPCredential::SetSelected(BOOL* pbAutoLogon)
{
    FP_LOG("CVexaFPCredential::SetSelected", L"Start");
    // Automatic logon is the provider's decision, in GetCredentialCount.
    *pbAutoLogon = FALSE;
    return S_OK;
}

STDMETHODIMP CVexaFPCredential::SetDeselected()
{
    FP_LOG("CVexaFPCredential::SetDeselected", L"Start");
    return E_NOTIMPL;
}

STDMETHODIMP CVexaFPCredential::GetFieldState(DWORD dwFieldID, CREDENTIAL_PROVIDER_FIELD_STATE* pcpfs,
                                              CREDENTIAL_PROVIDER_FIELD_INTERACTIVE_STATE* pcpfis)
{
    FP_LOG("CVexaFPCredential::GetFieldState", L"Start");
    if (dwFieldID >= FIELD_COUNT || pcpfs == nullptr || pcpfis == nullptr)
        return E_INVALIDARG;
    *pcpfs = m_rgFieldStatePairs[dwFieldID].cpfs;
    *pcpfis = m_rgFieldStatePairs[dwFieldID].cpfis;
    return S_OK;
}

STDMETHODIMP CVexaFPCredential::GetStringValue(DWORD dwFieldID, PWSTR* ppwsz)
{
    FP_LOG("CVexaFPCredential::GetStringValue", L"Start");
    if (dwFieldID >= FIELD_COUNT || ppwsz == nullptr)
        return E_INVALIDARG;
    return SHStrDupW(m_rgFieldStrings[dwFieldID], ppwsz);
}

STDMETHODIMP CVexaFPCredential::GetBitmapValue(DWORD dwFieldID, HBITMAP* phbmp)
{
    if (dwFieldID != FIELD_TILE_IMAGE || phbmp == nullptr)
        return E_INVALIDARG;
    const HBITMAP bitmap = LoadBitmapW(g_hinst, MAKEINTRESOURCEW(IDB_TILE));
    if (bitmap == nullptr)
        return HresultFromLastError();
    *phbmp = bitmap;
    return S_OK;
}

STDMETHODIMP CVexaFPCredential::GetCheckboxValue(DWORD /*dwFieldID*/, BOOL* /*pbChecked*/,
                                                 PWSTR* /*ppwszLabel*/)
{
    return E_NOTIMPL;
}

STDMETHODIMP CVexaFPCredential::GetSubmitButtonValue(DWORD /*dwFieldID*/, DWORD* /*pdwAdjacentTo*/)
{
    FP_LOG("CVexaFPCredential::GetSubmitButtonValue", L"Start");
    return E_NOTIMPL;
}

STDMETHODIMP CVexaFPCredential::GetComboBoxValueCount(DWORD /*dwFieldID*/, DWORD* /*pcItems*/,
                                                      DWORD* /*pdwSelectedItem*/)
{
    return E_NOTIMPL;
}

STDMETHODIMP CVexaFPCredential::GetComboBoxValueAt(DWORD /*dwFieldID*/, DWORD /*dwItem*/,
                                                   PWSTR* /*ppwszItem*/)
{
    return E_NOTIMPL;
}

STDMETHODIMP CVexaFPCredential::SetStringValue(DWORD dwFieldID, PCWSTR pwz)
{
    FP_LOG("CVexaFPCredential::SetStringValue", L"Start");
    if (dwFieldID >= FIELD_COUNT)
        return E_INVALIDARG;
    // No field of today's table can be edited; the check keeps the operation right should one be added.
    const CREDENTIAL_PROVIDER_FIELD_TYPE type = m_rgCredProvFieldDescriptors[dwFieldID].cpft;
    if (type != CPFT_EDIT_TEXT && type != CPFT_PASSWORD_TEXT)
        return E_INVALIDARG;
    PWSTR& text = m_rgFieldStrings[dwFieldID];
    CoTaskMemFree(text);
    text = nullptr;
    return SHStrDupW(pwz, &text);
}

STDMETHODIMP CVexaFPCredential::SetCheckboxValue(DWORD /*dwFieldID*/, BOOL /*bChecked*/)
{
    return E_NOTIMPL;
}

STDMETHODIMP CVexaFPCredential::SetComboBoxSelectedValue(DWORD /*dwFieldID*/, DWORD /*dwSelectedItem*/)
{
    return E_NOTIMPL;
}

STDMETHODIMP CVexaFPCredential::CommandLinkClicked(DWORD /*dwFieldID*/)
{
    return E_NOTIMPL;
}

STDMETHODIMP CVexaFPCredential::GetSerialization(CREDENTIAL_PROVIDER_GET_SERIALIZATION_RESPONSE* pcpgsr,
                                                 CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION* pcpcs,
                                                 PWSTR* /*ppwszOptionalStatusText*/,
                                                 CREDENTIAL_PROVIDER_STATUS_ICON* /*pcpsiOptionalStatusIcon*/)
{
    // The name is only asked for: the domain is always the one that came with the identified user.
    WCHAR computerName[MAX_COMPUTERNAME_LENGTH + 1];
    DWORD units = ARRAYSIZE(computerName);
    if (!GetComputerNameW(computerName, &units))
        return HresultFromLastError();

    const HRESULT packed = PackLogon(m_wszDomain, m_wszUserName, m_wszPassword, m_cpus,
                                     &pcpcs->rgbSerialization, &pcpcs->cbSerialization);
    if (FAILED(packed))
        return packed;

    ULONG authPackage = 0;
    const HRESULT found = RetrieveNegotiateAuthPackage(&authPackage);
    if (FAILED(found)) {
        // The packed block stays with the caller.
        FP_LOG("CVexaFPCredential::GetSerialization", L"RetrieveNegotiateAuthPackage Fail");
        return found;
    }
    pcpcs->ulAuthenticationPackage = authPackage;
    pcpcs->clsidCredentialProvider = CLSID_VexaFPCredentialProvider;
    *pcpgsr = CPGSR_RETURN_CREDENTIAL_FINISHED;
    FP_LOG("CVexaFPCredential::GetSerialization", L"CPGSR_RETURN_CREDENTIAL_FINISHED");
    return S_OK;
}

STDMETHODIMP CVexaFPCredential::ReportResult(NTSTATUS ntsStatus, NTSTATUS ntsSubstatus,
                                             PWSTR* /*ppwszOptionalStatusText*/,
                                             CREDENTIAL_PROVIDER_STATUS_ICON* /*pcpsiOptionalStatusIcon*/)
{
    FP_LOG("CVexaFPCredential::ReportResult", L"Start %X %X", static_cast<unsigned>(ntsStatus),
           static_cast<unsigned>(ntsSubstatus));
    if (ntsSubstatus == 0)
        ShowWindow(g_hEventWindow, SW_HIDE);
    return E_NOTIMPL;
}
