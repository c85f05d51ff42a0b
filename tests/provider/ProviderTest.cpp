#include "LoadedProvider.h"

#include <objbase.h>

constexpr UINT FingerprintMessage = WM_USER + 1;
constexpr size_t Any = SIZE_MAX;

void* const NotNull = reinterpret_cast<void*>(0x77);

TEST_CASE("the class object and its factory")
{
    LoadedProvider dll;
    CHECK(dll.GetClassObject(ProviderClass, IID_IClassFactory, nullptr) == E_POINTER);
    void* object = NotNull;
    CHECK(dll.GetClassObject(IID_IClassFactory, IID_IClassFactory, &object) == CLASS_E_CLASSNOTAVAILABLE);
    CHECK(object == nullptr);
    object = NotNull;
    CHECK(dll.GetClassObject(ProviderClass, IID_ICredentialProvider, &object) == E_NOINTERFACE);
    CHECK(object == nullptr);
    CHECK(dll.TakeDebugTexts() == DebugTexts{"VEXA CredPro,0"});
    dll.FailNextAllocation(0, Any);
    CHECK(dll.GetClassObject(ProviderClass, IID_IUnknown, &object) == E_OUTOFMEMORY);

    const auto factory = dll.Factory();
    CHECK(dll.TakeDebugTexts() == DebugTexts{"VEXA CredPro,2", "VEXA CredPro,1"});
    REQUIRE(factory->QueryInterface(IID_IUnknown, &object) == S_OK);
    CHECK(object == factory.get());
    CHECK(factory->Release() == 1);
    CHECK(dll.CanUnloadNow() == S_OK);
    CHECK(factory->LockServer(TRUE) == S_OK);
    CHECK(dll.CanUnloadNow() == S_FALSE);
    CHECK(factory->LockServer(FALSE) == S_OK);

    CHECK(factory->CreateInstance(nullptr, IID_ICredentialProvider, nullptr) == E_POINTER);
    CHECK(factory->CreateInstance(factory.get(), IID_ICredentialProvider, &object) == CLASS_E_NOAGGREGATION);
    CHECK(object == nullptr);
}

TEST_CASE("a refused interface leaves the event alone, memory that runs out gives it up")
{
    LoadedProvider dll;
    const auto provider = dll.Create();
    const auto factory = dll.Factory();
    KernelHandle event(OpenEventW(EVENT_ALL_ACCESS, FALSE, ServiceEventName));
    REQUIRE(event);
    void* object = NotNull;
    dll.fitness.ForgetCheck();
    CHECK(factory->CreateInstance(nullptr, IID_IUnknown, &object) == E_OUTOFMEMORY);
    CHECK(object == nullptr);
    CHECK(dll.TakeDebugTexts().back() == "VEXACredential Provider CreateInstance");
    CHECK(WaitForSingleObject(event.Get(), 0) == WAIT_TIMEOUT);
    dll.fitness.ForgetCheck();
    dll.FailNextAllocation(0, Any);
    CHECK(factory->CreateInstance(nullptr, IID_ICredentialProvider, &object) == E_OUTOFMEMORY);
    CHECK(WaitForSingleObject(event.Get(), 0) == WAIT_OBJECT_0);
    event.Reset();
    CHECK_FALSE(IsServiceEventOpen());
}

TEST_CASE("a provider before and after its scenario")
{
    LoadedProvider dll;
    const auto provider = dll.Create();
    void* object = nullptr;
    REQUIRE(provider->QueryInterface(IID_IUnknown, &object) == S_OK);
    CHECK(object == provider.get());
    CHECK(provider->Release() == 1);
    CHECK(dll.CanUnloadNow() == S_FALSE);
    CHECK(provider->SetSerialization(nullptr) == E_NOTIMPL);
    CHECK(OfferOf(*provider) == NoDefault);

    DWORD count = 0;
    CHECK(provider->GetFieldDescriptorCount(&count) == S_OK);
    CHECK(count == 2);
    CREDENTIAL_PROVIDER_FIELD_DESCRIPTOR* field = nullptr;
    for (const DWORD id : {0, 1}) {
        REQUIRE(provider->GetFieldDescriptorAt(id, &field) == S_OK);
        CHECK(field->dwFieldID == id);
        CHECK(field->cpft == (id == 0 ? CPFT_TILE_IMAGE : CPFT_LARGE_TEXT));
        CHECK(field->pszLabel == std::wstring(id == 0 ? L"Image" : L"Username"));
        CoTaskMemFree(field->pszLabel);
        CoTaskMemFree(field);
    }
    CHECK(provider->GetFieldDescriptorAt(2, &field) == E_INVALIDARG);
    CHECK(provider->GetFieldDescriptorAt(0, nullptr) == E_INVALIDARG);

    for (const int scenario : {0, 5, 6, -1})
        CHECK(provider->SetUsageScenario(CREDENTIAL_PROVIDER_USAGE_SCENARIO(scenario), 0) == E_INVALIDARG);
    CHECK(provider->SetUsageScenario(CPUS_CHANGE_PASSWORD, 0) == E_NOTIMPL);
    CHECK(provider->SetUsageScenario(CPUS_CREDUI, 0) == E_NOTIMPL);
    CHECK(dll->recorder.Count("CreateThread") == 0);

    REQUIRE(provider->SetUsageScenario(CPUS_LOGON, 0) == S_OK);
    const auto credential = CredentialOf(*provider);
    REQUIRE(dll.WaitForSensorFailed());
    const size_t threads = dll->recorder.Count("CreateThread");
    REQUIRE(provider->SetUsageScenario(CPUS_UNLOCK_WORKSTATION, 0) == S_OK);
    CHECK(CredentialOf(*provider) == credential);
    CHECK(dll->recorder.Count("CreateThread") == threads);
    CHECK(provider->GetCredentialAt(1, reinterpret_cast<ICredentialProviderCredential**>(&object)) ==
          E_INVALIDARG);
}

