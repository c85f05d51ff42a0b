// The class factory through which LogonUI gets the provider.
#pragma once

#include <windows.h>

#include <unknwn.h>

/// What DllGetClassObject answers: *ppv receives one reference, or null with a failed result.
HRESULT GetProviderClassObject(REFCLSID rclsid, REFIID riid, void** ppv);

/// Decides whether a fingerprint tile is offered and constructs the provider. On success *ppv receives the
/// only reference. Anything but ICredentialProvider is answered with E_OUTOFMEMORY.
HRESULT CSample_CreateInstance(REFIID riid, void** ppv);

class CClassFactory final : public IClassFactory {
public:
    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) AddRef() override;
    STDMETHODIMP_(ULONG) Release() override;
    STDMETHODIMP CreateInstance(IUnknown* pUnkOuter, REFIID riid, void** ppv) override;
    STDMETHODIMP LockServer(BOOL fLock) override;

private:
    LONG m_cRef = 1;
};
