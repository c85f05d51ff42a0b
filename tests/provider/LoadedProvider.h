// The DLL that ships, loaded from beside the test program into a simulated Windows.
#pragma once

#include "FitMachine/Fitness.h"
#include "WindowsModel/SimulatedWindows.h"

#include <credentialprovider.h>

#include <doctest/doctest.h>

#include <memory>

constexpr CLSID ProviderClass = {
    0x0CE326A8, 0xC767, 0x433F, {0x82, 0xB9, 0x60, 0x1B, 0x2A, 0x27, 0x32, 0x1E}};
constexpr char ServiceEventName[] = "Global\\{D3368B8A-2EA4-49d7-A2B0-6F711BAD3DB9}";

using DebugTexts = std::vector<std::string>;

struct Releaser {
    void operator()(IUnknown* object) const { object->Release(); }
};
template <class Interface>
using Owned = std::unique_ptr<Interface, Releaser>;

/// One life of the DLL, on a machine fit for its tile but without a fingerprint service, where time runs a
/// hundred times faster. Its end checks that nothing is left behind.
class LoadedProvider {
public:
    LoadedProvider();
    ~LoadedProvider();
    LoadedProvider(const LoadedProvider&) = delete;
    LoadedProvider& operator=(const LoadedProvider&) = delete;

    HRESULT GetClassObject(REFCLSID clsid, REFIID riid, void** ppv) const;
    HRESULT CanUnloadNow() const;
    Owned<IClassFactory> Factory() const;
    Owned<ICredentialProvider> Create() const;
    /// What the provider must offer after a scenario was set.
    static Owned<ICredentialProviderCredential> CredentialOf(ICredentialProvider& provider);

    WindowsModel::SimulatedWindows::Locked operator->() const { return windows.Lock(); }
    void FailNext(const char* function, DWORD code, unsigned times = 1) const
    {
        REQUIRE(windows.FailNext(function, code, 0, times));
    }
    /// Lets the DLL's next allocation of `from` to `to` bytes on this thread fail.
    void FailNextAllocation(size_t from, size_t to);
    /// The prompt that a machine without a fingerprint service ends with; the workers have come to rest then.
    bool WaitForSensorFailed() const { return !!windows.WaitForPrompt(L"Fingerprint sensor failed.", 20000); }
    DebugTexts TakeDebugTexts() const;

    WindowsModel::SimulatedWindows& windows = WindowsModel::SimulatedWindows::Instance();
    WindowsModel::ImportHooks hooks;
    FitMachine::Scope fitness;
};

inline HWND PromptWindow()
{
    return FindWindowW(L"EventWindow", nullptr);
}

/// A sink that counts its references.
template <class Interface>
struct CountingSink : Interface {
    STDMETHODIMP QueryInterface(REFIID, void**) override { return E_NOINTERFACE; }
    STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
    STDMETHODIMP_(ULONG) Release() override { return --references; }
    ULONG references = 0;
};
