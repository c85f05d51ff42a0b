#include "CreationGate.h"
#include "Doctor.h"
#include "Events.h"
#include "Module.h"
#include "PreBootLibrary/Script.h"
#include "Text.h"
#include "VexaFP.h"
#include "FitMachine/Fitness.h"
#include "ServiceClient/ServiceControl.h"
#include "ServiceClient/ServiceProcess.h"
#include "unit/base/Simulation.h"

#include <nlohmann/json.hpp>

#include <aclapi.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>

namespace fs = std::filesystem;

namespace {

#define CLASS_ID L"{0CE326A8-C767-433F-82B9-601B2A27321E}"
#define AUTHENTICATION LR"(SOFTWARE\Microsoft\Windows\CurrentVersion\Authentication\)"
constexpr wchar_t ProductKey[] = LR"(SOFTWARE\VEXA\FingerPrint)";
constexpr wchar_t ClassKey[] = LR"(SOFTWARE\Classes\CLSID\)" CLASS_ID;
constexpr wchar_t ServerKey[] = LR"(SOFTWARE\Classes\CLSID\)" CLASS_ID LR"(\InprocServer32)";
constexpr wchar_t ListKey[] = AUTHENTICATION LR"(Credential Providers\)" CLASS_ID;
constexpr wchar_t FilterKey[] = AUTHENTICATION L"Credential Provider Filters";
constexpr wchar_t SystemPolicy[] = LR"(SOFTWARE\Microsoft\Windows\CurrentVersion\Policies\System)";
constexpr wchar_t GroupPolicy[] = LR"(SOFTWARE\Policies\Microsoft\Windows\System)";
constexpr wchar_t TextLog[] = L"C:\\CPLog";
constexpr wchar_t EventLog[] = L"c:\\FPLog";

ServiceClient::ServiceProcess g_service;

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

/// Starts the service where none runs.
void AnswerFromService(const wchar_t* command)
{
    REQUIRE((g_service.IsRunning() || g_service.Start()));
    REQUIRE(ServiceClient::TellOk(command));
}

/// A registered provider on a fit machine whose logs are switched on.
struct Machine {
    Machine() : simulation(Group::Clock | Group::Devices | Group::Failures | Group::Services | Group::Texts)
    {
        Clear();
        REQUIRE(fit.emplace().IsFit());
        SetText(ServerKey, nullptr, (OwnFolder() / "VexaFPCredentialProvider.dll").wstring());
        SetText(ServerKey, L"ThreadingModel", L"Apartment");
        SetText(ListKey, nullptr, L"FingerPrint");
        fs::create_directory(TextLog);
        fs::create_directory(EventLog);
        simulation->clock.sleepScale = 0.01;
        simulation->services.Script(L"vcsFPService", {{SERVICE_RUNNING, 0}});
        simulation->services.Script(L"VexaFPService", {{SERVICE_RUNNING, 0}});
    }
    ~Machine()
    {
        Clear();
        if (g_service.IsRunning())
            ServiceClient::TellOk(L"reset");
    }
    static void Clear()
    {
        UnloadLibrary();
        FitMachine::RemovePreBootLibrary();
        // Also the sensor that a run of the logon leaves plugged in.
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, LR"(System\CurrentControlSet\Enum\USB\VID_138A&PID_0010)");
        for (const wchar_t* key : {ClassKey, ListKey, FilterKey})
            RegDeleteTreeW(HKEY_LOCAL_MACHINE, key);
        RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, ProductKey, L"Enable");
        for (const wchar_t* key : {SystemPolicy, GroupPolicy})
            RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, key, L"ExcludedCredentialProviders");
        std::error_code error;
        for (const wchar_t* path : {TextLog, EventLog, LR"(C:\Users\Public\VEXA\FingerPrint\config.ini)"})
            fs::remove_all(path, error);
    }

    Simulation simulation;
    std::optional<FitMachine::Scope> fit;
};

