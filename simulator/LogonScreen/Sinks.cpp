#include "Sinks.h"

#include "ServiceClient/ServiceControl.h"

#include <utility>

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

HRESULT CredentialSink::Violation(const wchar_t* method)
{
    m_log.Violation(Format(L"the credential called ICredentialProviderCredentialEvents::%s", method));
    return S_OK;
}
