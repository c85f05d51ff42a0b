#include "Life.h"

#include "FitMachine/Fitness.h"
#include "PreBootLibrary/Script.h"
#include "ServiceClient/ServiceControl.h"
#include "WindowsModel/PackedLogon.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace fs = std::filesystem;

namespace {

constexpr wchar_t ModuleName[] = L"VexaFPCredentialProvider.dll";
constexpr CLSID ProviderClass = {
    0x0ce326a8, 0xc767, 0x433f, {0x82, 0xb9, 0x60, 0x1b, 0x2a, 0x27, 0x32, 0x1e}};
constexpr wchar_t Computer[] = L"SIMULATED-PC";
constexpr wchar_t User[] = L"anna";
constexpr char LogFolder[] = "C:\\CPLog";
constexpr char NotesSwitch[] = "C:\\FPLog";

constexpr DWORD Patience = 20000;     // ms, for what has to come
constexpr DWORD PerFinger = 300;      // ms
constexpr DWORD FaultPatience = 1000; // ms after the fault, for a logon that need not come
constexpr DWORD Slice = 5;            // ms

class Sink final : public ICredentialProviderEvents {
public:
    STDMETHODIMP QueryInterface(REFIID /*riid*/, void** object) override
    {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
    STDMETHODIMP_(ULONG) Release() override { return --references; }
    STDMETHODIMP CredentialsChanged(UINT_PTR /*context*/) override
    {
        ++changes;
        return S_OK;
    }
    std::atomic<ULONG> references = 1;
    std::atomic<long> changes = 0;
};

/// The code that a function fails with, where that is not a lack of memory.
DWORD CodeOf(const std::string& function)
{
    if (function.starts_with("Gdip") || function.starts_with("Gdiplus"))
        return 3; // GDI+'s own "out of memory"
    if (function.starts_with("Lsa"))
        return 0xC000009A;
    if (function == "NdrClientCall2")
        return RPC_S_SERVER_UNAVAILABLE;
    for (const char* com : {"SHStrDupW", "CreateStreamOnHGlobal", "QISearch", "VarBstrCmp"}) {
        if (function == com)
            return DWORD(E_OUTOFMEMORY);
    }
    return ERROR_NOT_ENOUGH_MEMORY;
}

/// A tile is there to be shown and clicked. What the calls answer under a fault is theirs to say.
void ShowTile(ICredentialProvider& provider, ICredentialProviderCredential& credential)
{
    CREDENTIAL_PROVIDER_FIELD_DESCRIPTOR* field = nullptr;
    if (provider.GetFieldDescriptorAt(1, &field) == S_OK) {
        CoTaskMemFree(field->pszLabel);
        CoTaskMemFree(field);
    }
    PWSTR text = nullptr;
    if (credential.GetStringValue(1, &text) == S_OK)
        CoTaskMemFree(text);
    HBITMAP bitmap = nullptr;
    if (credential.GetBitmapValue(0, &bitmap) == S_OK)
        DeleteObject(bitmap);
}

HWND FindWindowOfOurs()
{
    HWND window = nullptr;
    DWORD process = 0;
    while ((window = FindWindowExW(nullptr, window, L"EventWindow", nullptr)) != nullptr) {
        GetWindowThreadProcessId(window, &process);
        if (process == GetCurrentProcessId())
            return window;
    }
    return nullptr;
}

template <class Condition>
bool Await(Condition holds)
{
    for (DWORD waited = 0; waited < Patience && !holds(); waited += Slice)
        Sleep(Slice);
    return holds();
}

/// The bytes of a narrow or a wide text.
bool TellsPassword(std::string_view bytes)
{
    for (const std::wstring_view password : {Password, WrongPassword}) {
        const std::string narrow(password.begin(), password.end());
        const std::string_view wide(reinterpret_cast<const char*>(password.data()),
                                    password.size() * sizeof(wchar_t));
        if (bytes.find(narrow) != bytes.npos || bytes.find(wide) != bytes.npos)
            return true;
    }
    return false;
}

std::string ReadLog()
{
    std::string bytes;
    std::error_code ignored;
    for (const fs::directory_entry& entry : fs::directory_iterator(LogFolder, ignored)) {
        std::ifstream file(entry.path(), std::ios::binary);
        bytes.append(std::istreambuf_iterator<char>(file), {});
    }
    return bytes;
}

std::atomic<long> g_lives = 0;

class Life {
public:
    Life(const Kind& kind, const std::optional<Fault>& fault) : m_kind(kind), m_fault(fault) {}