TEST_CASE("a verified user is announced to the latest sink until withdrawn")
{
    LoadedProvider dll;
    // The window checks its record as it stands at first: no name, no password.
    dll->accounts.accounts = {{dll->accounts.computerName, L"", L""}};
    EventsSink older;
    EventsSink sink;
    const auto provider = dll.Create();
    REQUIRE(provider->SetUsageScenario(CPUS_LOGON, 0) == S_OK);
    REQUIRE(dll.WaitForSensorFailed());
    const HWND window = FindEventWindow();
    older.provider = sink.provider = provider.get();
    CHECK(provider->Advise(&older, 11) == S_OK);
    CHECK(provider->Advise(&sink, 12) == S_OK);
    CHECK(older.references == 0);
    CHECK(sink.references == 1);
    SendMessageW(window, FingerprintMessage, 1, 0);
    SendMessageW(window, FingerprintMessage, 2, 0); // means nothing
    CHECK(IsWindowVisible(window));
    SendMessageW(window, FingerprintMessage, 0, 0);
    CHECK_FALSE(IsWindowVisible(window));
    // An account that can't be checked for want of memory is refused as with a wrong password: not announced.
    dll.FailNext("SysAllocString", ERROR_NOT_ENOUGH_MEMORY);
    SendMessageW(window, FingerprintMessage, 0, 0);
    CHECK(dll->texts.prompts.back().text == L"Please swipe your finger over the scanner again.");
    CHECK(OfferOf(*provider) == AutoLogon);
    CHECK(older.contexts == std::vector<UINT_PTR>{});
    CHECK(sink.contexts == std::vector<UINT_PTR>{12, 12});
    CHECK(sink.offers == std::vector{NoDefault, AutoLogon});

    CHECK(provider->UnAdvise() == S_OK);
    CHECK(provider->UnAdvise() == S_OK);
    CHECK(sink.references == 0);
    SendMessageW(window, FingerprintMessage, 1, 0);
    CHECK(OfferOf(*provider) == NoDefault);
    CHECK(sink.contexts.size() == 2);
}

TEST_CASE("a scenario that cannot be served leaves the provider as it was")
{
    struct Row {
        size_t from, to; // bytes of the allocation that fails; none: no thread
        HRESULT result;
    };
    for (const Row& row : {Row{0, 0, HRESULT(0x80070008)},
                           Row{1536, 4095, E_OUTOFMEMORY},   // the credential with its three texts
                           Row{512, 1535, E_OUTOFMEMORY}}) { // the window with its one
        CAPTURE(row.to);
        LoadedProvider dll;
        const auto provider = dll.Create();
        if (row.to == 0)
            dll.FailNext("CreateThread", ERROR_NOT_ENOUGH_MEMORY);
        else
            dll.FailNextAllocation(row.from, row.to);
        CHECK(provider->SetUsageScenario(CPUS_LOGON, 0) == row.result);
        provider->AddRef();
        CHECK(provider->Release() == 1);
        CHECK(FindEventWindow() == nullptr);
        CHECK(OfferOf(*provider) == NoDefault);
        REQUIRE(provider->SetUsageScenario(CPUS_LOGON, 0) == S_OK);
        CHECK(dll.WaitForSensorFailed());
    }
}

TEST_CASE("what the window lacks keeps the provider neither from living nor from ending")
{
    struct Row {
        const char* fails;
        bool window;
        unsigned times = 1;
        DWORD error = 3;
    };
    for (const Row& row : {Row{"CreateWindowExW", false, 1, 0}, // a hook may refuse a window so
                           {"GdiplusStartup", true},
                           {"FindResourceW", true},
                           {"CreateEventA", true, 2}}) { // creation and provider both try
        CAPTURE(row.fails);
        LoadedProvider dll;
        dll.FailNext(row.fails, row.error, row.times);
        const auto provider = dll.Create();
        CHECK(provider->SetUsageScenario(CPUS_LOGON, 0) == S_OK);
        // The watchdog does its work in any case: three rounds of two commands.
        CHECK(dll.windows.WaitForCalls("WinExec", 6, Patience));
        CHECK((!row.window || dll.WaitForSensorFailed()));
        CHECK((FindEventWindow() != nullptr) == row.window);
        CHECK(CredentialOf(*provider) != nullptr);
    }
}
