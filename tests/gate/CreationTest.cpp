// Whether a tile is offered: each condition in its order, and everything that a refusal says and does.
#include "flow/Machine.h"

#include "PreBootLibrary/Script.h"

#include <cfgmgr32.h>

namespace {

/// One attempt, and what it leaves behind.
struct Row {
    std::string what;
    void (*make)(Machine& machine);
    HRESULT result;
    size_t pauses; // for the sensor
    Texts records; // of the event log, without what the device query says
    Texts library; // what it was asked, and answered
    std::ptrdiff_t serviceCalls;
};

const std::wstring Off = L"CSample_CreateInstance 000";
const std::wstring Pass = L"CSample_CreateInstance CheckPBA pass";
const std::wstring Fail = L"CSample_CreateInstance CheckPBA fail";
const std::wstring NotLoaded = L"LoadvcsWavePbaFun fail";
const std::wstring NotOpen = L"vcsWavPbaOpen fail";
const std::wstring NotEnabled = L"vcsWavIsPbaEnabled fail";
const Texts Unfit = {NotLoaded, Fail, NotLoaded, Fail, NotLoaded, Fail};

const Texts Yes = {L"vcsWavPbaOpen(2) = 0", L"vcsWavIsPbaEnabled() = 0, 1", L"vcsWavPbaClose() = 0"};
const Texts YesToo = {L"vcsWavPbaOpen(2) = 0", L"vcsWavIsPbaEnabled() = 0, 2", L"vcsWavPbaClose() = 0"};
const Texts No = {L"vcsWavPbaOpen(2) = 0", L"vcsWavIsPbaEnabled() = 0, 0", L"vcsWavPbaClose() = 0"};
const Texts NoAnswer = {L"vcsWavPbaOpen(2) = 0", L"vcsWavIsPbaEnabled() = 7", L"vcsWavPbaClose() = 0"};

void CheckAttempt(const Row& row)
{
    constexpr wchar_t failureNotes[] = LR"(c:\FPLog)";
    CAPTURE(row.what);
    FitMachine::UnloadPreBootLibrary();
    Machine machine;
    row.make(machine);
    CreateDirectoryW(failureNotes, nullptr);
    KernelHandle event(CreateEventW(nullptr, FALSE, FALSE, ServiceEventName));
    const Dll dll;
    HRESULT result = E_FAIL;
    const auto provider = dll.TryCreate(&result);
    RemoveDirectoryW(failureNotes);
    CHECK(result == row.result);
    CHECK(machine.Sleeps() == Waits(row.pauses, 2000));
    Texts records;
    for (const WindowsModel::EventRecord& record : machine.windows.Snapshot().texts.events) {
        if (record.strings.at(0).find(L"SetupDi") == std::wstring::npos)
            records.push_back(record.strings[0]);
    }
    CHECK(records == row.records);
    CHECK(PreBootLibrary::Calls() == row.library);
    if (machine.service.IsRunning())
        CHECK(Count(machine.Calls(), L"IsPbaEnable") == row.serviceCalls);
    CHECK(dll->recorder.Count("RpcBindingFree") == size_t(row.serviceCalls));
    // A refusal signals the event and lets go of it; a provider keeps it, unsignalled, for its life.
    CHECK((WaitForSingleObject(event.Get(), 0) == WAIT_OBJECT_0) == (row.result != S_OK));
    event.Reset();
    CHECK(IsServiceEventOpen() == (row.result == S_OK));
}

void Script(const PreBootLibrary::Script& script)
{
    REQUIRE(PreBootLibrary::Store(script));
}

} // namespace

