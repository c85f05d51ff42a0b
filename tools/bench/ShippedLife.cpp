#include "Life.h"

#include "PlainAnswers.h"
#include "WindowsModel/ImportHooks.h"

#include <credentialprovider.h>

namespace {

Signals* g_signals = nullptr;

constexpr CLSID ProviderClass = {
    0x0ce326a8, 0xc767, 0x433f, {0x82, 0xb9, 0x60, 0x1b, 0x2a, 0x27, 0x32, 0x1e}};

class Sink final : public ICredentialProviderEvents {
public:
    STDMETHODIMP QueryInterface(REFIID /*riid*/, void** ppv) override
    {
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP CredentialsChanged(UINT_PTR /*context*/) override
    {
        g_signals->announced.Raise();
        return S_OK;
    }
};

Sink g_sink;

/// Windows' own, with a note of the time.
BOOL StampedEndPaint(HWND window, const PAINTSTRUCT* paint)
{
    const BOOL ended = EndPaint(window, paint);
    g_signals->painted.Raise();
    return ended;
}

/// Stays loaded, and its imports replaced, from the first life to the end of the program.
IClassFactory* Factory()
{
    static IClassFactory* factory = nullptr;
    if (factory != nullptr)
        return factory;
    const HMODULE module = LoadLibraryW(L"VexaFPCredentialProvider.dll");
    Require(module != nullptr, "the DLL does not load");
    static WindowsModel::ImportHooks hooks(module);
    using Result = WindowsModel::ImportHooks::Result;
    Require(hooks.Replace("LogonUserExW", PlainLogonUserExW) == Result::Replaced &&
                hooks.Replace("CredIsProtectedW", PlainCredIsProtectedW) == Result::Replaced &&
                hooks.Replace("CredProtectW", PlainCredProtectW) == Result::Replaced &&
                hooks.Replace("LsaLookupAuthenticationPackage", PlainLsaLookupAuthenticationPackage) ==
                    Result::Replaced &&
                hooks.Replace("EndPaint", StampedEndPaint) == Result::Replaced,
            "an import of the DLL could not be replaced");
    const auto getClassObject = reinterpret_cast<LPFNGETCLASSOBJECT>(
        reinterpret_cast<void*>(GetProcAddress(module, "DllGetClassObject")));
    Require(getClassObject(ProviderClass, IID_IClassFactory, reinterpret_cast<void**>(&factory)) == S_OK,
            "the DLL has no class factory");
    return factory;
}

class ShippedLife final : public Life {
public:
    void Create() override
    {
        const HRESULT created = m_factory->CreateInstance(nullptr, IID_ICredentialProvider,
                                                          reinterpret_cast<void**>(&m_provider));
        Require(created == S_OK, "the creation gate refused");
    }

    void Start() override
    {
        Require(m_provider->SetUsageScenario(CPUS_LOGON, 0) == S_OK, "SetUsageScenario failed");
        m_provider->Advise(&g_sink, 0);
        m_provider->GetCredentialAt(0, &m_credential);
    }

    void Serialize() override
    {
        CREDENTIAL_PROVIDER_GET_SERIALIZATION_RESPONSE response{};
        CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION serialization{};
        const HRESULT result = m_credential->GetSerialization(&response, &serialization, nullptr, nullptr);
        Require(result == S_OK, "GetSerialization failed");
        CoTaskMemFree(serialization.rgbSerialization);
    }

    // The one method that does nothing but to log that it was called.
    void LogLine() override { m_credential->SetDeselected(); }

    void Release() override
    {
        m_credential->Release();
        m_provider->UnAdvise();
        Require(m_provider->Release() == 0, "the provider is still in use");
    }

    void AwaitEnd() override
    {
        for (int i = 0; Window() != nullptr; ++i) {
            Require(i < 10000, "the provider's window stays");
            Sleep(1);
        }
        Sleep(5); // its thread has yet to return
    }

    HWND Window() const override { return FindWindowW(L"EventWindow", nullptr); }

private:
    IClassFactory* const m_factory = Factory();
    ICredentialProvider* m_provider = nullptr;
    ICredentialProviderCredential* m_credential = nullptr;
};

} // namespace

std::unique_ptr<Life> MakeShippedLife(Signals& signals)
{
    g_signals = &signals;
    return std::make_unique<ShippedLife>();
}
