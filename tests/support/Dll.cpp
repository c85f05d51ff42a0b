#include "Dll.h"

#include <malloc.h>
#include <objbase.h>

#include <algorithm>
#include <string_view>
#include <utility>

namespace {

constexpr wchar_t FileName[] = L"VexaFPCredentialProvider.dll";

struct {
    DWORD thread;
    size_t from, to;
} g_noMemory;
void* (*g_malloc)(size_t);

void* FailingMalloc(size_t size)
{
    if (GetCurrentThreadId() != g_noMemory.thread || size < g_noMemory.from || size > g_noMemory.to)
        return g_malloc(size);
    g_noMemory = {};
    return nullptr;
}

std::atomic<long> g_secretsFreed = 0;
void (*g_free)(void*);

decltype(&CoTaskMemFree) g_coTaskMemFree;

/// Looks for the wide text "secret", which is part of all passwords in these tests.
void LookInto(const void* block, size_t size)
{
    // The credential's own block is left out: it keeps its password, deliberately.
    constexpr size_t credentialSize = 3 * 256 * sizeof(wchar_t);
    const std::wstring_view text(static_cast<const wchar_t*>(block), size / sizeof(wchar_t));
    g_secretsFreed += size < credentialSize && text.find(L"secret") != text.npos;
}

void WatchedFree(void* block)
{
    LookInto(block, block != nullptr ? _msize(block) : 0);
    g_free(block);
}

void WINAPI WatchedCoTaskMemFree(void* block)
{
    LookInto(block, block != nullptr ? HeapSize(GetProcessHeap(), 0, block) : 0);
    g_coTaskMemFree(block);
}

template <class Function>
Function Export(HMODULE module, const char* name)
{
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

} // namespace

bool Await(const std::function<bool()>& holds)
{
    // Looking costs time too, and all the more where there is little of it.
    constexpr DWORD longestPause = 50; // ms
    const ULONGLONG end = GetTickCount64() + Patience;
    for (DWORD pause = 1; !holds(); pause = std::min(2 * pause, longestPause)) {
        if (GetTickCount64() > end)
            return false;
        WindowsModel::RealSleep(pause);
    }
    return true;
}

Dll::Dll() : hooks(LoadLibraryW(FileName))
{
    REQUIRE(hooks.Module() != nullptr);
    using enum WindowsModel::ImportHooks::Result;
    decltype(g_malloc) original = nullptr;
    REQUIRE(hooks.Replace("malloc", FailingMalloc, &original) == Replaced);
    if (original == nullptr)
        return; // replaced already
    g_malloc = original;
    const WindowsModel::HookReport report = windows.Hook(hooks, WindowsModel::Group::All);
    REQUIRE(report.failed.empty());
    REQUIRE(report.Replaced("WinExec"));
    REQUIRE(hooks.Replace("free", WatchedFree, &g_free) == Replaced);
    REQUIRE(hooks.Replace("CoTaskMemFree", WatchedCoTaskMemFree, &g_coTaskMemFree) == Replaced);
}

Dll::~Dll()
{
    CHECK(g_noMemory.thread == 0);
    CHECK(g_secretsFreed == 0);
    if (m_loaded)
        FreeLibrary(hooks.Module());
    // Its threads may still run in the module: its imports stay replaced until it goes.
    hooks.Forget();
}

bool Dll::Unload()
{
    m_loaded = false;
    FreeLibrary(hooks.Module());
    return Await([] { return GetModuleHandleW(FileName) == nullptr; });
}

HRESULT Dll::GetClassObject(REFCLSID clsid, REFIID riid, void** ppv) const
{
    return Export<LPFNGETCLASSOBJECT>(hooks.Module(), "DllGetClassObject")(clsid, riid, ppv);
}

HRESULT Dll::CanUnloadNow() const
{
    return Export<LPFNCANUNLOADNOW>(hooks.Module(), "DllCanUnloadNow")();
}

Owned<IClassFactory> Dll::Factory() const
{
    void* factory = nullptr;
    REQUIRE(GetClassObject(ProviderClass, IID_IClassFactory, &factory) == S_OK);
    return Owned<IClassFactory>(static_cast<IClassFactory*>(factory));
}

Owned<ICredentialProvider> Dll::TryCreate(HRESULT* result) const
{
    void* provider = nullptr;
    *result = Factory()->CreateInstance(nullptr, IID_ICredentialProvider, &provider);
    CHECK((provider != nullptr) == (*result == S_OK));
    return Owned<ICredentialProvider>(static_cast<ICredentialProvider*>(provider));
}

Owned<ICredentialProvider> Dll::Create() const
{
    HRESULT result = E_FAIL;
    auto provider = TryCreate(&result);
    REQUIRE(result == S_OK);
    return provider;
}

DebugTexts Dll::TakeDebugTexts() const
{
    DebugTexts texts;
    const auto state = windows.Lock();
    for (const WindowsModel::DebugText& debug : std::exchange(state->texts.debug, {}))
        texts.push_back(debug.text);
    return texts;
}

void Dll::FailNextAllocation(size_t from, size_t to)
{
    g_noMemory = {GetCurrentThreadId(), from, to};
}

Offer OfferOf(ICredentialProvider& provider)
{
    Offer offer{77, 77, 77};
    provider.GetCredentialCount(&offer.count, &offer.preferred, &offer.autoLogon);
    return offer;
}

Owned<ICredentialProviderCredential> CredentialOf(ICredentialProvider& provider)
{
    ICredentialProviderCredential* credential = nullptr;
    REQUIRE(provider.GetCredentialAt(0, &credential) == S_OK);
    return Owned<ICredentialProviderCredential>(credential);
}

WindowsModel::PackedLogon LogonOf(ICredentialProviderCredential& credential,
                                  CREDENTIAL_PROVIDER_USAGE_SCENARIO scenario)
{
    auto response = CPGSR_NO_CREDENTIAL_NOT_FINISHED;
    CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION serialization{};
    REQUIRE(credential.GetSerialization(&response, &serialization, nullptr, nullptr) == S_OK);
    CHECK(response == CPGSR_RETURN_CREDENTIAL_FINISHED);
    auto logon = WindowsModel::DecodePackedLogon(serialization, scenario, ProviderClass);
    CHECK(logon.violations == std::vector<std::string>{});
    CoTaskMemFree(serialization.rgbSerialization);
    return logon;
}

HWND FindEventWindow(HWND after)
{
    return FindWindowExW(nullptr, after, L"EventWindow", L"Window");
}

bool IsServiceEventOpen()
{
    return !!KernelHandle(OpenEventW(SYNCHRONIZE, FALSE, ServiceEventName));
}

STDMETHODIMP EventsSink::CredentialsChanged(UINT_PTR context)
{
    contexts.push_back(context);
    if (provider != nullptr)
        offers.push_back(OfferOf(*provider));
    if (during)
        during();
    ++changes;
    return S_OK;
}

bool EventsSink::WaitFor(long count) const
{
    return Await([&] { return changes >= count; });
}
