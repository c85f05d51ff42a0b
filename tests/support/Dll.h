// The DLL that ships, loaded from beside the test program into a simulated Windows, and what its COM
// interfaces are asked again and again.
#pragma once

#include "Handle.h"
#include "WindowsModel/PackedLogon.h"
#include "WindowsModel/SimulatedWindows.h"

#include <credentialprovider.h>

#include <doctest/doctest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

constexpr DWORD Patience = 30000; // ms; the bound of every wait in these tests

constexpr CLSID ProviderClass = {
    0x0CE326A8, 0xC767, 0x433F, {0x82, 0xB9, 0x60, 0x1B, 0x2A, 0x27, 0x32, 0x1E}};
constexpr wchar_t ServiceEventName[] = L"Global\\{D3368B8A-2EA4-49d7-A2B0-6F711BAD3DB9}";

using Texts = std::vector<std::wstring>;
using DebugTexts = std::vector<std::string>;

struct Releaser {
    void operator()(IUnknown* object) const { object->Release(); }
};
template <class Interface>
using Owned = std::unique_ptr<Interface, Releaser>;

/// True once `holds()` does.
bool Await(const std::function<bool()>& holds);

class Dll {
public:
    /// Another one loaded at the same time is the same module, and hooked already.
    Dll();
    /// Gives the module back, and checks that no password is left in what it has freed.
    ~Dll();
    Dll(const Dll&) = delete;
    Dll& operator=(const Dll&) = delete;

    HRESULT GetClassObject(REFCLSID clsid, REFIID riid, void** ppv) const;
    HRESULT CanUnloadNow() const;
    Owned<IClassFactory> Factory() const;
    /// Null when the creation is refused.
    Owned<ICredentialProvider> TryCreate(HRESULT* result) const;
    Owned<ICredentialProvider> Create() const;
    /// Gives the module back; true when it goes.
    bool Unload();

    WindowsModel::SimulatedWindows::Locked operator->() const { return windows.Lock(); }
    void FailNext(const char* function, DWORD code, unsigned times = 1, unsigned skip = 0) const
    {
        REQUIRE(windows.FailNext(function, code, skip, times));
    }
    /// What was told the debugger since the last time.
    DebugTexts TakeDebugTexts() const;
    /// Lets the DLL's next allocation of `from` to `to` bytes on this thread fail.
    static void FailNextAllocation(size_t from, size_t to);

    WindowsModel::SimulatedWindows& windows = WindowsModel::SimulatedWindows::Instance();

private:
    bool m_loaded = true;

public:
    WindowsModel::ImportHooks hooks;
};

/// What the provider offers.
struct Offer {
    DWORD count, preferred;
    BOOL autoLogon;
    bool operator==(const Offer&) const = default;
};
constexpr Offer NoDefault = {1, 0xFFFFFFFF, FALSE};
constexpr Offer AutoLogon = {1, 0, TRUE};
Offer OfferOf(ICredentialProvider& provider);

Owned<ICredentialProviderCredential> CredentialOf(ICredentialProvider& provider);

/// The logon that the tile hands out, which must be packed as it should be.
WindowsModel::PackedLogon LogonOf(ICredentialProviderCredential& credential,
                                  CREDENTIAL_PROVIDER_USAGE_SCENARIO scenario);

/// The prompt window, or the next one behind another; null when there is none.
HWND FindEventWindow(HWND after = nullptr);

/// Does anybody hold the credential-service event?
bool IsServiceEventOpen();

/// A sink that counts its references.
template <class Interface>
struct CountingSink : Interface {
    STDMETHODIMP QueryInterface(REFIID, void** ppv) override
    {
        *ppv = nullptr;
        return E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
    STDMETHODIMP_(ULONG) Release() override { return --references; }
    std::atomic<ULONG> references = 0;
};

/// Writes down what the provider announces, on the thread that does so.
struct EventsSink : CountingSink<ICredentialProviderEvents> {
    STDMETHODIMP CredentialsChanged(UINT_PTR context) override;
    /// Waits until that many announcements were made in all.
    bool WaitFor(long count) const;

    /// Asked for its offer within each announcement.
    ICredentialProvider* provider = nullptr;
    /// Called within each announcement.
    std::function<void()> during;
    std::vector<UINT_PTR> contexts;
    std::vector<Offer> offers;
    std::atomic<long> changes = 0;
};
