#include "CreationGate.h"
#include "Doctor.h"
#include "IniFile.h"
#include "Module.h"
#include "Text.h"
#include "VexaFP.h"
#include "FitMachine/Fitness.h"
#include "ServiceClient/ServiceControl.h"
#include "ServiceClient/ServiceProcess.h"
#include "unit/base/Simulation.h"

#include <aclapi.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>

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
constexpr wchar_t LibraryScript[] = LR"(SOFTWARE\Fingerprint Simulator\PreBoot)";
constexpr wchar_t TextLog[] = L"C:\\CPLog";
constexpr wchar_t EventLog[] = L"c:\\FPLog";

ServiceClient::ServiceProcess g_service;

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

/// Starts the service where none runs.
void AnswerFromService(const wchar_t* command)
{
    REQUIRE((g_service.IsRunning() || g_service.Start()));
    REQUIRE(ServiceClient::TellOk(command));
}

void ServeFrom(const fs::path& file)
{
    SetText(ServerKey, nullptr, file.wstring());
}

/// A registered provider on a fit machine whose logs are switched on.
struct Machine {
    Machine() : simulation(Group::Clock | Group::Devices | Group::Failures | Group::Services | Group::Texts)
    {
        Clear();
        REQUIRE(fit.emplace().IsFit());
        ServeFrom(FitMachine::BuildFolder() / "VexaFPCredentialProvider.dll");
        SetText(ServerKey, L"ThreadingModel", L"Apartment");
        SetText(ListKey, nullptr, L"FingerPrint");
        fs::create_directory(TextLog);
        fs::create_directory(EventLog);
        simulation->clock.sleepScale = 0.01;
        for (const wchar_t* service : {L"vcsFPService", L"VexaFPService"})
            simulation->services.Script(service, {{SERVICE_RUNNING, 0}});
    }
    ~Machine() { Clear(); }
    static void Clear()
    {
        if (g_service.IsRunning())
            ServiceClient::TellOk(L"reset");
        FitMachine::UnloadPreBootLibrary();
        FitMachine::RemovePreBootLibrary();
        // Also the sensor that a run of the logon leaves plugged in.
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, LR"(System\CurrentControlSet\Enum\USB\VID_138A&PID_0010)");
        for (const wchar_t* key : {ClassKey, ListKey, FilterKey})
            RegDeleteTreeW(HKEY_LOCAL_MACHINE, key);
        RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, ProductKey, L"Enable");
        for (const wchar_t* key : {SystemPolicy, GroupPolicy})
            RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, key, L"ExcludedCredentialProviders");
        std::error_code error;
        for (const wchar_t* path : {TextLog, EventLog, IniPath})
            fs::remove_all(path, error);
    }

    Simulation simulation;
    std::optional<FitMachine::Scope> fit;
};

/// One line as the provider writes it.
#define LOG(text) L"11:09:37  VexaFPCredential.cpp L=232 " text L"\r\n"

void WriteLog(std::wstring_view text, const wchar_t* name = L"11-09-37.txt", std::chrono::hours age = {})
{
    const fs::path path = fs::path(TextLog) / name;
    std::ofstream(path, std::ios::binary)
        .write(reinterpret_cast<const char*>(text.data()), std::streamsize(text.size() * sizeof(wchar_t)));
    fs::last_write_time(path, fs::last_write_time(path) - age);
}