void SetLimit(const wchar_t* enable, const wchar_t* count)
{
    constexpr wchar_t file[] = LR"(C:\Users\Public\VEXA\FingerPrint\config.ini)";
    fs::create_directories(fs::path(file).parent_path());
    REQUIRE(WritePrivateProfileStringW(L"Public", L"LockEnable", enable, file));
    REQUIRE(WritePrivateProfileStringW(L"Public", L"LockCount", count, file));
}

void WriteLog(const wchar_t* name, std::wstring_view text)
{
    std::ofstream file(fs::path(TextLog) / name, std::ios::binary);
    file.write(reinterpret_cast<const char*>(text.data()), std::streamsize(text.size() * sizeof(wchar_t)));
}

/// One line as the provider writes it.
#define LOG(text) L"11:09:37  VexaFPCredential.cpp L=232 " text L"\r\n"

void WriteOlderLog()
{
    WriteLog(L"12-00-00.txt", LOG(L"CSample_CreateInstance : return 0x0"));
    const fs::path file = fs::path(TextLog) / L"12-00-00.txt";
    fs::last_write_time(file, fs::last_write_time(file) - std::chrono::hours(1));
}

void LetEverybodyWrite(const wchar_t* folder)
{
    REQUIRE(SetNamedSecurityInfoW(const_cast<wchar_t*>(folder), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION,
                                  nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS);
}

void ServeFrom(const fs::path& file)
{
    SetText(ServerKey, nullptr, file.wstring());
}

void SetState(Machine& machine, DWORD state)
{
    machine.simulation->services.Script(L"VexaFPService", {{state, 60000}});
}

struct FindingRow {
    void (*change)(Machine& machine);
    const wchar_t* check;
    Outcome outcome;
    Status status;
    /// Of what is told and advised.
    const wchar_t* part;
};

// clang-format off
const FindingRow FindingRows[] = {
    // LogonUI
    {[](Machine&) { RegDeleteTreeW(HKEY_LOCAL_MACHINE, ClassKey); }, L"class", Outcome::Refusal, Status::ClassMissing, L"no InprocServer32"},
    {[](Machine&) { RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, ServerKey, L"ThreadingModel"); }, L"threading-model", Outcome::Refusal, Status::ThreadingModel, L"missing"},
    {[](Machine&) { SetText(ServerKey, L"ThreadingModel", L"Free"); }, L"threading-model", Outcome::Refusal, Status::ThreadingModel, L"\"Free\", and only"},
    {[](Machine&) { SetText(ServerKey, L"ThreadingModel", L"both"); }, L"threading-model", Outcome::Pass, Status::Offered, L"both"},
    {[](Machine&) { RegDeleteTreeW(HKEY_LOCAL_MACHINE, ListKey); AnswerFromService(L"pba 0"); }, L"provider", Outcome::Refusal, Status::ProviderNotListed, L"not in the list"},
    {[](Machine&) { SetNumber(ListKey, L"Disabled", 1); }, L"provider", Outcome::Refusal, Status::ProviderDisabled, L"Delete \"Disabled\""},
    {[](Machine&) { SetText(SystemPolicy, L"ExcludedCredentialProviders", L"{0},{0ce326a8-c767-433f-82b9-601b2a27321e}"); }, L"policy", Outcome::Refusal, Status::ProviderExcluded, L"CurrentVersion"},
    {[](Machine&) { SetText(GroupPolicy, L"ExcludedCredentialProviders", std::wstring(5000, L',') + CLASS_ID); }, L"policy", Outcome::Refusal, Status::ProviderExcluded, L"SOFTWARE\\Policies"},
    {[](Machine&) { SetText(AUTHENTICATION LR"(Credential Provider Filters\{1})", nullptr, L"Ours\x1B"); }, L"filters", Outcome::Attention, Status::Offered, LR"("{1}" "Ours\x1b")"},
    {[](Machine&) { SetText(AUTHENTICATION LR"(Credential Provider Filters\{ddc0eed2-adbe-40b6-a217-ede16a79a0de})", nullptr, L"GenericFilter"); }, L"filters", Outcome::Pass, Status::Offered, L"none but"},
    {[](Machine&) { ServeFrom(LR"(C:\nowhere\Provider.dll)"); }, L"dll", Outcome::Refusal, Status::DllMissing, L"there is no file"},
    {[](Machine&) { ServeFrom(OwnFolder() / "doctor_tests.exe"); }, L"dll", Outcome::Refusal, Status::DllUnfit, L"a program, not a DLL"},
    {[](Machine&) { ServeFrom(LR"("C:\windows\system32\vcsWavePba.dll")"); }, L"dll", Outcome::Refusal, Status::DllUnfit, L"is no COM server"},
    {[](Machine&) { const fs::path copy = OwnFolder() / "doctor_tests.bin"; fs::copy_file(OwnFolder() / "VexaFPCredentialProvider.dll", copy, fs::copy_options::overwrite_existing); ServeFrom(copy); }, L"dll", Outcome::Warning, Status::Offered, L"is renamed"},
    // The gate; its verdicts are compared elsewhere
    {[](Machine&) { FitMachine::SetSwitch({}); SetText(LR"(SOFTWARE\WOW6432Node\VEXA\FingerPrint)", L"Enable", L"1"); }, L"enable", Outcome::Refusal, Status::SwitchedOff, L"REG_SZ of 4 bytes"},
    {[](Machine& m) { m.simulation->devices.problem = 43; }, L"sensor", Outcome::Attention, Status::Offered, L"problem 43"},
    {[](Machine&) { REQUIRE(FitMachine::InstallPreBootLibrary(L"creds")); }, L"exports", Outcome::Warning, Status::Offered, L"lacks vcsWavPbaGetAuthUserCreds"},
    // The workers
    {[](Machine& m) { SetState(m, SERVICE_STOPPED); }, L"VexaFPService", Outcome::Attention, Status::Offered, L"stopped Start"},
    {[](Machine& m) { SetState(m, SERVICE_START_PENDING); }, L"VexaFPService", Outcome::Attention, Status::Offered, L"starting Wait"},
    {[](Machine& m) { m.simulation.FailNext("OpenSCManagerW", ERROR_ACCESS_DENIED); }, L"vcsFPService", Outcome::Unknown, Status::Offered, L"(error 5)"},
    {[](Machine& m) { m.simulation->services.services.clear(); }, L"vcsFPService", Outcome::Attention, Status::Offered, L"no such service"},
    {[](Machine&) { AnswerFromService(L"pba 0"); }, L"endpoint", Outcome::Attention, Status::LibraryDecides, L"switch fingerprint logon off"},
    {[](Machine&) { AnswerFromService(L"nobody"); }, L"enrolment", Outcome::Attention, Status::Offered, L"none"},
    {[](Machine&) {}, L"enrolment", Outcome::Pass, Status::Offered, L"1 record "},
    {[](Machine&) { AnswerFromService(L"enrol CORP Ben secret"); }, L"enrolment", Outcome::Pass, Status::Offered, L"2 records "},
    {[](Machine&) { SetLimit(L"0", L"3"); }, L"lock-out", Outcome::Note, Status::Offered, L"switched off"},
    {[](Machine&) { SetLimit(L"1", L"0"); }, L"lock-out", Outcome::Note, Status::Offered, L"without a limit"},
    {[](Machine&) { SetLimit(L"1", L"1"); }, L"lock-out", Outcome::Note, Status::Offered, L"after 1 matched finger,"},
    // What is left behind
    {[](Machine&) {}, L"folders", Outcome::Pass, Status::Offered, L"ordinary users can't"},
    {[](Machine&) { LetEverybodyWrite(EventLog); }, L"folders", Outcome::Warning, Status::Offered, L"may be written: c:\\FPLog by Everyone"},
    {[](Machine&) { fs::remove(TextLog); }, L"last-logon", Outcome::Skipped, Status::Offered, L"switched off"},
    {[](Machine&) { WriteLog(L"11-09-37.txt", L"11:09:3"); }, L"last-logon", Outcome::Skipped, Status::Offered, L"tells of none"},
    {[](Machine&) { WriteLog(L"11-09-37.txt", LOG(L"CSample_CreateInstance : start") LOG(L"CSample_CreateInstance :  GetDeviceVersion retry 3 times")); }, L"last-logon", Outcome::Note, Status::Offered, L"11:09:37: no tile: there was no sensor"},
    {[](Machine&) { WriteLog(L"11-09-37.txt", LOG(L"CCommandWindow::WndProc : user ReportResult : Start 0")); }, L"last-logon", Outcome::Note, Status::Offered, L"refused its account's password"},
    {[](Machine&) { WriteLog(L"11-09-37.txt", std::wstring(600001, L'x') + L"\r\n" LOG(L"CVexaFPCredential::ReportResult : Start 0 0") LOG(L"CVexaFPCredential::UnAdvise : Start")); WriteOlderLog(); }, L"last-logon", Outcome::Note, Status::Offered, L"logged the user on"},
    {[](Machine&) { WriteLog(L"11-09-37.txt", LOG(L"CVexaFPCredential::ReportResult : Start 0 0") LOG(L"CVexaFPCredential::ReportResult : Start C000006D 0")); }, L"last-logon", Outcome::Note, Status::Offered, L"status 0xC000006D: "},
};
// clang-format on