TEST_CASE("the conditions of a tile, in their order")
{
    // clang-format off
    const Row rows[] = {
        {"no library", [](Machine&) { REQUIRE(FitMachine::RemovePreBootLibrary()); }, E_OUTOFMEMORY, 0, {Off}, {}, 0},
        {"no sensor", [](Machine&) { FitMachine::PullOut(); }, E_OUTOFMEMORY, 3, {}, {}, 0},
        {"at the second query", [](Machine& m) { m.FailNext("SetupDiGetClassDevsW"); }, S_OK, 1, {Pass}, Yes, 0},
        {"at the third", [](Machine& m) { m.FailNext("SetupDiGetClassDevsW", 0, 2); }, S_OK, 2, {Pass}, Yes, 0},
        {"disabled", [](Machine& m) { m.windows.Lock()->devices.problem = CM_PROB_DISABLED; }, E_NOTIMPL, 0, {}, {}, 0},
        {"switched off", [](Machine&) { FitMachine::SetSwitch(0); }, E_OUTOFMEMORY, 0, {Off}, {}, 0},
        {"enabled", [](Machine&) {}, S_OK, 0, {Pass}, Yes, 0},
        {"enabled, by another number", [](Machine&) { Script({.enabled = 2}); }, S_OK, 0, {Pass}, YesToo, 0},
        {"second attempt", [](Machine&) { Script({.enabled = 0}); }, S_OK, 0, {NotEnabled, Fail, Pass}, No, 1},
        {"third attempt", [](Machine& m) { Script({.enabled = 0}); m.FailNext("LoadLibraryA"); }, S_OK, 0, {NotLoaded, Fail, NotEnabled, Fail, Pass}, No, 1},
        {"not at all", [](Machine& m) { Script({.enabled = 0}); m.Tell(L"pba 2"); }, E_OUTOFMEMORY, 0, {NotEnabled, Fail, Fail, Fail}, No, 2},
        {"open fails", [](Machine&) { Script({.openStatus = 5}); }, S_OK, 0, {NotOpen, Fail, Pass}, {L"vcsWavPbaOpen(2) = 5"}, 1},
        {"the question fails", [](Machine&) { Script({.enabledStatus = 7}); }, S_OK, 0, {NotEnabled, Fail, Pass}, NoAnswer, 1},
        {"without open", [](Machine&) { REQUIRE(FitMachine::InstallPreBootLibrary(L"open")); }, E_OUTOFMEMORY, 0, Unfit, {}, 0},
        {"without enabled", [](Machine&) { REQUIRE(FitMachine::InstallPreBootLibrary(L"enabled")); }, E_OUTOFMEMORY, 0, Unfit, {}, 0},
        {"without close", [](Machine&) { REQUIRE(FitMachine::InstallPreBootLibrary(L"close")); }, E_OUTOFMEMORY, 0, Unfit, {}, 0},
        {"asked before", [](Machine& m) { m.fitness.MarkChecked(); }, S_OK, 0, {Pass}, {}, 1},
        // After the credential-service event; without its mark the service is asked.
        {"no mark", [](Machine& m) { m.FailNext("OpenEventA"); m.FailNext("CreateEventA", 1); }, S_OK, 0, {Pass}, {}, 1},
    };
    // clang-format on
    for (const Row& row : rows)
        CheckAttempt(row);
}

TEST_CASE("what attempts tell log and debugger")
{
    Machine machine;
    const Dll dll;
    machine.FailNext("SetupDiGetClassDevsW");
    machine.FailNext("LoadLibraryA");
    Script({.openStatus = 5});
    dll.Create();
    machine.fitness.ForgetCheck();
    Script({.enabled = 0});
    dll.Create();
    FitMachine::SetSwitch(0);
    HRESULT result = S_OK;
    dll.TryCreate(&result);
    std::wstring log;
    for (const LogLine& line : machine.Log()) {
        if (line.label != "CSample_CreateInstance" && line.label != "CheckPBA")
            continue;
        CHECK(line.source == "VexaFPProvider.cpp");
        log += line.message + L'|';
    }
    CHECK(log ==
          L"start| after  createCredetialSeviceEvent| GetDeviceVersion retry 1 times|"
          L" start|CSample_CreateInstance CheckPBA fail 1 times|"
          L" start| STR_CREDENTIAL_STEP1 not signaled yet|CSample_CreateInstance CheckPBA fail 2 times|"
          L" start| STR_CREDENTIAL_STEP1 signaled|CSample_CreateInstance CheckPBA pass|return 0x0|"
          L"start| after  createCredetialSeviceEvent|"
          L" start| STR_CREDENTIAL_STEP1 not signaled yet|CSample_CreateInstance CheckPBA fail 1 times|"
          L" start| STR_CREDENTIAL_STEP1 signaled|CSample_CreateInstance CheckPBA pass|return 0x0|"
          L"start| after  createCredetialSeviceEvent| CSample_CreateInstance 000|");
    DebugTexts debug = dll.TakeDebugTexts();
    std::erase_if(debug, [](const std::string& text) { return text.starts_with("VEXA"); }); // of the objects
    CHECK(debug == DebugTexts{"vcsWavPbaOpen Fail", "vcsWavIsPbaEnabled Fail", "CSample_CreateInstance 000"});
}

TEST_CASE("a service that hangs is a no, and holds the creation for its three questions at most")
{
    Machine machine;
    machine.fitness.MarkChecked();
    Dll dll;
    HRESULT result = E_FAIL;
    REQUIRE(machine.service.Suspend());
    const ULONGLONG start = GetTickCount64();
    dll.TryCreate(&result);
    // Three times 2000 ms; a call that is waited for takes until the service wakes.
    CHECK(GetTickCount64() - start < 9000);
    REQUIRE(machine.service.Resume());
    CHECK(result == E_OUTOFMEMORY);
    dll.Create();
    CHECK(dll.Unload());
}

// Each of these in a process of its own: the service goes away, or nobody else may hold the mark.
TEST_SUITE_BEGIN("alone");

TEST_CASE("no service")
{
    const auto stop = [](Machine& machine) {
        machine.service.Kill();
        machine.fitness.MarkChecked();
    };
    CheckAttempt({"no service", stop, E_OUTOFMEMORY, 0, {Fail, Fail, Fail}, {}, 3});
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
    CHECK(PreBootLibrary::Calls() == Yes);
    CHECK(isMarked());
    // The library is still enabled, but it is the service's word now.
    HRESULT result = S_OK;
    dll.TryCreate(&result);
    CHECK(result == E_OUTOFMEMORY);
    CHECK(PreBootLibrary::Calls() == Yes);
    REQUIRE(dll.Unload());
    CHECK(isMarked());
}

TEST_SUITE_END();
