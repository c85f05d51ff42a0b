#include "ClassFactory.h"

#include "Module.h"

#include <shlwapi.h>

#include <cstdio>
#include <new>

namespace {

void WriteDebugCount(LONG count)
{
    char text[256];
    std::snprintf(text, sizeof text, "VEXA CredPro,%d", static_cast<int>(count));
    OutputDebugStringA(text);
}

} // namespace

HRESULT GetProviderClassObject(REFCLSID rclsid, REFIID riid, void** ppv)
{
    if (ppv == nullptr)
        return E_POINTER;
    *ppv = nullptr;
    if (rclsid != CLSID_VexaFPCredentialProvider)
        return CLASS_E_CLASSNOTAVAILABLE;
    auto* factory = new (std::nothrow) CClassFactory;
    if (factory == nullptr)
        return E_OUTOFMEMORY;
    const HRESULT result = factory->QueryInterface(riid, ppv);
    factory->Release();
    return result;
}

STDMETHODIMP CClassFactory::QueryInterface(REFIID riid, void** ppv)
{
    static const QITAB interfaces[] = {
        QITABENT(CClassFactory, IClassFactory),
        {nullptr, 0},
    };
    return QISearch(this, interfaces, riid, ppv);
}

STDMETHODIMP_(ULONG) CClassFactory::AddRef()
{
    WriteDebugCount(m_cRef + 1);
    return InterlockedIncrement(&m_cRef);
}

STDMETHODIMP_(ULONG) CClassFactory::Release()
{
    WriteDebugCount(m_cRef - 1);
    const LONG count = InterlockedDecrement(&m_cRef);
    if (count == 0)
        delete this;
    return count;
}

STDMETHODIMP CClassFactory::CreateInstance(IUnknown* pUnkOuter, REFIID riid, void** ppv)
{
    if (ppv == nullptr)
        return E_POINTER;
    *ppv = nullptr;
    if (pUnkOuter != nullptr)
        return CLASS_E_NOAGGREGATION;
    OutputDebugStringA("VEXACredential Provider CreateInstance");
    return CSample_CreateInstance(riid, ppv);
}

STDMETHODIMP CClassFactory::LockServer(BOOL fLock)
{
    if (fLock)
        DllAddRef();
    else
        DllRelease();
    return S_OK;
}
