#include "CreationGate.h"
#include "Events.h"
#include "Module.h"
#include "PeFile.h"
#include "PreBootLibrary/Script.h"
#include "Report.h"
#include "Traces.h"
#include "VexaFP.h"
#include "ServiceClient/ServiceControl.h"
#include "ServiceClient/ServiceProcess.h"
#include "FitMachine/Fitness.h"
#include "unit/base/Simulation.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace fs = std::filesystem;

namespace {

constexpr wchar_t SystemLibrary[] = LR"(c:\windows\system32\vcsWavePba.dll)";
constexpr wchar_t ProductKey[] = LR"(SOFTWARE\VEXA\FingerPrint)";
#define CLASS_ID L"{0CE326A8-C767-433F-82B9-601B2A27321E}"
constexpr wchar_t ClassKey[] = LR"(SOFTWARE\Classes\CLSID\)" CLASS_ID;
constexpr wchar_t ServerKey[] = LR"(SOFTWARE\Classes\CLSID\)" CLASS_ID LR"(\InprocServer32)";
constexpr wchar_t ListKey[] =
    LR"(SOFTWARE\Microsoft\Windows\CurrentVersion\Authentication\Credential Providers\)" CLASS_ID;
constexpr wchar_t PolicyKey[] = LR"(SOFTWARE\Microsoft\Windows\CurrentVersion\Policies\System)";

fs::path OwnFolder()
{
    wchar_t path[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return fs::path(path).parent_path();
}

void SetText(const wchar_t* key, const wchar_t* value, const std::wstring& text)
{
    REQUIRE(RegSetKeyValueW(HKEY_LOCAL_MACHINE, key, value, REG_SZ, text.c_str(),
                            DWORD((text.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS);
}

void SetNumber(const wchar_t* key, const wchar_t* value, DWORD number)
{
    REQUIRE(RegSetKeyValueW(HKEY_LOCAL_MACHINE, key, value, REG_DWORD, &number, sizeof number) ==
            ERROR_SUCCESS);
}

/// The gate never frees the library, and while it is loaded another can't take its place.
void UnloadLibrary()
{
    while (const HMODULE library = GetModuleHandleW(L"vcsWavePba.dll"))
        FreeLibrary(library);
}

ServiceClient::ServiceProcess g_service;

/// A registered provider on a fit machine whose service answers, with failure notes switched on.
struct Machine {
    Machine() : simulation(Group::Clock | Group::Devices | Group::Failures | Group::Services | Group::Texts)
    {
        Clear();
        REQUIRE(fit.emplace().IsFit());
        SetText(ServerKey, nullptr, (OwnFolder() / "VexaFPCredentialProvider.dll").wstring());
        SetText(ServerKey, L"ThreadingModel", L"Apartment");
        SetText(ListKey, nullptr, L"FingerPrint");
        CreateDirectoryW(L"c:\\FPLog", nullptr);
        simulation->clock.sleepScale = 0.01;
    }
    ~Machine()
    {
        Clear();
        RemoveDirectoryW(L"c:\\FPLog");
        if (g_service.IsRunning())
            ServiceClient::TellOk(L"reset");
    }

    static void Clear()
    {
        UnloadLibrary();
        FitMachine::RemovePreBootLibrary();
        // Also the sensor that a run of the logon leaves plugged in.
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, LR"(System\CurrentControlSet\Enum\USB\VID_138A&PID_0010)");
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, ClassKey);
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, ListKey);
        RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, ProductKey, L"Enable");
        RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, PolicyKey, L"ExcludedCredentialProviders");
    }
    static void SetMark() { SetEvent(FitMachine::OpenPreBootMark().Get()); }
    static bool IsMarked()
    {
        return WaitForSingleObject(FitMachine::OpenPreBootMark().Get(), 0) == WAIT_OBJECT_0;
    }

    Simulation simulation;
    std::optional<FitMachine::Scope> fit;
};

void Lack(const wchar_t* function)
{
    REQUIRE(FitMachine::InstallPreBootLibrary(function));
}

void AnswerFromService(const wchar_t* command)
{
    REQUIRE((g_service.IsRunning() || g_service.Start()));
    REQUIRE(ServiceClient::TellOk(command));
}

void SwitchOffInLibrary()
{
    PreBootLibrary::Script script;
    script.enabled = 0;
    REQUIRE(PreBootLibrary::Store(script));
}

struct Row {
    const char* what;
    void (*change)(Machine& machine);
    Status status;
    /// Without running the library's code.
    Status unasked;
};

constexpr auto Unchanged = [](Machine&) {};