    std::string Lead()
    {
        if (!Prepare())
            return "the machine could not be prepared";
        ICredentialProvider* const provider = Create();
        if (provider != nullptr) {
            if (provider->SetUsageScenario(m_kind.scenario, 0) == S_OK)
                Serve(*provider);
            provider->Release();
        }
        FreeLibrary(m_module);
        return Judge(provider != nullptr);
    }

private:
    bool Prepare()
    {
        Windows().Reset();
        {
            const auto state = Windows().Lock();
            state->accounts.accounts = {{Computer, User, Password}};
            state->services.Script(L"vcsFPService", {{}});
            state->services.Script(L"VexaFPService", {{}});
            state->clock.sleepScale = 0.01;
            state->clock.waitScale = 0.02;
        }
        std::error_code ignored;
        fs::remove_all(LogFolder, ignored);
        fs::create_directories(LogFolder, ignored);
        fs::create_directories(NotesSwitch, ignored);

        PreBootLibrary::Script preBoot;
        preBoot.enabled = m_kind.refused ? 0 : 1;
        if (m_kind.preBoot)
            preBoot.record = PreBootLibrary::MakeRecord(User, Password, Computer);
        m_fitness.ForgetCheck();
        bool told = m_fitness.IsFit() && PreBootLibrary::Store(preBoot) && ServiceClient::TellOk(L"reset") &&
                    ServiceClient::TellOk(L"clear");
        if (m_kind.refused)
            told = told && ServiceClient::TellOk(L"pba 0");
        for (const std::wstring& command : m_kind.script)
            told = told && ServiceClient::TellOk(command);
        for (const std::wstring& password : m_kind.fingers)
            told = told &&
                   ServiceClient::TellOk(std::wstring(L"place ") + Computer + L" " + User + L" " + password);
        return told && Load();
    }

    bool Load()
    {
        // What is bound when it is first called can be replaced once its library is there. The others stay
        // for speed: loaded afresh they would take longer than all else.
        static const bool s_loaded = [] {
            for (const wchar_t* library : {L"gdiplus", L"setupapi", L"netapi32", L"secur32", L"powrprof",
                                           L"wtsapi32", L"shlwapi", L"cfgmgr32", L"shell32", L"oleaut32"})
                LoadLibraryW(library);
            return LoadLibraryW(L"vcsWavePba.dll") != nullptr;
        }();
        m_module = LoadLibraryW(ModuleName);
        if (!s_loaded || m_module == nullptr)
            return false;
        WindowsModel::ImportHooks hooks(m_module);
        const bool hooked = Windows().Hook(hooks, WindowsModel::Group::Everything).failed.empty();
        // They stay for as long as the module does: its threads may outlive this object.
        hooks.Forget();
        return hooked && (!m_fault || Windows().FailNext(m_fault->function, CodeOf(m_fault->function),
                                                         m_fault->call - 1));
    }

    ICredentialProvider* Create()
    {
        const auto getClassObject = reinterpret_cast<LPFNGETCLASSOBJECT>(
            reinterpret_cast<void*>(GetProcAddress(m_module, "DllGetClassObject")));
        IClassFactory* factory = nullptr;
        ICredentialProvider* provider = nullptr;
        if (getClassObject(ProviderClass, IID_IClassFactory, reinterpret_cast<void**>(&factory)) != S_OK)
            return nullptr;
        const HRESULT created =
            factory->CreateInstance(nullptr, IID_ICredentialProvider, reinterpret_cast<void**>(&provider));
        factory->Release();
        m_wrong += (created == S_OK) != (provider != nullptr) ? "a creation that is neither; " : "";
        return provider;
    }

