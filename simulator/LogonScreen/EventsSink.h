// The sink through which the provider announces that its credentials have changed.
#pragma once

#include "SinkReferences.h"
#include "base/CriticalSection.h"

#include <credentialprovider.h>

#include <vector>

/// One CredentialsChanged, as it came.
struct CredentialsChange {
    long long stamp; ///< ServiceClient::Now() at entry
    DWORD thread;
    UINT_PTR context;
    bool afterUnAdvise;
};

/// May be called on any thread of the provider. It records the call and wakes LogonUI's thread, which does
/// the rest: asking the provider back from inside the call would run it on a thread it does not expect.
class EventsSink final : public ICredentialProviderEvents {
public:
    /// `activity` is an event that LogonUI's thread waits on.
    explicit EventsSink(HANDLE activity) : m_activity(activity) {}

    STDMETHODIMP QueryInterface(REFIID iid, void** object) override;
    STDMETHODIMP_(ULONG) AddRef() override { return m_references.Add(); }
    STDMETHODIMP_(ULONG) Release() override { return m_references.Drop(); }
    STDMETHODIMP CredentialsChanged(UINT_PTR context) override;

    std::vector<CredentialsChange> Take();
    void SetUnadvised();
    LONG HeldByProvider() const { return m_references.HeldByProvider(); }

private:
    HANDLE m_activity;
    SinkReferences m_references;
    CriticalSection m_lock;
    std::vector<CredentialsChange> m_changes;
    bool m_unadvised = false;
};