// clang-format off
const Row Rows[] = {
    {"fit",                 Unchanged,                                              Status::Offered,        Status::Offered},
    {"no sensor",           [](Machine&) { FitMachine::PullOut(); },                   Status::NoSensor,       Status::NoSensor},
    {"another product",     [](Machine&) { FitMachine::PullOut(); FitMachine::PlugIn(L"0011"); }, Status::NoSensor, Status::NoSensor},
    {"disabled",            [](Machine& m) { m.simulation->devices.problem = 22; }, Status::SensorDisabled, Status::SensorDisabled},
    {"another problem",     [](Machine& m) { m.simulation->devices.problem = 43; }, Status::Offered,        Status::Offered},
    {"no library",          [](Machine&) { FitMachine::RemovePreBootLibrary(); },      Status::LibraryMissing, Status::LibraryMissing},
    {"switched off",        [](Machine&) { FitMachine::SetSwitch(0); },                Status::SwitchedOff,    Status::SwitchedOff},
    {"never switched on",   [](Machine&) { FitMachine::SetSwitch({}); },               Status::SwitchedOff,    Status::SwitchedOff},
    {"in the wrong view",   [](Machine&) { FitMachine::SetSwitch({}); SetNumber(ProductKey, L"Enable", 1); }, Status::WrongView, Status::WrongView},
    {"no open",             [](Machine&) { Lack(L"open"); },                        Status::ExportMissing,  Status::ExportMissing},
    {"no enabled",          [](Machine&) { Lack(L"enabled"); },                     Status::ExportMissing,  Status::ExportMissing},
    {"no close",            [](Machine&) { Lack(L"close"); },                       Status::ExportMissing,  Status::ExportMissing},
    {"no creds",            [](Machine&) { Lack(L"creds"); },                       Status::Offered,        Status::Offered},
    {"a damaged library",   [](Machine&) { std::ofstream(fs::path(SystemLibrary)) << "MZ, or not"; }, Status::LibraryUnfit, Status::LibraryUnfit},
    {"library no",          [](Machine&) { SwitchOffInLibrary(); },                 Status::Offered,        Status::Offered},
    {"service no",          [](Machine&) { AnswerFromService(L"pba 0"); },          Status::Offered,        Status::LibraryDecides},
    {"both no",             [](Machine&) { SwitchOffInLibrary(); AnswerFromService(L"pba 2"); }, Status::ServiceRefuses, Status::LibraryDecides},
    {"marked, service yes", [](Machine& m) { SwitchOffInLibrary(); m.SetMark(); },  Status::Offered,        Status::Offered},
    {"marked, service no",  [](Machine& m) { m.SetMark(); AnswerFromService(L"pba 0"); }, Status::ServiceRefuses, Status::ServiceRefuses},
};
// What LogonUI meets before it gets to the gate.
const Row RegistrationRows[] = {
    {"no class",   [](Machine&) { RegDeleteTreeW(HKEY_LOCAL_MACHINE, ClassKey); }, Status::ClassMissing, Status::ClassMissing},
    {"no model",   [](Machine&) { RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, ServerKey, L"ThreadingModel"); }, Status::ThreadingModel, Status::ThreadingModel},
    {"free model", [](Machine&) { SetText(ServerKey, L"ThreadingModel", L"Free"); }, Status::ThreadingModel, Status::ThreadingModel},
    {"both",       [](Machine&) { SetText(ServerKey, L"ThreadingModel", L"both"); }, Status::Offered, Status::Offered},
    {"not listed", [](Machine&) { RegDeleteTreeW(HKEY_LOCAL_MACHINE, ListKey); }, Status::ProviderNotListed, Status::ProviderNotListed},
    {"disabled",   [](Machine&) { SetNumber(ListKey, L"Disabled", 1); }, Status::ProviderDisabled, Status::ProviderDisabled},
    {"excluded",   [](Machine&) { SetText(PolicyKey, L"ExcludedCredentialProviders", L"{0},{0ce326a8-c767-433f-82b9-601b2a27321e}"); }, Status::ProviderExcluded, Status::ProviderExcluded},
    {"no file",    [](Machine&) { SetText(ServerKey, nullptr, LR"(C:\nowhere\Provider.dll)"); }, Status::DllMissing, Status::DllMissing},
    {"no DLL",     [](Machine&) { SetText(ServerKey, nullptr, (OwnFolder() / "doctor_tests.exe").wstring()); }, Status::DllUnfit, Status::DllUnfit},
    {"other DLL",  [](Machine&) { SetText(ServerKey, nullptr, LR"("C:\windows\system32\vcsWavePba.dll")"); }, Status::DllUnfit, Status::DllUnfit},
};
const Row RowsWithoutService[] = {
    {"gone",                Unchanged,                                              Status::Offered,            Status::LibraryDecides},
    {"gone, library no",    [](Machine&) { SwitchOffInLibrary(); },                 Status::ServiceUnreachable, Status::LibraryDecides},
    {"gone, marked",        [](Machine& m) { m.SetMark(); },                        Status::ServiceUnreachable, Status::ServiceUnreachable},
};
// clang-format on