void LetEverybodyWriteEventLog()
{
    REQUIRE(SetNamedSecurityInfoW(const_cast<wchar_t*>(EventLog), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION,
                                  nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS);
}

TEST_CASE("neither a service that hangs nor a check that does not come back holds anybody up")
{
    AnswerFromService(L"reset");
    Machine machine;
    machine.fit->MarkChecked();
    REQUIRE(g_service.Suspend());
    CHECK(Diagnose({.patience = 300}).status == Status::ServiceSilent);
    REQUIRE(g_service.Resume());
    // The call that was left to itself ends with its binding.
    for (int wait = 0; wait < 500 && g_hFPBinding != nullptr; ++wait)
        WindowsModel::RealSleep(10);

    constexpr Check stuck{L"stuck", L"Stuck", [](Examination& own) {
                              own.dll = L"nobody looks at it";
                              WindowsModel::RealSleep(2000);
                              return Finding{Outcome::Pass, L"late"};
                          }};
    Examination examination{.choices = {.limit = 50}};
    const Finding finding = LookBounded(stuck, examination);
    CHECK(finding.outcome == Outcome::Unknown);
    CHECK(finding.status == Status::CheckSilent);
    CHECK(examination.dll.empty());
}

TEST_CASE("the conclusion counts what keeps a logon from succeeding, and JSON tells the same")
{
    Machine machine;
    AnswerFromService(L"nobody");
    machine.simulation->services.Script(L"VexaFPService", {{SERVICE_STOPPED, 0}});
    machine.simulation.FailNext("OpenSCManagerW", ERROR_ACCESS_DENIED);
    LetEverybodyWriteEventLog();
    Diagnosis diagnosis = Diagnose({});
    CHECK(AsText(diagnosis).ends_with(
        L"\nA tile would be offered, but 2 things keep, or may keep, a logon from "
        L"succeeding: VexaFPService, Enrolled fingers.\n"
        L"Can't be told: vcsFPService.\n"
        L"Not as it should be: Folders' rights.\n"));
    // Neither may spoil the object.
    diagnosis.findings.front().text = L"C:\\a \"b\"\n\xD800";
    const std::string json = ToUtf8(AsJson(diagnosis));
    CAPTURE(json);
    CHECK(json.find(R"("elevated":true,"verdict":"offered","status":0,"reason":"offered","hresult":null,)"
                    R"("attention":2,"warnings":1,"checks":[{"check":"class","outcome":"pass",)"
                    R"("text":"C:\\a \"b\"\n)"
                    "\uFFFD\"") != json.npos);
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

struct Row {
    void (*change)(Machine& machine);
    const wchar_t* check;
    Outcome outcome;
    /// Of what is told and advised.
    const wchar_t* part;
    Status status = Status::Offered;
    /// Once the library was asked, too.
    Status asked = status;
};

// clang-format off
const Row Rows[] = {
    // LogonUI
    {[](Machine&) { RegDeleteTreeW(HKEY_LOCAL_MACHINE, ClassKey); }, L"class", Outcome::Refusal, L"no InprocServer32", Status::ClassMissing},
    {[](Machine&) { RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, ServerKey, L"ThreadingModel"); }, L"threading-model", Outcome::Refusal, L"missing", Status::ThreadingModel},
    {[](Machine&) { SetText(ServerKey, L"ThreadingModel", L"Free"); }, L"threading-model", Outcome::Refusal, L"\"Free\", and only", Status::ThreadingModel},
    {[](Machine&) { SetText(ServerKey, L"ThreadingModel", L"both"); }, L"threading-model", Outcome::Pass, L"both"},
    {[](Machine&) { RegDeleteTreeW(HKEY_LOCAL_MACHINE, ListKey); AnswerFromService(L"pba 0"); }, L"provider", Outcome::Refusal, L"not in the list", Status::ProviderNotListed},
    {[](Machine&) { SetNumber(ListKey, L"Disabled", 1); }, L"provider", Outcome::Refusal, L"Delete \"Disabled\"", Status::ProviderDisabled},
    {[](Machine&) { SetText(SystemPolicy, L"ExcludedCredentialProviders", L"{0},{0ce326a8-c767-433f-82b9-601b2a27321e}"); }, L"policy", Outcome::Refusal, L"CurrentVersion", Status::ProviderExcluded},
    {[](Machine&) { SetText(GroupPolicy, L"ExcludedCredentialProviders", std::wstring(5000, L',') + CLASS_ID); }, L"policy", Outcome::Refusal, L"SOFTWARE\\Policies", Status::ProviderExcluded},
    {[](Machine&) { SetText(AUTHENTICATION LR"(Credential Provider Filters\{1})", nullptr, L"Ours\x1B"); }, L"filters", Outcome::Attention, LR"("{1}" "Ours\x1b")"},
    {[](Machine&) { SetText(AUTHENTICATION LR"(Credential Provider Filters\{ddc0eed2-adbe-40b6-a217-ede16a79a0de})", nullptr, L"GenericFilter"); }, L"filters", Outcome::Pass, L"none but"},
    {[](Machine&) { ServeFrom(LR"(C:\nowhere\Provider.dll)"); }, L"dll", Outcome::Refusal, L"there is no file", Status::DllMissing},
    {[](Machine&) { ServeFrom(FitMachine::BuildFolder() / "doctor_tests.exe"); }, L"dll", Outcome::Refusal, L"a program, not a DLL", Status::DllUnfit},
    {[](Machine&) { ServeFrom(LR"("C:\windows\system32\vcsWavePba.dll")"); }, L"dll", Outcome::Refusal, L"is no COM server", Status::DllUnfit},
    {[](Machine&) { const fs::path copy = FitMachine::BuildFolder() / "doctor_tests.bin"; CopyFileW((FitMachine::BuildFolder() / "VexaFPCredentialProvider.dll").c_str(), copy.c_str(), FALSE); ServeFrom(copy); }, L"dll", Outcome::Warning, L"is renamed"},
    // The gate
    {[](Machine&) { FitMachine::PullOut(); }, L"sensor", Outcome::Refusal, L"no device of vendor 138A", Status::NoSensor},
    {[](Machine& m) { m.simulation->devices.problem = 22; }, L"sensor", Outcome::Refusal, L"is disabled", Status::SensorDisabled},
    {[](Machine& m) { m.simulation->devices.problem = 43; }, L"sensor", Outcome::Attention, L"problem 43"},
    {[](Machine&) { FitMachine::RemovePreBootLibrary(); }, L"library", Outcome::Refusal, L"there is no file", Status::LibraryMissing},
    {[](Machine&) { FitMachine::SetSwitch(0); }, L"enable", Outcome::Refusal, L"0 in the 32-bit view", Status::SwitchedOff},
    {[](Machine&) { FitMachine::SetSwitch({}); SetNumber(ProductKey, L"Enable", 1); }, L"enable", Outcome::Refusal, L"no DWORD in the 32-bit view; 1 in the 64-bit view", Status::WrongView},
    {[](Machine&) { FitMachine::SetSwitch({}); SetText(LR"(SOFTWARE\WOW6432Node\VEXA\FingerPrint)", L"Enable", L"1"); }, L"enable", Outcome::Refusal, L"REG_SZ of 4 bytes", Status::SwitchedOff},
    {[](Machine&) { FitMachine::InstallPreBootLibrary(L"open"); }, L"exports", Outcome::Refusal, L"lacks vcsWavPbaOpen", Status::ExportMissing},
    {[](Machine&) { FitMachine::InstallPreBootLibrary(L"enabled"); }, L"exports", Outcome::Refusal, L"lacks vcsWavIsPbaEnabled", Status::ExportMissing},
    {[](Machine&) { FitMachine::InstallPreBootLibrary(L"close"); }, L"exports", Outcome::Refusal, L"lacks vcsWavPbaClose", Status::ExportMissing},
    {[](Machine&) { FitMachine::InstallPreBootLibrary(L"creds"); }, L"exports", Outcome::Warning, L"lacks vcsWavPbaGetAuthUserCreds"},
    {[](Machine&) { fs::resize_file(LR"(c:\windows\system32\vcsWavePba.dll)", 5000); }, L"exports", Outcome::Refusal, L"can't be loaded", Status::LibraryUnfit},
    {[](Machine&) { SetNumber(LibraryScript, L"Enabled", 0); }, L"pre-boot", Outcome::Pass, L"the service says yes"},
    {[](Machine&) { SetNumber(LibraryScript, L"Enabled", 0); AnswerFromService(L"pba 2"); }, L"pre-boot", Outcome::Unknown, L"answers 2; a tile appears only if", Status::LibraryDecides, Status::ServiceRefuses},
    {[](Machine& m) { SetNumber(LibraryScript, L"Enabled", 0); m.fit->MarkChecked(); }, L"step1", Outcome::Note, L"a tile asks the service alone"},
    {[](Machine& m) { m.fit->MarkChecked(); AnswerFromService(L"pba 0"); }, L"pre-boot", Outcome::Refusal, L"the service answers 0", Status::ServiceRefuses},
    // The workers
    {[](Machine& m) { m.simulation->services.Script(L"VexaFPService", {{SERVICE_STOPPED, 60000}}); }, L"VexaFPService", Outcome::Attention, L"stopped Start"},
    {[](Machine& m) { m.simulation->services.Script(L"vcsFPService", {{SERVICE_START_PENDING, 60000}}); }, L"vcsFPService", Outcome::Attention, L"starting Wait"},
    {[](Machine& m) { m.simulation.FailNext("OpenSCManagerW", ERROR_ACCESS_DENIED); }, L"vcsFPService", Outcome::Unknown, L"(error 5)"},
    {[](Machine& m) { m.simulation->services.services.clear(); }, L"vcsFPService", Outcome::Attention, L"no such service"},
    {[](Machine&) { AnswerFromService(L"pba 0"); }, L"endpoint", Outcome::Attention, L"switch fingerprint logon off", Status::LibraryDecides, Status::Offered},
    {[](Machine&) { AnswerFromService(L"nobody"); }, L"enrolment", Outcome::Attention, L"none"},
    {[](Machine&) {}, L"enrolment", Outcome::Pass, L"1 record "},
    {[](Machine&) { AnswerFromService(L"enrol CORP Ben secret"); }, L"enrolment", Outcome::Pass, L"2 records "},
    {[](Machine&) { FitMachine::SetLimit(0, 3); }, L"lock-out", Outcome::Note, L"switched off"},
    {[](Machine&) { FitMachine::SetLimit(1, 0); }, L"lock-out", Outcome::Note, L"without a limit"},
    {[](Machine&) { FitMachine::SetLimit(1, 1); }, L"lock-out", Outcome::Note, L"after 1 matched finger,"},
    // What is left behind
    {[](Machine&) {}, L"folders", Outcome::Pass, L"ordinary users can't"},
    {[](Machine&) { LetEverybodyWriteEventLog(); }, L"folders", Outcome::Warning, L"may be written: c:\\FPLog by Everyone"},
    {[](Machine&) { fs::remove(TextLog); }, L"last-logon", Outcome::Skipped, L"switched off"},
    {[](Machine&) { WriteLog(L"11:09:3"); }, L"last-logon", Outcome::Skipped, L"tells of none"},
    {[](Machine&) { WriteLog(LOG(L"CSample_CreateInstance : start") LOG(L"CSample_CreateInstance :  GetDeviceVersion retry 3 times")); }, L"last-logon", Outcome::Note, L"11:09:37: no tile: there was no sensor"},
    {[](Machine&) { WriteLog(LOG(L"CCommandWindow::WndProc : user ReportResult : Start 0")); }, L"last-logon", Outcome::Note, L"refused its account's password"},
    {[](Machine&) { WriteLog(std::wstring(600001, L'x') + L"\r\n" LOG(L"CVexaFPCredential::ReportResult : Start 0 0") LOG(L"CVexaFPCredential::UnAdvise : Start")); WriteLog(LOG(L"CSample_CreateInstance : return 0x0"), L"12-00-00.txt", std::chrono::hours(1)); }, L"last-logon", Outcome::Note, L"logged the user on"},
    {[](Machine&) { WriteLog(LOG(L"CVexaFPCredential::ReportResult : Start 0 0") LOG(L"CVexaFPCredential::ReportResult : Start C000006D 0")); }, L"last-logon", Outcome::Note, L"status 0xC000006D: "},
    // Last of all: without the service
    {[](Machine&) { g_service.Kill(); }, L"endpoint", Outcome::Attention, L"Have VexaFPService running", Status::LibraryDecides, Status::Offered},
    {[](Machine&) { SetNumber(LibraryScript, L"Enabled", 0); }, L"pre-boot", Outcome::Unknown, L"can't be reached", Status::LibraryDecides, Status::ServiceUnreachable},
    {[](Machine& m) { m.fit->MarkChecked(); }, L"pre-boot", Outcome::Refusal, L"can't be reached", Status::ServiceUnreachable},
};
// clang-format on

/// Files and bytes in the places that the product knows.
uintmax_t CountFiles()
{
    uintmax_t count = 0;
    std::error_code error;
    for (const wchar_t* folder : {L"C:\\", TextLog, EventLog, LR"(C:\Users\Public\VEXA\FingerPrint)"}) {
        for (const fs::directory_entry& entry : fs::directory_iterator(folder, error))
            count += 1 + (entry.is_directory() ? 0 : entry.file_size());
    }
    return count;
}

/// What the doctor tells, with nothing on the machine changed by it.
Diagnosis DiagnoseUntouched(Machine& machine)
{
    const auto files = CountFiles();
    const bool marked = machine.fit->IsChecked();
    machine.simulation->recorder.calls.clear();
    Diagnosis diagnosis = Diagnose({});
    const WindowsModel::State state = machine.simulation.windows.Snapshot();
    CHECK(CountFiles() == files);
    CHECK(machine.fit->IsChecked() == marked);
    CHECK(state.texts.events.empty());
    CHECK(GetModuleHandleW(L"vcsWavePba.dll") == nullptr);
    // Services are looked at once: there is no sleep.
    for (const char* function : {"CreateEventA", "CreateEventW", "SetEvent", "RegCreateKeyExW",
                                 "RegSetValueExW", "WritePrivateProfileStringW", "Sleep"}) {
        CAPTURE(function);
        CHECK(state.recorder.Count(function) == 0);
    }
    for (const WindowsModel::ServiceOpen& open : state.services.opens)
        CHECK(open.access == (open.service.empty() ? SC_MANAGER_CONNECT : SERVICE_QUERY_STATUS));
    return diagnosis;
}

// The last case of all, for Wine's RPC runtime may not find a service again once it has missed one.
TEST_CASE("each check tells what it finds, nothing is changed, and the verdict is the gate's")
{
    AnswerFromService(L"reset");
    for (const Row& row : Rows) {
        INFO(ToUtf8(row.check), " ", ToUtf8(row.part));
        Machine machine;
        row.change(machine);
        const Diagnosis diagnosis = DiagnoseUntouched(machine);
        CHECK(diagnosis.status == row.status);
        const auto place =
            std::ranges::find(AllChecks(), std::wstring_view(row.check), &Check::key) - AllChecks().begin();
        const Finding& finding = diagnosis.findings.at(size_t(place));
        CHECK(finding.outcome == row.outcome);
        const std::string told = ToUtf8(finding.text + L' ' + finding.advice);
        CAPTURE(told);
        CHECK(told.find(ToUtf8(row.part)) != std::string::npos);

        const Status asked = Diagnose({.askLibrary = true}).status;
        CHECK(asked == row.asked);
        FitMachine::UnloadPreBootLibrary();
        // The gate's own log would stay open.
        fs::remove_all(TextLog);
        const HRESULT gate = PassCreationGate();
        CHECK(Describe(asked).result == gate);
        if (SUCCEEDED(gate))
            ReleaseCredentialServiceEvent();
    }
    fs::remove(FitMachine::BuildFolder() / "doctor_tests.bin");
}

} // namespace
