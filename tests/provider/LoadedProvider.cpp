#include "LoadedProvider.h"

#include <objbase.h>

#include <utility>

namespace {

constexpr wchar_t FileName[] = L"VexaFPCredentialProvider.dll";

template <class Function>
Function Export(HMODULE module, const char* name)
{
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

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

} // namespace

LoadedProvider::LoadedProvider() : hooks(LoadLibraryW(FileName))
{
    REQUIRE(hooks.Module() != nullptr);
    REQUIRE(fitness.IsFit());
    windows.Reset();
    windows.Lock()->clock.SetScale(0.01);
    const WindowsModel::HookReport report = windows.Hook(hooks, WindowsModel::Group::All);
    REQUIRE(report.failed.empty());
    REQUIRE(report.Replaced("WinExec"));
    REQUIRE(hooks.Replace("malloc", FailingMalloc, &g_malloc) == WindowsModel::ImportHooks::Result::Replaced);
}

LoadedProvider::~LoadedProvider()
{
    CHECK(CanUnloadNow() == S_OK);
    CHECK(g_noMemory.thread == 0);
    FreeLibrary(hooks.Module());
    // Its threads hold it until they have left it, and must not meet the real Windows before.
    for (int tries = 0; tries < 1000 && GetModuleHandleW(FileName) != nullptr; ++tries)
        Sleep(10);
    CHECK(GetModuleHandleW(FileName) == nullptr);
    hooks.Forget();
    CHECK(PromptWindow() == nullptr);
    CHECK(OpenEventA(SYNCHRONIZE, FALSE, ServiceEventName) == nullptr);
    const WindowsModel::State state = windows.Snapshot();
    CHECK(state.failures.pending.empty());
    CHECK(state.ledger.Clean());
}

HRESULT LoadedProvider::GetClassObject(REFCLSID clsid, REFIID riid, void** ppv) const
{
    return Export<LPFNGETCLASSOBJECT>(hooks.Module(), "DllGetClassObject")(clsid, riid, ppv);
}

HRESULT LoadedProvider::CanUnloadNow() const
{
    return Export<LPFNCANUNLOADNOW>(hooks.Module(), "DllCanUnloadNow")();
}

Owned<IClassFactory> LoadedProvider::Factory() const
{
    void* factory = nullptr;
    REQUIRE(GetClassObject(ProviderClass, IID_IClassFactory, &factory) == S_OK);
    return Owned<IClassFactory>(static_cast<IClassFactory*>(factory));
}

Owned<ICredentialProvider> LoadedProvider::Create() const
{
    void* provider = nullptr;
    REQUIRE(Factory()->CreateInstance(nullptr, IID_ICredentialProvider, &provider) == S_OK);
    return Owned<ICredentialProvider>(static_cast<ICredentialProvider*>(provider));
}

Owned<ICredentialProviderCredential> LoadedProvider::CredentialOf(ICredentialProvider& provider)
{
    ICredentialProviderCredential* credential = nullptr;
    REQUIRE(provider.GetCredentialAt(0, &credential) == S_OK);
    return Owned<ICredentialProviderCredential>(credential);
}

void LoadedProvider::FailNextAllocation(size_t from, size_t to)
{
    g_noMemory = {GetCurrentThreadId(), from, to};
}

DebugTexts LoadedProvider::TakeDebugTexts() const
{
    DebugTexts texts;
    const auto state = windows.Lock();
    for (const WindowsModel::DebugText& debug : std::exchange(state->texts.debug, {}))
        texts.push_back(debug.text);
    return texts;
}