/// Nothing on the machine differs after the doctor's look at it.
void CheckUntouched(Machine& machine, Status expected)
{
    const auto before = TakeTraces();
    const bool marked = machine.IsMarked();
    machine.simulation->recorder.calls.clear();
    CHECK(Diagnose({}).status == expected);
    const WindowsModel::State state = machine.simulation.windows.Snapshot();
    CHECK(TakeTraces() == before);
    CHECK(machine.IsMarked() == marked);
    CHECK(OpenEventA(SYNCHRONIZE, FALSE, STR_CREDENTIAL_SERVICE) == nullptr);
    CHECK(state.texts.events.empty());
    CHECK(GetModuleHandleW(L"vcsWavePba.dll") == nullptr);
    for (const char* function :
         {"CreateEventA", "CreateEventW", "SetEvent", "RegCreateKeyExW", "RegSetValueExW",
          "WritePrivateProfileStringW", "SetupDiCallClassInstaller"}) {
        CAPTURE(function);
        CHECK(state.recorder.Count(function) == 0);
    }
    for (const WindowsModel::ServiceOpen& open : state.services.opens)
        CHECK(open.access == (open.service.empty() ? SC_MANAGER_CONNECT : SERVICE_QUERY_STATUS));
}

void CompareWithGate(std::span<const Row> rows)
{
    for (const Row& row : rows) {
        CAPTURE(row.what);
        Machine machine;
        row.change(machine);
        CheckUntouched(machine, row.unasked);
        const Diagnosis diagnosis = Diagnose({.askLibrary = true});
        CHECK(diagnosis.status == row.status);
        UnloadLibrary();
        const HRESULT gate = PassCreationGate();
        CHECK(Describe(diagnosis.status).result == gate);
        if (SUCCEEDED(gate))
            ReleaseCredentialServiceEvent();
    }
}

TEST_CASE("the verdict is the gate's, and nothing is changed")
{
    REQUIRE(g_service.Start());
    CompareWithGate(Rows);
    for (const Row& row : RegistrationRows) {
        CAPTURE(row.what);
        Machine machine;
        row.change(machine);
        CheckUntouched(machine, row.status);
    }
}

TEST_CASE("a DLL is told by its bytes, however many there are")
{
    std::ifstream whole(OwnFolder() / "VexaFPCredentialProvider.dll", std::ios::binary);
    std::string bytes(std::istreambuf_iterator<char>(whole), {});
    const fs::path file = OwnFolder() / "doctor_tests.bin";
    const auto look = [&](const std::string& content) {
        std::ofstream(file, std::ios::binary | std::ios::trunc) << content;
        return PeFile(file.wstring());
    };
    CHECK(look(bytes).Exports("DllCanUnloadNow"));
    CHECK_FALSE(look(bytes).Exports("DllCanUnload"));
    for (const size_t length : {0, 2, 63, 64, 130, 300, 500, 1000, 5000})
        CHECK_FALSE(look(bytes.substr(0, length)).Exports("DllCanUnloadNow"));
    // A header that points beyond the file.
    bytes[0x3F] = 0x7F;
    CHECK_FALSE(look(bytes).IsExecutable());
    fs::remove(file);
}

TEST_CASE("services are looked at once, and what the workers would meet is told")
{
    AnswerFromService(L"pba 0");
    REQUIRE(ServiceClient::TellOk(L"nobody"));
    Machine machine;
    machine.simulation->services.Script(L"vcsFPService", {{SERVICE_RUNNING, 0}});
    machine.simulation->services.Script(L"VexaFPService", {{SERVICE_START_PENDING, 60000}});
    const Diagnosis diagnosis = Diagnose({.askLibrary = true});
    CHECK(machine.simulation->clock.Sleeps().empty());
    CHECK(diagnosis.status == Status::Offered);
    const auto outcome = [&](std::wstring_view key) {
        const auto checks = AllChecks();
        const auto check = std::ranges::find(checks, key, &Check::key);
        return diagnosis.findings[static_cast<size_t>(check - checks.begin())].outcome;
    };
    CHECK(outcome(L"vcsFPService") == Outcome::Pass);
    CHECK(outcome(L"VexaFPService") == Outcome::Attention);
    CHECK(outcome(L"endpoint") == Outcome::Attention);
    CHECK(outcome(L"enrolment") == Outcome::Attention);
}

TEST_CASE("paths and quotes survive in the JSON object")
{
    Diagnosis diagnosis;
    diagnosis.findings.assign(AllChecks().size(), Pass(L"C:\\a \"b\"\n\xD800"));
    const std::wstring json = AsJson(diagnosis);
    CHECK(
        json.starts_with(LR"({"verdict":"offered","status":0,"reason":"offered","hresult":null,"checks":[)"));
    CHECK(json.find(LR"("text":"C:\\a \"b\"\u000a\ud800")") != std::wstring::npos);
}

// Last, for Wine's RPC runtime may not find a service again once it has missed one.
TEST_CASE("a service that hangs or is gone holds nobody up")
{
    REQUIRE((g_service.IsRunning() || g_service.Start()));
    {
        Machine machine;
        machine.SetMark();
        REQUIRE(g_service.Suspend());
        CHECK(Diagnose({.patience = 300}).status == Status::ServiceSilent);
        REQUIRE(g_service.Resume());
        // The call that was left to itself ends with its binding.
        for (int wait = 0; wait < 500 && g_hFPBinding != nullptr; ++wait)
            WindowsModel::RealSleep(10);
    }
    g_service.Kill();
    CompareWithGate(RowsWithoutService);
}

} // namespace
