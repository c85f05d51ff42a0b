#include "ProviderLife.h"

#include <doctest/doctest.h>

namespace {

constexpr wchar_t ModuleName[] = L"VexaFPCredentialProvider.dll";
constexpr CLSID ProviderClass = {
    0x0ce326a8, 0xc767, 0x433f, {0x82, 0xb9, 0x60, 0x1b, 0x2a, 0x27, 0x32, 0x1e}};

} // namespace

STDMETHODIMP EventsSink::QueryInterface(REFIID /*riid*/, void** ppv)
{
    *ppv = nullptr;
    return E_NOINTERFACE;
}

STDMETHODIMP EventsSink::CredentialsChanged(UINT_PTR context)
{
    wrongContext = wrongContext || context != Context;
    ++changes;
    SetEvent(m_changed.Get());
    return S_OK;
}

bool EventsSink::WaitFor(long count)
{
    while (changes < count) {
        if (WindowsModel::RealWait(m_changed.Get(), Patience) != WAIT_OBJECT_0)
            return changes >= count;
    }
    return true;
}

ProviderLife::ProviderLife(Machine& machine) : m_machine(machine)
{
    m_module = LoadLibraryW(ModuleName);
    REQUIRE(m_module != nullptr);
    m_hooks = std::make_unique<WindowsModel::ImportHooks>(m_module);
    REQUIRE(machine.windows.Hook(*m_hooks, WindowsModel::Group::All).failed.empty());
    m_promptsSeen = machine.windows.Snapshot().texts.prompts.size();

    const auto getClassObject = reinterpret_cast<LPFNGETCLASSOBJECT>(
        reinterpret_cast<void*>(GetProcAddress(m_module, "DllGetClassObject")));
    // Each life is the first after a start of Windows: its creation needs no fingerprint service.
    machine.fitness.ForgetCheck();
    IClassFactory* factory = nullptr;
    REQUIRE(getClassObject(ProviderClass, IID_IClassFactory, reinterpret_cast<void**>(&factory)) == S_OK);
    const HRESULT created =
        factory->CreateInstance(nullptr, IID_ICredentialProvider, reinterpret_cast<void**>(&provider));
    factory->Release();
    REQUIRE(created == S_OK);
}

ProviderLife::~ProviderLife()
{
    m_machine.HurryWaits();
    End();
    if (m_module == nullptr)
        return;
    FreeLibrary(m_module);
    // Threads may still run in the module: its imports stay replaced until it goes.
    m_hooks->Forget();
}

void ProviderLife::Start(CREDENTIAL_PROVIDER_USAGE_SCENARIO scenario)
{
    REQUIRE(provider->SetUsageScenario(scenario, 0) == S_OK);
    REQUIRE(provider->Advise(&sink, EventsSink::Context) == S_OK);
    REQUIRE(provider->GetCredentialAt(0, &credential) == S_OK);
}

void ProviderLife::StartAndWaitForPrompt()
{
    Start();
    REQUIRE(SeePrompt(L"Please scan a finger"));
}

bool ProviderLife::SeePrompt(const std::wstring& text)
{
    const auto place = m_machine.windows.WaitForPrompt(text, Patience, m_promptsSeen);
    if (place)
        m_promptsSeen = *place + 1;
    return place.has_value();
}

HWND ProviderLife::Window() const
{
    const HWND window = FindEventWindow();
    REQUIRE(window != nullptr);
    return window;
}

DWORD ProviderLife::End()
{
    if (provider == nullptr)
        return 0;
    if (credential != nullptr)
        credential->Release();
    credential = nullptr;
    provider->UnAdvise();
    const ULONGLONG start = GetTickCount64();
    CHECK(provider->Release() == 0);
    provider = nullptr;
    return static_cast<DWORD>(GetTickCount64() - start);
}

bool ProviderLife::EndAndUnload()
{
    End();
    FreeLibrary(m_module);
    m_hooks->Forget();
    m_module = nullptr;
    return Await([] { return GetModuleHandleW(ModuleName) == nullptr; });
}

HWND FindEventWindow()
{
    HWND window = nullptr;
    while ((window = FindWindowExW(nullptr, window, L"EventWindow", L"Window")) != nullptr) {
        DWORD process = 0;
        GetWindowThreadProcessId(window, &process);
        if (process == GetCurrentProcessId())
            return window;
    }
    return nullptr;
}

bool WaitForNoEventWindow()
{
    return Await([] { return FindEventWindow() == nullptr; });
}
