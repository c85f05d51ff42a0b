#include "VexaFPProvider.h"

#include "Binding.h"
#include "CommandWindow/CommandWindow.h"
#include "EventLog.h"
#include "Events.h"
#include "LogFile.h"
#include "Module.h"
#include "SehGuard.h"
#include "VexaFPCredential.h"

#include <shlwapi.h>

#include <new>

namespace {

constexpr char LogSource[] = "VexaFPProvider.cpp";

} // namespace

CVexaFPProvider::CVexaFPProvider()
{
    constexpr char label[] = "CVexaFPProvider::CVexaFPProvider";
    g_Log.SetLogDir("C:\\CPLog");
    FP_LOG(label, L"g_evnetCreSer = 0x%x", HandleForLog(g_evnetCreSer));
    if (g_evnetCreSer == nullptr)
        g_evnetCreSer = createCredetialSeviceEvent();
    DllAddRef();
    FP_LOG(label, L"break 1");
    FP_LOG(label, L"End");
    if (Guarded([] { UnbindFPService(); }).raised)
        FP_LOG(label, L"RpcTryExcept");
}

// m_pEvents is not released: LogonUI is expected to have called UnAdvise.
CVexaFPProvider::~CVexaFPProvider()
{
    OutputDebugStringA("VEXA CredPro ~CVexaFPProvider");
    FP_LOG("CVexaFPProvider::~CVexaFPProvider", L"~CVexaFPProvider()");
    // The window's thread fills the credential and reports to the provider: neither may go under its feet.
    if (m_pCommandWindow != nullptr)
        m_pCommandWindow->DetachOwner();
    ReleaseCredential();
    DestroyCommandWindow();
    ReleaseCredentialServiceEvent();
    DllRelease();
}

STDMETHODIMP CVexaFPProvider::QueryInterface(REFIID riid, void** ppv)
{
    static const QITAB interfaces[] = {
        QITABENT(CVexaFPProvider, ICredentialProvider),
        {nullptr, 0},
    };
    return QISearch(this, interfaces, riid, ppv);
}

STDMETHODIMP_(ULONG) CVexaFPProvider::AddRef()
{
    return ++m_refCount;
}

STDMETHODIMP_(ULONG) CVexaFPProvider::Release()
{
    const LONG count = --m_refCount;
    if (count == 0)
        delete this;
    return count;
}

STDMETHODIMP CVexaFPProvider::SetUsageScenario(CREDENTIAL_PROVIDER_USAGE_SCENARIO cpus, DWORD /*dwFlags*/)
{
    constexpr char label[] = "CVexaFPProvider::SetUsageScenario";
    FP_LOG(label, L" Start");
    FP_LOG(label, L" cpus=%d", static_cast<int>(cpus));
    HRESULT result = S_OK;
    switch (cpus) {
    case CPUS_LOGON:
        FP_LOG(label, L"CPUS_LOGON");
        [[fallthrough]]; // a logon writes both lines: deliberate
    case CPUS_UNLOCK_WORKSTATION:
        FP_LOG(label, L"CPUS_UNLOCK_WORKSTATION");
        m_usageScenario = cpus;
        // The first credential and window serve for the provider's whole life, whatever is set later.
        if (m_pCredential == nullptr && m_pCommandWindow == nullptr)
            result = CreateCredentialAndWindow();
        break;
    case CPUS_CHANGE_PASSWORD:
    case CPUS_CREDUI:
        result = E_NOTIMPL;
        break;
    default:
        result = E_INVALIDARG;
        break;
    }
    FP_LOG(label, L"SetUsageScenario End");
    return result;
}

HRESULT CVexaFPProvider::CreateCredentialAndWindow()
{
    HRESULT result = E_OUTOFMEMORY;
    m_pCredential = new (std::nothrow) CVexaFPCredential;
    if (m_pCredential != nullptr) {
        m_pCredential->SetProvider(this);
        m_pCommandWindow = new (std::nothrow) CCommandWindow;
    }
    if (m_pCommandWindow != nullptr) {
        m_pCommandWindow->SetCredential(m_pCredential);
        result = m_pCommandWindow->Initialize(this);
        if (SUCCEEDED(result))
            result = m_pCredential->Initialize(m_usageScenario, g_FieldDescriptors, g_FieldStatePairs,
                                               L"FingerPrint");
    }
    if (FAILED(result)) {
        // The window releases its provider without ever having added a reference. Here the provider lives on,
        // so that one is added for it.
        if (m_pCommandWindow != nullptr)
            AddRef();
        DestroyCommandWindow();
        ReleaseCredential();
    }
    return result;
}

