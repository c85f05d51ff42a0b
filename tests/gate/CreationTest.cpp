// Whether a tile is offered: each condition in its order, and everything that a refusal says and does.
#include "flow/Machine.h"

#include "PreBootLibrary/Script.h"

#include <cfgmgr32.h>

#include <algorithm>
#include <string_view>

namespace {

/// What one attempt leaves behind.
struct Traces {
    HRESULT result = E_OUTOFMEMORY;
    std::vector<DWORD> sleeps;
    Texts log = {L"start", L" after  createCredetialSeviceEvent"};
    Texts check, records, library;
    DebugTexts debug;
    ptrdiff_t serviceCalls = 0;
    bool checked = false;
};

constexpr wchar_t Create[] = L"CSample_CreateInstance ";

/// What the library is asked, and what it answers, in a check of the letter `step`.
void AddLibrary(char step, Traces& traces)
{
    if (step == 'o') {
        traces.library = {L"vcsWavPbaOpen(2) = 5"};
        traces.records.push_back(L"vcsWavPbaOpen fail");
        traces.debug.push_back("vcsWavPbaOpen Fail");
        return;
    }
    traces.library = {L"vcsWavPbaOpen(2) = 0",
                      step == 'q' ? L"vcsWavIsPbaEnabled() = 7"
                                  : L"vcsWavIsPbaEnabled() = 0, " + std::to_wstring(step == 'y'),
                      L"vcsWavPbaClose() = 0"};
    if (step != 'y') {
        traces.records.push_back(L"vcsWavIsPbaEnabled fail");
        traces.debug.push_back("vcsWavIsPbaEnabled Fail");
    }
}

void AddCheck(char step, Traces& traces)
{
    traces.check.push_back(L" start");
    if (step == 'L') {
        traces.records.push_back(L"LoadvcsWavePbaFun fail");
    } else {
        const bool service = step == 's' || step == 'S';
        traces.checked = true;
        traces.serviceCalls += service;
        traces.check.push_back(service ? L" STR_CREDENTIAL_STEP1 signaled"
                                       : L" STR_CREDENTIAL_STEP1 not signaled yet");
        if (!service)
            AddLibrary(step, traces);
    }
    const auto failures = std::count(traces.check.begin(), traces.check.end(), L" start");
    if (step == 'y' || step == 'S') {
        traces.result = S_OK;
        traces.log.insert(traces.log.end(), {std::wstring(Create) + L"CheckPBA pass", L"return 0x0"});
        traces.records.push_back(std::wstring(Create) + L"CheckPBA pass");
    } else {
        traces.log.push_back(Create + (L"CheckPBA fail " + std::to_wstring(failures)) + L" times");
        traces.records.push_back(std::wstring(Create) + L"CheckPBA fail");
    }
}

/// The attempt's steps, a letter each: w a wait for the sensor, D it is disabled, 0 switched off; a check of
/// the pre-boot library: L it can't be used, o it does not open, q it fails to answer, n not enabled, y
/// enabled; s the service says no, S yes.
Traces TracesOf(std::string_view steps)
{
    Traces traces;
    for (const char step : steps) {
        switch (step) {
        case 'w':
            traces.sleeps.push_back(2000);
            traces.log.push_back(L" GetDeviceVersion retry " + std::to_wstring(traces.sleeps.size()) +
                                 L" times");
            break;
        case 'D':
            traces.result = E_NOTIMPL;
            break;
        case '0':
            traces.log.push_back(L" " + std::wstring(Create) + L"000");
            traces.records = {std::wstring(Create) + L"000"};
            traces.debug = {"CSample_CreateInstance 000"};
            break;
        default:
            AddCheck(step, traces);
        }
    }
    return traces;
}

/// Records of the event log, without what the device query says.
Texts Records(const Machine& machine)
{
    Texts records;
    for (const WindowsModel::EventRecord& event : machine.windows.Snapshot().texts.events) {
        CHECK(event.source == L"VexaFPService");
        if (event.strings.at(0).find(L"SetupDi") == std::wstring::npos)
            records.push_back(event.strings[0]);
    }
    return records;
}

/// One attempt on the machine as it is, compared in all that can be seen of it.
void CheckAttempt(Machine& machine, const Traces& expected)
{
    constexpr wchar_t failureNotes[] = LR"(c:\FPLog)";
    CreateDirectoryW(failureNotes, nullptr);
    KernelHandle event(CreateEventW(nullptr, FALSE, FALSE, ServiceEventName));
    const Dll dll;
    HRESULT result = E_FAIL;
    const auto provider = dll.TryCreate(&result);
    CHECK(result == expected.result);
    CHECK(machine.LogOf("CSample_CreateInstance") == expected.log);
    CHECK(machine.LogOf("CheckPBA") == expected.check);
    for (const LogLine& line : machine.Log()) {
        if (line.label == "CSample_CreateInstance" || line.label == "CheckPBA")
            CHECK(line.source == "VexaFPProvider.cpp");
    }
    CHECK(Records(machine) == expected.records);
    DebugTexts debug = dll.TakeDebugTexts();
    std::erase_if(debug, [](const std::string& text) { return text.starts_with("VEXA"); }); // the factory's
    CHECK(debug == expected.debug);
    CHECK(dll->clock.Sleeps() == expected.sleeps);
    CHECK(PreBootLibrary::Calls() == expected.library);
    if (machine.IsServiceRunning()) {
        const Texts calls = machine.Calls();
        CHECK(std::count(calls.begin(), calls.end(), L"IsPbaEnable") == expected.serviceCalls);
    }
    CHECK(dll->recorder.Count("RpcBindingFree") == size_t(expected.serviceCalls));
    CHECK(machine.fitness.IsChecked() == expected.checked);
    // A refusal signals the event and lets go of it; a provider keeps it, unsignalled, for its life.
    CHECK((WaitForSingleObject(event.Get(), 0) == WAIT_OBJECT_0) == (expected.result != S_OK));
    event.Reset();
    CHECK(IsServiceEventOpen() == (expected.result == S_OK));
    RemoveDirectoryW(failureNotes);
}

void Script(std::optional<LONG> PreBootLibrary::Script::* what, LONG value)
{
    PreBootLibrary::Script script;
    script.*what = value;
    REQUIRE(PreBootLibrary::Store(script));
}

void Fail(Machine& machine, const char* function, unsigned skip, unsigned times)
{
    REQUIRE(machine.windows.FailNext(function, ERROR_NOT_FOUND, skip, times));
}

} // namespace

