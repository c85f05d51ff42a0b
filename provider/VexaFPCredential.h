// The one tile: a carrier that holds the identified account and hands it to Windows.
#pragma once

#include "Fields.h"

class CVexaFPProvider;

/// LogonUI's thread makes every interface call. The command window's thread writes the account before it has
/// the provider announce a change; that announcement is the only synchronisation, and the count is a plain
/// one.
class CVexaFPCredential final : public ICredentialProviderCredential {
public:
    CVexaFPCredential();

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;

    STDMETHODIMP Advise(ICredentialProviderCredentialEvents* pcpce) override;
    STDMETHODIMP UnAdvise() override;
    STDMETHODIMP SetSelected(BOOL* pbAutoLogon) override;
    STDMETHODIMP SetDeselected() override;
    STDMETHODIMP GetFieldState(DWORD dwFieldID, CREDENTIAL_PROVIDER_FIELD_STATE* pcpfs,
                               CREDENTIAL_PROVIDER_FIELD_INTERACTIVE_STATE* pcpfis) override;
    STDMETHODIMP GetStringValue(DWORD dwFieldID, PWSTR* ppwsz) override;
    STDMETHODIMP GetBitmapValue(DWORD dwFieldID, HBITMAP* phbmp) override;
    STDMETHODIMP GetCheckboxValue(DWORD dwFieldID, BOOL* pbChecked, PWSTR* ppwszLabel) override;
    STDMETHODIMP GetSubmitButtonValue(DWORD dwFieldID, DWORD* pdwAdjacentTo) override;
    STDMETHODIMP GetComboBoxValueCount(DWORD dwFieldID, DWORD* pcItems, DWORD* pdwSelectedItem) override;
    STDMETHODIMP GetComboBoxValueAt(DWORD dwFieldID, DWORD dwItem, PWSTR* ppwszItem) override;
    STDMETHODIMP SetStringValue(DWORD dwFieldID, PCWSTR pwz) override;
    STDMETHODIMP SetCheckboxValue(DWORD dwFieldID, BOOL bChecked) override;
    STDMETHODIMP SetComboBoxSelectedValue(DWORD dwFieldID, DWORD dwSelectedItem) override;
    STDMETHODIMP CommandLinkClicked(DWORD dwFieldID) override;
    STDMETHODIMP GetSerialization(CREDENTIAL_PROVIDER_GET_SERIALIZATION_RESPONSE* pcpgsr,
                                  CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION* pcpcs,
                                  PWSTR* ppwszOptionalStatusText,
                                  CREDENTIAL_PROVIDER_STATUS_ICON* pcpsiOptionalStatusIcon) override;
    STDMETHODIMP ReportResult(NTSTATUS ntsStatus, NTSTATUS ntsSubstatus, PWSTR* ppwszOptionalStatusText,
                              CREDENTIAL_PROVIDER_STATUS_ICON* pcpsiOptionalStatusIcon) override;

    virtual ~CVexaFPCredential();

    /// `rgcpfd`, `rgfsp`: FIELD_COUNT entries, copied. S_OK even when a copy fails: the tile then lacks
    /// labels or caption, and the provider need not know.
    HRESULT Initialize(CREDENTIAL_PROVIDER_USAGE_SCENARIO cpus,
                       const CREDENTIAL_PROVIDER_FIELD_DESCRIPTOR* rgcpfd, const FIELD_STATE_PAIR* rgfsp,
                       PCWSTR pwzCaption);

    /// A plain back pointer.
    void SetProvider(CVexaFPProvider* provider) { m_pProvider = provider; }

    /// Called on the command window's thread. Each text is zero-terminated and shorter than 256 units.
    void SetAccount(PCWSTR domain, PCWSTR userName, PCWSTR password);

private:
    void ReleaseEvents();

    static constexpr int TextUnits = 256;

    WCHAR m_wszDomain[TextUnits] = {};
    WCHAR m_wszUserName[TextUnits] = {};
    WCHAR m_wszPassword[TextUnits] = {}; // in clear for the object's life, and not wiped: deliberate
    DWORD m_dwReserved = 0;
    LONG m_cRef = 1;
    CREDENTIAL_PROVIDER_USAGE_SCENARIO m_cpus = CPUS_INVALID;
    CVexaFPProvider* m_pProvider = nullptr;
    ICredentialProviderCredentialEvents* m_pCredProvCredentialEvents = nullptr;
    // What Initialize allocates here is left to the process: the object lives for one logon screen.
    CREDENTIAL_PROVIDER_FIELD_DESCRIPTOR m_rgCredProvFieldDescriptors[FIELD_COUNT] = {};
    FIELD_STATE_PAIR m_rgFieldStatePairs[FIELD_COUNT] = {};
    PWSTR m_rgFieldStrings[FIELD_COUNT] = {}; // index 0 stays null: the image has no text
};
