#include "Dll.h"

#include "Secrets.h"

#include <objbase.h>

#include <algorithm>
#include <cstring>
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

const char* g_lacking = nullptr;
decltype(&GetProcAddress) g_getProcAddress;

FARPROC WINAPI LackingGetProcAddress(HMODULE module, const char* name)
{
    if (g_lacking == nullptr || std::strcmp(name, g_lacking) != 0)
        return g_getProcAddress(module, name);
    SetLastError(ERROR_PROC_NOT_FOUND);
    return nullptr;
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
    REQUIRE(hooks.Replace("GetProcAddress", LackingGetProcAddress, &g_getProcAddress) == Replaced);
    WatchFreedBlocks(hooks);
}

Dll::~Dll()
{
    CHECK(g_noMemory.thread == 0);
    CHECK(SecretsFreed() == 0);
    g_lacking = nullptr;
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

void Dll::Lack(const char* function)
{
    g_lacking = function;
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

std::vector<HWND> EventWindows()
{
    std::vector<HWND> windows;
    HWND window = nullptr;
    while ((window = FindWindowExW(nullptr, window, L"EventWindow", L"Window")) != nullptr) {
        DWORD process = 0;
        GetWindowThreadProcessId(window, &process);
        if (process == GetCurrentProcessId())
            windows.push_back(window);
    }
    return windows;
}

HWND FindEventWindow()
{
    const std::vector<HWND> windows = EventWindows();
    CHECK(windows.size() <= 1);
    return windows.empty() ? nullptr : windows.front();
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
