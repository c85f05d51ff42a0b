// The sink through which a credential changes the fields of its own tile.
#pragma once

#include "SinkReferences.h"
#include "Tile.h"
#include "base/CriticalSection.h"

#include <functional>
#include <string>
#include <vector>

/// One call of the credential: what it said, and what it does to the tile on LogonUI's thread.
struct TileChange {
    std::wstring text;
    std::function<void(Tile&)> apply;
};

class CredentialSink final : public ICredentialProviderCredentialEvents {
public:
    CredentialSink(HANDLE activity, HWND owner) : m_activity(activity), m_owner(owner) {}

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override;
    STDMETHODIMP_(ULONG) AddRef() override { return m_references.Add(); }
    STDMETHODIMP_(ULONG) Release() override { return m_references.Drop(); }

    STDMETHODIMP SetFieldState(ICredentialProviderCredential*, DWORD,
                               CREDENTIAL_PROVIDER_FIELD_STATE) override;
    STDMETHODIMP SetFieldInteractiveState(ICredentialProviderCredential*, DWORD,
                                          CREDENTIAL_PROVIDER_FIELD_INTERACTIVE_STATE) override;
    STDMETHODIMP SetFieldString(ICredentialProviderCredential*, DWORD, LPCWSTR) override;
    STDMETHODIMP SetFieldCheckbox(ICredentialProviderCredential*, DWORD, BOOL, LPCWSTR) override;
    STDMETHODIMP SetFieldBitmap(ICredentialProviderCredential*, DWORD, HBITMAP) override;
    STDMETHODIMP SetFieldComboBoxSelectedItem(ICredentialProviderCredential*, DWORD, DWORD) override;
    STDMETHODIMP DeleteFieldComboBoxItem(ICredentialProviderCredential*, DWORD, DWORD) override;
    STDMETHODIMP AppendFieldComboBoxItem(ICredentialProviderCredential*, DWORD, LPCWSTR) override;
    STDMETHODIMP SetFieldSubmitButton(ICredentialProviderCredential*, DWORD, DWORD) override;
    STDMETHODIMP OnCreatingWindow(HWND* owner) override;

    std::vector<TileChange> Take();
    LONG HeldByProvider() const { return m_references.HeldByProvider(); }

private:
    HRESULT Record(std::wstring text, std::function<void(Tile&)> apply = nullptr);

    HANDLE m_activity;
    HWND m_owner;
    SinkReferences m_references;
    CriticalSection m_lock;
    std::vector<TileChange> m_changes;
};
