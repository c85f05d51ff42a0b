// What the logon screen hands to Advise: the sinks through which provider and credential speak up.
#pragma once

#include "Transcript.h"

#include <credentialprovider.h>

#include <utility>
#include <vector>

/// The screen owns its sinks itself, so the count never frees anything: it tells whether the provider has let
/// go.
template <class Interface, const IID& Id>
class Sink : public Interface {
public:
    STDMETHODIMP QueryInterface(REFIID iid, void** object) override
    {
        if (object == nullptr)
            return E_POINTER;
        *object = iid == IID_IUnknown || iid == Id ? static_cast<Interface*>(this) : nullptr;
        if (*object == nullptr)
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return static_cast<ULONG>(InterlockedIncrement(&m_held)); }
    STDMETHODIMP_(ULONG) Release() override { return static_cast<ULONG>(InterlockedDecrement(&m_held)); }

    /// References that the provider still holds.
    LONG Held() const { return m_held; }

protected:
    ~Sink() = default;

private:
    LONG m_held = 0;
};

/// One CredentialsChanged, as it came.
struct CredentialsChange {
    long long stamp; ///< ServiceClient::Now() at entry
    DWORD thread;
    UINT_PTR context;
    bool afterUnAdvise;
};

/// May be called on any thread of the provider. It records the call and wakes LogonUI's thread, which does
/// the rest: asking the provider back from inside the call would run it on a thread it does not expect.
class EventsSink final : public Sink<ICredentialProviderEvents, IID_ICredentialProviderEvents> {
public:
    /// `activity` is an event that LogonUI's thread waits on.
    explicit EventsSink(HANDLE activity) : m_activity(activity) {}

    STDMETHODIMP CredentialsChanged(UINT_PTR context) override
    {
        // First of all: the time it took the provider to get here is measured up to this moment.
        const long long stamp = ServiceClient::Now();
        {
            const CriticalSectionScope scope(m_lock);
            m_changes.push_back({stamp, GetCurrentThreadId(), context, m_unadvised});
        }
        SetEvent(m_activity);
        return S_OK;
    }

    std::vector<CredentialsChange> Take()
    {
        const CriticalSectionScope scope(m_lock);
        return std::exchange(m_changes, {});
    }
    void SetUnadvised()
    {
        const CriticalSectionScope scope(m_lock);
        m_unadvised = true;
    }

private:
    HANDLE m_activity;
    CriticalSection m_lock;
    std::vector<CredentialsChange> m_changes;
    bool m_unadvised = false;
};

/// The tile of this provider never changes, so every call of its credential is a violation.
class CredentialSink final
    : public Sink<ICredentialProviderCredentialEvents, IID_ICredentialProviderCredentialEvents> {
public:
    explicit CredentialSink(Transcript& log) : m_log(log) {}

    STDMETHODIMP SetFieldState(ICredentialProviderCredential*, DWORD,
                               CREDENTIAL_PROVIDER_FIELD_STATE) override
    {
        return Violation(L"SetFieldState");
    }
    STDMETHODIMP SetFieldInteractiveState(ICredentialProviderCredential*, DWORD,
                                          CREDENTIAL_PROVIDER_FIELD_INTERACTIVE_STATE) override
    {
        return Violation(L"SetFieldInteractiveState");
    }
    STDMETHODIMP SetFieldString(ICredentialProviderCredential*, DWORD, LPCWSTR) override
    {
        return Violation(L"SetFieldString");
    }
    STDMETHODIMP SetFieldCheckbox(ICredentialProviderCredential*, DWORD, BOOL, LPCWSTR) override
    {
        return Violation(L"SetFieldCheckbox");
    }
    STDMETHODIMP SetFieldBitmap(ICredentialProviderCredential*, DWORD, HBITMAP) override
    {
        return Violation(L"SetFieldBitmap");
    }
    STDMETHODIMP SetFieldComboBoxSelectedItem(ICredentialProviderCredential*, DWORD, DWORD) override
    {
        return Violation(L"SetFieldComboBoxSelectedItem");
    }
    STDMETHODIMP DeleteFieldComboBoxItem(ICredentialProviderCredential*, DWORD, DWORD) override
    {
        return Violation(L"DeleteFieldComboBoxItem");
    }
    STDMETHODIMP AppendFieldComboBoxItem(ICredentialProviderCredential*, DWORD, LPCWSTR) override
    {
        return Violation(L"AppendFieldComboBoxItem");
    }
    STDMETHODIMP SetFieldSubmitButton(ICredentialProviderCredential*, DWORD, DWORD) override
    {
        return Violation(L"SetFieldSubmitButton");
    }
    STDMETHODIMP OnCreatingWindow(HWND*) override { return Violation(L"OnCreatingWindow"); }

private:
    HRESULT Violation(const wchar_t* method)
    {
        m_log.Violation(Format(L"the credential called ICredentialProviderCredentialEvents::%s", method));
        return S_OK;
    }

    Transcript& m_log;
};