const Finding& FindingOf(const Diagnosis& diagnosis, std::wstring_view key)
{
    const auto checks = AllChecks();
    return diagnosis.findings[size_t(std::ranges::find(checks, key, &Check::key) - checks.begin())];
}

TEST_CASE("each check tells what it finds")
{
    AnswerFromService(L"reset");
    for (const FindingRow& row : FindingRows) {
        Machine machine;
        row.change(machine);
        const Diagnosis diagnosis = Diagnose({.askLibrary = row.status == Status::Offered});
        const Finding& finding = FindingOf(diagnosis, row.check);
        const std::string told = ToUtf8(finding.text + L' ' + finding.advice);
        CAPTURE(told);
        CAPTURE(ToUtf8(row.part));
        CHECK(diagnosis.status == row.status);
        CHECK(finding.outcome == row.outcome);
        CHECK(told.find(ToUtf8(row.part)) != std::string::npos);
        // Services are looked at once.
        CHECK(machine.simulation->recorder.Count("Sleep") == 0);
    }
    fs::remove(OwnFolder() / "doctor_tests.bin");
}

TEST_CASE("a DLL may be cut anywhere")
{
    std::ifstream whole(OwnFolder() / "VexaFPCredentialProvider.dll", std::ios::binary);
    std::string bytes(std::istreambuf_iterator<char>(whole), {});
    const fs::path file = OwnFolder() / "doctor_tests.bin";
    const auto look = [&](const std::string& content, const char* function) {
        std::ofstream(file, std::ios::binary | std::ios::trunc) << content;
        const DllFile seen = LookIntoDll(file.wstring(), {function});
        return seen.unfit.empty() && seen.lacking == nullptr;
    };
    CHECK(look(bytes, "DllCanUnloadNow"));
    CHECK_FALSE(look(bytes, "DllCanUnload"));
    for (const size_t length : {0, 2, 63, 64, 130, 300, 500, 1000, 5000, 60000})
        CHECK_FALSE(look(bytes.substr(0, length), "DllCanUnloadNow"));
    // A header that points beyond the file.
    bytes[0x3F] = 0x7F;
    CHECK_FALSE(look(bytes, "DllCanUnloadNow"));
    fs::remove(file);
}

