#include "EventsSink.h"

#include "ServiceClient/ServiceControl.h"

#include <utility>

STDMETHODIMP EventsSink::QueryInterface(REFIID iid, void** object)
{
    if (object == nullptr)
        return E_POINTER;
    *object = nullptr;
    if (iid != IID_IUnknown && iid != IID_ICredentialProviderEvents)
        return E_NOINTERFACE;
    *object = static_cast<ICredentialProviderEvents*>(this);
    AddRef();
    return S_OK;
}

STDMETHODIMP EventsSink::CredentialsChanged(UINT_PTR context)
{
    // First of all: the time it took the provider to get here is measured up to this moment.
    const long long stamp = ServiceClient::Now();
    {
        CriticalSectionScope scope(m_lock);
        m_changes.push_back({stamp, GetCurrentThreadId(), context, m_unadvised});
    }
    SetEvent(m_activity);
    return S_OK;
}

std::vector<CredentialsChange> EventsSink::Take()
{
    CriticalSectionScope scope(m_lock);
    return std::exchange(m_changes, {});
}

void EventsSink::SetUnadvised()
{
    CriticalSectionScope scope(m_lock);
    m_unadvised = true;
}