    void Serve(ICredentialProvider& provider)
    {
        if (m_kind.releaseAfter && *m_kind.releaseAfter == 0)
            return;
        ICredentialProviderCredential* credential = nullptr;
        provider.Advise(&m_sink, 1);
        DWORD count = 0;
        DWORD chosen = 0;
        BOOL automatic = FALSE;
        provider.GetCredentialCount(&count, &chosen, &automatic);
        if (provider.GetCredentialAt(0, &credential) == S_OK) {
            ShowTile(provider, *credential);
            if (WaitForChange()) {
                provider.GetCredentialCount(&count, &chosen, &automatic);
                TakeLogon(*credential);
            }
            credential->Release();
        }
        provider.UnAdvise();
    }

    bool IsSpent() { return m_fault && Windows().Lock()->failures.pending.empty(); }

    bool WaitForChange()
    {
        DWORD limit = m_kind.releaseAfter.value_or(Patience + PerFinger * DWORD(m_kind.fingers.size()));
        bool spent = false;
        for (DWORD waited = 0; waited < limit && m_sink.changes == 0; waited += Slice) {
            Sleep(Slice);
            if (!spent && IsSpent()) {
                spent = true;
                limit = std::min(limit, waited + FaultPatience);
            }
        }
        return m_sink.changes != 0;
    }

    void TakeLogon(ICredentialProviderCredential& credential)
    {
        auto response = CPGSR_NO_CREDENTIAL_NOT_FINISHED;
        CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION packed{};
        if (credential.GetSerialization(&response, &packed, nullptr, nullptr) == S_OK &&
            response == CPGSR_RETURN_CREDENTIAL_FINISHED) {
            const auto logon = WindowsModel::DecodePackedLogon(packed, m_kind.scenario, ProviderClass);
            const LONG status = WindowsModel::Logon(logon).status;
            m_loggedOn = status == 0 && logon.domain == Computer && logon.user == User;
            m_wrong += m_loggedOn ? "" : "a wrong logon; ";
            PWSTR text = nullptr;
            auto icon = CPSI_NONE;
            credential.ReportResult(status, 0, &text, &icon);
        }
        CoTaskMemFree(packed.rgbSerialization);
    }

    std::string Judge(bool created)
    {
        if (!Await([] { return GetModuleHandleW(ModuleName) == nullptr; }))
            m_wrong += "the DLL stays; ";
        if (FindWindowOfOurs() != nullptr)
            m_wrong += "a window stays; ";
        const WindowsModel::State state = Windows().Snapshot();
        const bool failed = m_fault && state.failures.pending.empty();
        if (m_kind.refused && created)
            m_wrong += "the gate let it in; ";
        if (!failed && !m_kind.refused && !m_kind.releaseAfter && !m_loggedOn)
            m_wrong += "no logon; ";
        if (!failed && !state.ledger.Clean())
            m_wrong += "something is not given back; ";
        if (!failed && m_sink.references != 1)
            m_wrong += "the sink is still held; ";

        for (const WindowsModel::DebugText& debug : state.texts.debug)
            m_wrong += TellsPassword(debug.text) ? "the debugger is told the password; " : "";
        for (const WindowsModel::EventRecord& event : state.texts.events) {
            for (const std::wstring& text : event.strings)
                m_wrong += TellsPassword({reinterpret_cast<const char*>(text.data()), 2 * text.size()})
                               ? "an event tells the password; "
                               : "";
        }
        m_wrong += TellsPassword(ReadLog()) ? "the log tells the password; " : "";
        return m_wrong;
    }

    const Kind& m_kind;
    const std::optional<Fault>& m_fault;
    FitMachine::Scope m_fitness;
    HMODULE m_module = nullptr;
    Sink m_sink;
    bool m_loggedOn = false;
    std::string m_wrong;
};

} // namespace

std::string Lead(const Kind& kind, const std::optional<Fault>& fault)
{
    ++g_lives;
    return Life(kind, fault).Lead();
}

long LivesLed()
{
    return g_lives;
}
