// The provider that LogonUI drives: one credential, one command window, and whether to log on automatically.
#pragma once

#include <credentialprovider.h>

#include <atomic>

class CCommandWindow;
class CVexaFPCredential;

/// LogonUI's thread makes every interface call; StatusChanged comes from the command window's thread. No lock
/// is taken on either side, and the reference count is a plain one: deliberate.
class CVexaFPProvider final : public ICredentialProvider {
public:
    CVexaFPProvider();

    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;

    STDMETHODIMP SetUsageScenario(CREDENTIAL_PROVIDER_USAGE_SCENARIO cpus, DWORD dwFlags) override;
    STDMETHODIMP SetSerialization(const CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION* pcpcs) override;
    STDMETHODIMP Advise(ICredentialProviderEvents* pcpe, UINT_PTR upAdviseContext) override;
    STDMETHODIMP UnAdvise() override;
    STDMETHODIMP GetFieldDescriptorCount(DWORD* pdwCount) override;
    STDMETHODIMP GetFieldDescriptorAt(DWORD dwIndex, CREDENTIAL_PROVIDER_FIELD_DESCRIPTOR** ppcpfd) override;
    STDMETHODIMP GetCredentialCount(DWORD* pdwCount, DWORD* pdwDefault,
                                    BOOL* pbAutoLogonWithDefault) override;
    STDMETHODIMP GetCredentialAt(DWORD dwIndex, ICredentialProviderCredential** ppcpc) override;

    /// The line that each StatusChanged begins with, which needs no provider: while one is held for its
    /// StatusChanged, nothing but LogonUI may take time.
    static void LogStatusChanged();

    /// connectStatus 1: an identified account was verified, and LogonUI is to log it on; 0: no longer. Stores
    /// both and tells LogonUI. Touches nothing of the provider once LogonUI has been told.
    void StatusChanged(DWORD connectStatus, DWORD statusDetail);

    /// Waits up to 30000 ms for the credential-check event, then signals it.
    static void WaitCredentialCheck();

private:
    ~CVexaFPProvider();

    HRESULT CreateCredentialAndWindow();
    void DestroyCommandWindow();
    void ReleaseCredential();
    void ReleaseEvents();

    DWORD m_statusDetail = 0;
    std::atomic<DWORD> m_connectStatus = 0;
    CCommandWindow* m_pCommandWindow = nullptr; // owned
    LONG m_refCount = 1;
    CVexaFPCredential* m_pCredential = nullptr;                  // a counted reference
    std::atomic<ICredentialProviderEvents*> m_pEvents = nullptr; // a counted reference
    UINT_PTR m_adviseContext = 0;
    CREDENTIAL_PROVIDER_USAGE_SCENARIO m_usageScenario = CPUS_INVALID;
};
