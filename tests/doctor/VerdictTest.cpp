#include "CreationGate.h"
#include "Events.h"
#include "Machine.h"
#include "Module.h"
#include "PreBootLibrary/Script.h"
#include "VexaFP.h"

#include <fstream>
#include <map>

namespace {

/// What a program that changes nothing leaves as it is: keys with their times and counts, files of the places
/// that the product knows. Wine's own services write to none of them.
std::map<std::wstring, ULONGLONG> TakeTraces()
{
    std::map<std::wstring, ULONGLONG> traces;
    for (const wchar_t* path :
         {ProductKey, LR"(SOFTWARE\WOW6432Node\VEXA\FingerPrint)", ClassKey, ServerKey, ListKey, FilterKey,
          SystemPolicy, GroupPolicy, LR"(SOFTWARE\Fingerprint Simulator\PreBoot)",
          LR"(System\CurrentControlSet\Enum\USB\VID_138A&PID_0010\Simulated)"}) {
        RegistryKey key;
        RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ, key.Put());
        DWORD keys = 0;
        DWORD values = 0;
        ULARGE_INTEGER time{};
        RegQueryInfoKeyW(key.Get(), nullptr, nullptr, nullptr, &keys, nullptr, nullptr, &values, nullptr,
                         nullptr, nullptr, reinterpret_cast<FILETIME*>(&time));
        traces[path + std::to_wstring(keys) + L' ' + std::to_wstring(values)] = time.QuadPart;
    }
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
    {"a damaged library",   [](Machine&) { std::ofstream(fs::path(LR"(c:\windows\system32\vcsWavePba.dll)")) << "MZ, or not"; }, Status::LibraryUnfit, Status::LibraryUnfit},
    {"library no",          [](Machine&) { SwitchOffInLibrary(); },                 Status::Offered,        Status::Offered},
    {"service no",          [](Machine&) { AnswerFromService(L"pba 0"); },          Status::Offered,        Status::LibraryDecides},
    {"both no",             [](Machine&) { SwitchOffInLibrary(); AnswerFromService(L"pba 2"); }, Status::ServiceRefuses, Status::LibraryDecides},
    {"marked, service yes", [](Machine&) { SwitchOffInLibrary(); SetMark(); },      Status::Offered,        Status::Offered},
    {"marked, service no",  [](Machine&) { SetMark(); AnswerFromService(L"pba 0"); }, Status::ServiceRefuses, Status::ServiceRefuses},
};
const Row RowsWithoutService[] = {
    {"gone",                Unchanged,                                              Status::Offered,            Status::LibraryDecides},
    {"gone, library no",    [](Machine&) { SwitchOffInLibrary(); },                 Status::ServiceUnreachable, Status::LibraryDecides},
    {"gone, marked",        [](Machine&) { SetMark(); },                            Status::ServiceUnreachable, Status::ServiceUnreachable},
};
// clang-format on

/// Nothing on the machine differs after the doctor's look at it.
void CheckUntouched(Machine& machine, Status expected, bool traces)
{
    const auto before = traces ? TakeTraces() : std::map<std::wstring, ULONGLONG>();
    const bool marked = machine.fit->IsChecked();
    machine.simulation->recorder.calls.clear();
    machine.simulation->services.opens.clear();
    CHECK(Diagnose({}).status == expected);
    const WindowsModel::State state = machine.simulation.windows.Snapshot();
    if (traces)
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

void CompareWithGate(std::span<const Row> rows)
{
    for (const Row& row : rows) {
        CAPTURE(row.what);
        Machine machine;
        row.change(machine);
        CheckUntouched(machine, row.unasked, &row == &rows.front() || &row == &rows.back());
        const Diagnosis diagnosis = Diagnose({.askLibrary = true});
        CHECK(diagnosis.status == row.status);
        UnloadLibrary();
        const HRESULT gate = PassCreationGate();
        CHECK(Describe(diagnosis.status).result == gate);
        if (SUCCEEDED(gate))
            ReleaseCredentialServiceEvent();
    }
}

void ForService(const char* function)
{
    const auto call = reinterpret_cast<LONG(WINAPI*)(HANDLE)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), function)));
    const KernelHandle process(OpenProcess(PROCESS_SUSPEND_RESUME, FALSE, g_service.Id()));
    REQUIRE(call(process.Get()) == 0);
}

// The last case of all, for Wine's RPC runtime may not find a service again once it has missed one.
TEST_CASE(
    "the verdict is the gate's, nothing is changed, and a service that hangs or is gone holds nobody up")
{
    AnswerFromService(L"reset");
    CompareWithGate(Rows);
    {
        Machine machine;
        SetMark();
        ForService("NtSuspendProcess");
        CHECK(Diagnose({.patience = 300}).status == Status::ServiceSilent);
        ForService("NtResumeProcess");
        // The call that was left to itself ends with its binding.
        for (int wait = 0; wait < 500 && g_hFPBinding != nullptr; ++wait)
            WindowsModel::RealSleep(10);
    }
    g_service.Kill();
    CompareWithGate(RowsWithoutService);
}

} // namespace