TEST_CASE("a check that does not come back is left to itself, with what it knows")
{
    static const KernelHandle never(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    constexpr Check check{L"stuck", L"Stuck", [](Examination& own) {
                              own.dll = L"nobody looks at it";
                              WaitForSingleObject(never.Get(), 20000);
                              return Finding{Outcome::Pass, L"late"};
                          }};
    Examination examination{.choices = {.limit = 50}};
    const Finding finding = LookBounded(check, examination);
    CHECK(finding.outcome == Outcome::Unknown);
    CHECK(finding.status == Status::CheckSilent);
    CHECK(examination.dll.empty());
    SetEvent(never.Get());
}

TEST_CASE("the conclusion counts what keeps a logon from succeeding, and JSON tells the same")
{
    AnswerFromService(L"nobody");
    Machine machine;
    SetState(machine, SERVICE_STOPPED);
    machine.simulation.FailNext("OpenSCManagerW", ERROR_ACCESS_DENIED);
    LetEverybodyWrite(EventLog);
    Diagnosis diagnosis = Diagnose({});
    CHECK(AsText(diagnosis).ends_with(
        L"\nA tile would be offered, but 2 things keep, or may keep, a logon from "
        L"succeeding: VexaFPService, Enrolled fingers.\n"
        L"Can't be told: vcsFPService.\n"
        L"Not as it should be: Folders' rights.\n"));
    // Neither may spoil the object.
    diagnosis.findings.front().text = L"C:\\a \"b\"\n\xD800";
    auto json = nlohmann::json::parse(ToUtf8(AsJson(diagnosis)));
    CHECK(json["checks"].size() == AllChecks().size());
    CHECK(json["checks"][0]["text"] == "C:\\a \"b\"\n\xEF\xBF\xBD");
    CHECK_FALSE(json["computer"].get<std::string>().empty());
    json.erase("checks");
    json.erase("computer");
    json.erase("version");
    CHECK(json == nlohmann::json::parse(R"({"elevated":true,"verdict":"offered","status":0,"reason":"offered",
                                            "hresult":null,"attention":2,"warnings":1})"));
}

// Wine reports no device's problems: `run doctor` shows this text for want of a machine with a disabled
// sensor.
TEST_CASE("a disabled sensor is told")
{
    Machine machine;
    machine.simulation->devices.problem = 22;
    const std::wstring text = AsText(Diagnose({}));
    PrintOut(text);
    CHECK(text.find(L"NO  Sensor               product 0010 is disabled (problem 22)   <== here\n") !=
          text.npos);
    CHECK(text.ends_with(L"No tile: the sensor is disabled (the logon screen is told 0x80004001).\n"
                         L"What to do: Enable the device in the device manager.\n"));
}

/// The files of the places that the product knows, which a program that changes nothing leaves as they are.
std::map<std::wstring, ULONGLONG> TakeTraces()
{
    std::map<std::wstring, ULONGLONG> traces;
    for (const wchar_t* folder : {L"C:\\", TextLog, EventLog, LR"(C:\Users\Public\VEXA\FingerPrint)"}) {
        std::error_code error;
        for (const fs::directory_entry& entry : fs::directory_iterator(folder, error))
            traces[entry.path().wstring()] = entry.is_directory() ? 0 : entry.file_size();
    }
    return traces;
}

void SetMark()
{
    SetEvent(FitMachine::OpenPreBootMark().Get());
}

void Lack(const wchar_t* function)
{
    REQUIRE(FitMachine::InstallPreBootLibrary(function));
}

void SwitchOffInLibrary()
{
    PreBootLibrary::Script script;
    script.enabled = 0;
    REQUIRE(PreBootLibrary::Store(script));
}

struct VerdictRow {
    std::string what;
    void (*change)(Machine& machine);
    Status status;
    /// Without running the library's code.
    Status unasked;
};

constexpr auto Unchanged = [](Machine&) {};

// clang-format off
const VerdictRow VerdictRows[] = {
    {"fit",                 Unchanged,                                              Status::Offered,        Status::Offered},
    {"no sensor",           [](Machine&) { FitMachine::PullOut(); },                   Status::NoSensor,       Status::NoSensor},
    {"disabled",            [](Machine& m) { m.simulation->devices.problem = 22; }, Status::SensorDisabled, Status::SensorDisabled},
    {"no library",          [](Machine&) { FitMachine::RemovePreBootLibrary(); },      Status::LibraryMissing, Status::LibraryMissing},
    {"switched off",        [](Machine&) { FitMachine::SetSwitch(0); },                Status::SwitchedOff,    Status::SwitchedOff},
    {"in the wrong view",   [](Machine&) { FitMachine::SetSwitch({}); SetNumber(ProductKey, L"Enable", 1); }, Status::WrongView, Status::WrongView},
    {"no open",             [](Machine&) { Lack(L"open"); },                        Status::ExportMissing,  Status::ExportMissing},
    {"no enabled",          [](Machine&) { Lack(L"enabled"); },                     Status::ExportMissing,  Status::ExportMissing},
    {"no close",            [](Machine&) { Lack(L"close"); },                       Status::ExportMissing,  Status::ExportMissing},
    {"a damaged library",   [](Machine&) { std::ofstream(fs::path(LR"(c:\windows\system32\vcsWavePba.dll)")) << "MZ, or not"; }, Status::LibraryUnfit, Status::LibraryUnfit},
    {"library no",          [](Machine&) { SwitchOffInLibrary(); },                 Status::Offered,        Status::Offered},
    {"service no",          [](Machine&) { AnswerFromService(L"pba 0"); },          Status::Offered,        Status::LibraryDecides},
    {"both no",             [](Machine&) { SwitchOffInLibrary(); AnswerFromService(L"pba 2"); }, Status::ServiceRefuses, Status::LibraryDecides},
    {"marked, service yes", [](Machine&) { SwitchOffInLibrary(); SetMark(); },      Status::Offered,        Status::Offered},
    {"marked, service no",  [](Machine&) { SetMark(); AnswerFromService(L"pba 0"); }, Status::ServiceRefuses, Status::ServiceRefuses},
};
const VerdictRow RowsWithoutService[] = {
    {"gone",                Unchanged,                                              Status::Offered,            Status::LibraryDecides},
    {"gone, library no",    [](Machine&) { SwitchOffInLibrary(); },                 Status::ServiceUnreachable, Status::LibraryDecides},
    {"gone, marked",        [](Machine&) { SetMark(); },                            Status::ServiceUnreachable, Status::ServiceUnreachable},
};
// clang-format on

/// Nothing on the machine differs after the doctor's look at it.
void CheckUntouched(Machine& machine, Status expected)
{
    const auto before = TakeTraces();
    const bool marked = machine.fit->IsChecked();
    machine.simulation->recorder.calls.clear();
    machine.simulation->services.opens.clear();
    CHECK(Diagnose({}).status == expected);
    const WindowsModel::State state = machine.simulation.windows.Snapshot();
    CHECK(TakeTraces() == before);
    CHECK(machine.fit->IsChecked() == marked);
    CHECK(OpenEventA(SYNCHRONIZE, FALSE, STR_CREDENTIAL_SERVICE) == nullptr);
    CHECK(state.texts.events.empty());
    CHECK(GetModuleHandleW(L"vcsWavePba.dll") == nullptr);
    for (const char* function : {"CreateEventA", "CreateEventW", "SetEvent", "RegCreateKeyExW",
                                 "RegSetValueExW", "WritePrivateProfileStringW"}) {
        CAPTURE(function);
        CHECK(state.recorder.Count(function) == 0);
    }
    CHECK(state.services.opens.size() == 4);
    for (const WindowsModel::ServiceOpen& open : state.services.opens)
        CHECK(open.access == (open.service.empty() ? SC_MANAGER_CONNECT : SERVICE_QUERY_STATUS));
}

void CompareWithGate(std::span<const VerdictRow> rows)
{
    for (const VerdictRow& row : rows) {
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

// The last case of all, for Wine's RPC runtime may not find a service again once it has missed one.
TEST_CASE(
    "the verdict is the gate's, nothing is changed, and a service that hangs or is gone holds nobody up")
{
    AnswerFromService(L"reset");
    CompareWithGate(VerdictRows);
    {
        Machine machine;
        SetMark();
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
