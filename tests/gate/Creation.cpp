#include "Creation.h"

#include <doctest/doctest.h>

namespace {

constexpr wchar_t ModuleName[] = L"VexaFPCredentialProvider.dll";
constexpr wchar_t FailureNotes[] = LR"(c:\FPLog)";
constexpr wchar_t ServiceEventName[] = L"Global\\{D3368B8A-2EA4-49d7-A2B0-6F711BAD3DB9}";
constexpr CLSID ProviderClass = {
    0x0ce326a8, 0xc767, 0x433f, {0x82, 0xb9, 0x60, 0x1b, 0x2a, 0x27, 0x32, 0x1e}};

} // namespace

Creation::Creation(Machine& machine)
    : m_machine(machine), m_module(LoadLibraryW(ModuleName)), m_hooks(m_module),
      m_serviceEvent(CreateEventW(nullptr, FALSE, FALSE, ServiceEventName))
{
    REQUIRE(m_module != nullptr);
    REQUIRE(machine.windows.Hook(m_hooks, WindowsModel::Group::All).failed.empty());
    CreateDirectoryW(FailureNotes, nullptr);
}

Creation::~Creation()
{
    if (provider != nullptr)
        provider->Release();
    RemoveDirectoryW(FailureNotes);
    FreeLibrary(m_module);
    m_hooks.Forget();
}

HRESULT Creation::Attempt()
{
    const auto getClassObject = reinterpret_cast<LPFNGETCLASSOBJECT>(
        reinterpret_cast<void*>(GetProcAddress(m_module, "DllGetClassObject")));
    IClassFactory* factory = nullptr;
    REQUIRE(getClassObject(ProviderClass, IID_IClassFactory, reinterpret_cast<void**>(&factory)) == S_OK);
    ICredentialProvider* created = nullptr;
    const HRESULT result =
        factory->CreateInstance(nullptr, IID_ICredentialProvider, reinterpret_cast<void**>(&created));
    factory->Release();
    CHECK((created != nullptr) == (result == S_OK));
    if (created != nullptr)
        provider = created;
    return result;
}

Texts Creation::Records() const
{
    Texts records;
    for (const WindowsModel::EventRecord& event : m_machine.windows.Snapshot().texts.events) {
        CHECK(event.source == L"VexaFPService");
        const std::wstring& text = event.strings.at(0);
        if (text.find(L"SetupDi") == std::wstring::npos)
            records.push_back(text);
    }
    return records;
}

std::vector<std::string> Creation::DebugTexts() const
{
    std::vector<std::string> texts;
    for (const WindowsModel::DebugText& debug : m_machine.windows.Snapshot().texts.debug) {
        if (!debug.text.starts_with("VEXA"))
            texts.push_back(debug.text);
    }
    return texts;
}

bool Creation::TakeSignal() const
{
    return WaitForSingleObject(m_serviceEvent.Get(), 0) == WAIT_OBJECT_0;
}

bool Creation::HoldsServiceEvent()
{
    m_serviceEvent.Reset();
    return !!KernelHandle(OpenEventW(SYNCHRONIZE, FALSE, ServiceEventName));
}