void CVexaFPProvider::DestroyCommandWindow()
{
    if (m_pCommandWindow != nullptr)
        m_pCommandWindow->Destroy();
    m_pCommandWindow = nullptr;
}

void CVexaFPProvider::ReleaseCredential()
{
    if (m_pCredential != nullptr)
        m_pCredential->Release();
    m_pCredential = nullptr;
}

STDMETHODIMP CVexaFPProvider::SetSerialization(const CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION* /*pcpcs*/)
{
    return E_NOTIMPL;
}

STDMETHODIMP CVexaFPProvider::Advise(ICredentialProviderEvents* pcpe, UINT_PTR upAdviseContext)
{
    FP_LOG("CVexaFPProvider::Advise", L"Advise");
    ReleaseEvents();
    // The window's thread may look at any moment: it sees the sink last, complete with reference and context.
    pcpe->AddRef();
    m_adviseContext = upAdviseContext;
    m_pEvents = pcpe;
    return S_OK;
}

STDMETHODIMP CVexaFPProvider::UnAdvise()
{
    ReleaseEvents();
    FP_LOG("CVexaFPProvider::UnAdvise", L"UnAdvise");
    return S_OK;
}

void CVexaFPProvider::ReleaseEvents()
{
    ICredentialProviderEvents* const events = m_pEvents.exchange(nullptr);
    if (events != nullptr)
        events->Release();
}

STDMETHODIMP CVexaFPProvider::GetFieldDescriptorCount(DWORD* pdwCount)
{
    *pdwCount = FIELD_COUNT;
    return S_OK;
}

STDMETHODIMP CVexaFPProvider::GetFieldDescriptorAt(DWORD dwIndex,
                                                   CREDENTIAL_PROVIDER_FIELD_DESCRIPTOR** ppcpfd)
{
    FP_LOG("CVexaFPProvider::GetFieldDescriptorAt", L"Start");
    if (dwIndex >= FIELD_COUNT || ppcpfd == nullptr)
        return E_INVALIDARG;
    return FieldDescriptorCoAllocCopy(g_FieldDescriptors[dwIndex], ppcpfd);
}

STDMETHODIMP CVexaFPProvider::GetCredentialCount(DWORD* pdwCount, DWORD* pdwDefault,
                                                 BOOL* pbAutoLogonWithDefault)
{
    FP_LOG("CVexaFPProvider::GetCredentialCount", L"Start");
    *pdwCount = 1;
    const DWORD status = m_connectStatus; // read once: both answers are to say the same
    *pdwDefault = status == 1 ? 0 : CREDENTIAL_PROVIDER_NO_DEFAULT;
    *pbAutoLogonWithDefault = static_cast<BOOL>(status);
    return S_OK;
}

STDMETHODIMP CVexaFPProvider::GetCredentialAt(DWORD dwIndex, ICredentialProviderCredential** ppcpc)
{
    FP_LOG("CVexaFPProvider::GetCredentialAt", L"Start");
    if (dwIndex != 0)
        return E_INVALIDARG;
    return m_pCredential->QueryInterface(IID_ICredentialProviderCredential, reinterpret_cast<void**>(ppcpc));
}

void CVexaFPProvider::LogStatusChanged()
{
    FP_LOG("CVexaFPProvider::StatusChanged", L"Start");
}

void CVexaFPProvider::StatusChanged(DWORD connectStatus, DWORD statusDetail)
{
    m_statusDetail = statusDetail;
    m_connectStatus = connectStatus;
    // Read once: LogonUI may take its sink back on its own thread meanwhile.
    ICredentialProviderEvents* const events = m_pEvents;
    if (events != nullptr)
        events->CredentialsChanged(m_adviseContext);
}

void CVexaFPProvider::WaitCredentialCheck()
{
    constexpr DWORD waitLimit = 30000; // ms
    // Not closed: the event stays for whoever looks for it.
    HANDLE event = OpenEventA(EVENT_ALL_ACCESS, FALSE, STR_CREDENTIAL_CHECK);
    if (event == nullptr) {
        SECURITY_ATTRIBUTES everyone = GetSecurityEveryOne();
        event = CreateEventA(&everyone, TRUE, FALSE, STR_CREDENTIAL_CHECK);
    }
    if (event == nullptr)
        ReportFPEvent(L"WaitCredentialCheck null");
    WaitForSingleObject(event, waitLimit);
    SetEvent(event);
}