TEST_CASE("the conditions of a tile, in their order")
{
    using PreBoot = PreBootLibrary::Script;
    struct Row {
        std::string what;
        void (*make)(Machine& machine);
        std::string steps;
    };
    for (const Row& row : {
             // Before the library is loaded, for it stays then.
             Row{"no library", [](Machine&) { REQUIRE(FitMachine::RemovePreBootLibrary()); }, "0"},
             Row{"no sensor", [](Machine&) { FitMachine::PullOut(); }, "www"},
             Row{"at the second query", [](Machine& m) { Fail(m, "SetupDiGetClassDevsW", 0, 1); }, "wy"},
             Row{"at the third", [](Machine& m) { Fail(m, "SetupDiGetClassDevsW", 0, 2); }, "wwy"},
             Row{"disabled", [](Machine& m) { m.windows.Lock()->devices.problem = CM_PROB_DISABLED; }, "D"},
             Row{"switched off", [](Machine&) { FitMachine::SetSwitch(0); }, "0"},
             Row{"enabled", [](Machine&) {}, "y"},
             Row{"second attempt", [](Machine&) { Script(&PreBoot::enabled, 0); }, "nS"},
             Row{"third attempt",
                 [](Machine& m) {
                     Script(&PreBoot::enabled, 0);
                     Fail(m, "LoadLibraryA", 0, 1);
                 },
                 "LnS"},
             Row{"not at all",
                 [](Machine& m) {
                     Script(&PreBoot::enabled, 0);
                     m.Tell(L"pba 2");
                 },
                 "nss"},
             Row{"open fails", [](Machine&) { Script(&PreBoot::openStatus, 5); }, "oS"},
             Row{"the question fails", [](Machine&) { Script(&PreBoot::enabledStatus, 7); }, "qS"},
             Row{"without open", [](Machine&) { Dll::Lack("vcsWavPbaOpen"); }, "LLL"},
             Row{"without enabled", [](Machine&) { Dll::Lack("vcsWavIsPbaEnabled"); }, "LLL"},
             Row{"without close", [](Machine&) { Dll::Lack("vcsWavPbaClose"); }, "LLL"},
             Row{"asked before", [](Machine& m) { m.fitness.MarkChecked(); }, "S"},
         }) {
        CAPTURE(row.what);
        Machine machine;
        row.make(machine);
        CheckAttempt(machine, TracesOf(row.steps));
    }
}

TEST_CASE("where the mark can't be had, the service is asked")
{
    Machine machine;
    Fail(machine, "OpenEventA", 0, 1);
    Fail(machine, "CreateEventA", 1, 1); // after the credential-service event
    Traces expected = TracesOf("S");
    expected.checked = false;
    CheckAttempt(machine, expected);
}

// Each of these in a process of its own: the service goes away, or nobody else may hold the mark.
TEST_SUITE_BEGIN("alone");

TEST_CASE("no service")
{
    Machine machine;
    machine.StopService();
    machine.fitness.MarkChecked();
    CheckAttempt(machine, TracesOf("sss"));
}

TEST_CASE("first check")
{
    Machine machine;
    machine.fitness.GiveMarkUp();
    const auto isMarked = [&] {
        const KernelHandle mark = FitMachine::OpenPreBootMark();
        // Manual-reset: looking takes nothing away.
        return WaitForSingleObject(mark.Get(), 0) == WAIT_OBJECT_0 &&
               WaitForSingleObject(mark.Get(), 0) == WAIT_OBJECT_0;
    };
    REQUIRE_FALSE(isMarked());
    machine.Tell(L"pba 0");
    Dll dll;
    dll.Create();
    CHECK(PreBootLibrary::Calls() == TracesOf("y").library);
    CHECK(isMarked());
    // The library is still enabled, but it is the service's word now.
    HRESULT result = S_OK;
    dll.TryCreate(&result);
    CHECK(result == E_OUTOFMEMORY);
    CHECK(PreBootLibrary::Calls() == TracesOf("y").library);
    REQUIRE(dll.Unload());
    CHECK(isMarked());
}

TEST_SUITE_END();
