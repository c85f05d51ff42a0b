#include "Life.h"

#include "WindowsModel/ImportHooks.h"

#include <credentialprovider.h>

namespace {

Direction* g_direction = nullptr;
ICredentialProvider* g_provider = nullptr;
ICredentialProviderCredential* g_credential = nullptr;

struct Sink final : ICredentialProviderEvents {
    STDMETHODIMP QueryInterface(REFIID /*riid*/, void** /*ppv*/) override { return E_NOINTERFACE; }
    STDMETHODIMP_(ULONG) AddRef() override { return 2; }
    STDMETHODIMP_(ULONG) Release() override { return 1; }
    STDMETHODIMP CredentialsChanged(UINT_PTR /*context*/) override
    {
        g_direction->announced.Raise();
        return S_OK;
    }
};

BOOL StampedEndPaint(HWND window, const PAINTSTRUCT* paint)
{
    const BOOL ended = EndPaint(window, paint);
    g_direction->painted.Raise();
    return ended;
}

/// Stays loaded, with five imports replaced, from the first life to the end of the program.
IClassFactory* LoadFactory()
{
    const HMODULE module = LoadLibraryW(L"VexaFPCredentialProvider.dll");
    Require(module != nullptr, "the DLL does not load");
    static WindowsModel::ImportHooks hooks(module);
    using Result = WindowsModel::ImportHooks::Result;
    for (const Result result :
         {hooks.Replace("LogonUserExW", PlainLogonUserExW),
          hooks.Replace("CredIsProtectedW", PlainCredIsProtectedW),
          hooks.Replace("CredProtectW", PlainCredProtectW), hooks.Replace("EndPaint", StampedEndPaint),
          hooks.Replace("LsaLookupAuthenticationPackage", PlainLsaLookupAuthenticationPackage)})
        Require(result == Result::Replaced, "an import of the DLL could not be replaced");
    const auto getClassObject = reinterpret_cast<LPFNGETCLASSOBJECT>(
        reinterpret_cast<void*>(GetProcAddress(module, "DllGetClassObject")));
    constexpr CLSID provider = {0x0ce326a8, 0xc767, 0x433f, {0x82, 0xb9, 0x60, 0x1b, 0x2a, 0x27, 0x32, 0x1e}};
    IClassFactory* factory = nullptr;
    Require(getClassObject(provider, IID_IClassFactory, reinterpret_cast<void**>(&factory)) == S_OK,
            "the DLL has no class factory");
    return factory;
}

void Create(Direction& direction)
{
    g_direction = &direction;
    static IClassFactory* const factory = LoadFactory();
    Require(factory->CreateInstance(nullptr, IID_ICredentialProvider,
                                    reinterpret_cast<void**>(&g_provider)) == S_OK,
            "the creation gate refused");
}

void Start()
{
    static Sink sink;
    Require(g_provider->SetUsageScenario(CPUS_LOGON, 0) == S_OK, "SetUsageScenario failed");
    g_provider->Advise(&sink, 0);
    g_provider->GetCredentialAt(0, &g_credential);
}

void Serialize()
{
    CREDENTIAL_PROVIDER_GET_SERIALIZATION_RESPONSE response{};
    CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION logon{};
    Require(g_credential->GetSerialization(&response, &logon, nullptr, nullptr) == S_OK,
            "GetSerialization failed");
    CoTaskMemFree(logon.rgbSerialization);
}

// The one method that does nothing but to log that it was called.
void LogLine()
{
    g_credential->SetDeselected();
}

void Release()
{
    g_credential->Release();
    g_provider->UnAdvise();
    Require(g_provider->Release() == 0, "the provider is still in use");
}

void AwaitEnd()
{
    for (int i = 0; FindWindowW(L"EventWindow", nullptr) != nullptr; ++i) {
        Require(i < 10000, "the provider's window stays");
        Sleep(1);
    }
    Sleep(5); // its thread has yet to return
}

} // namespace

const Life g_shippedLife = {Create, Start, Serialize, LogLine, Release, AwaitEnd};
