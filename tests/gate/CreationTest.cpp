// Whether a tile is offered: each condition in its order, and everything that a refusal says and does.
#include "Creation.h"

#include "PreBootLibrary/Script.h"

#include <doctest/doctest.h>

#include <cfgmgr32.h>

#include <algorithm>
#include <functional>

namespace {

const std::wstring Create = L"CSample_CreateInstance ";
const Texts AskedOnce = {L" start", L" STR_CREDENTIAL_STEP1 not signaled yet"};
const Texts AskedService = {L" start", L" STR_CREDENTIAL_STEP1 signaled"};

Texts operator+(Texts texts, const Texts& more)
{
    texts.insert(texts.end(), more.begin(), more.end());
    return texts;
}

struct Expected {
    HRESULT result;
    std::vector<DWORD> sleeps;
    Texts log; // the gate's, after its two first lines
    Texts check;
    Texts records;
    std::vector<std::string> debug;
    Texts library;
    ptrdiff_t serviceCalls;
    bool checked;
};

/// One attempt on the machine as it is, compared in all that can be seen of it.
void CheckAttempt(Machine& machine, const Expected& expected)
{
    Creation creation(machine);
    const HRESULT result = creation.Attempt();
    CHECK(result == expected.result);
    const std::wstring closing = L"return 0x0";
    CHECK(machine.LogOf("CSample_CreateInstance") ==
          Texts{L"start", L" after  createCredetialSeviceEvent"} + expected.log +
              (expected.result == S_OK ? Texts{closing} : Texts{}));
    CHECK(machine.LogOf("CheckPBA") == expected.check);
    for (const LogLine& line : machine.Log()) {
        if (line.label == "CSample_CreateInstance" || line.label == "CheckPBA")
            CHECK(line.source == "VexaFPProvider.cpp");
    }
    CHECK(creation.Records() == expected.records);
    CHECK(creation.DebugTexts() == expected.debug);
    CHECK(machine.windows.Snapshot().clock.Sleeps() == expected.sleeps);
    CHECK(PreBootLibrary::Calls() == expected.library);
    // A machine may have lost its service.
    const Texts calls = expected.serviceCalls < 0 ? Texts{} : machine.Calls();
    CHECK(std::count(calls.begin(), calls.end(), L"IsPbaEnable") ==
          std::max<ptrdiff_t>(expected.serviceCalls, 0));
    CHECK(machine.fitness.IsChecked() == expected.checked);
    // A refusal signals the event and lets go of it; a provider keeps it, unsignalled, for its life.
    CHECK(creation.TakeSignal() == (expected.result != S_OK));
    CHECK(creation.HoldsServiceEvent() == (expected.result == S_OK));
}

Texts Retries(int count)
{
    Texts log;
    for (int retry = 1; retry <= count; ++retry)
        log.push_back(L" GetDeviceVersion retry " + std::to_wstring(retry) + L" times");
    return log;
}

/// The gate's lines for a check that fails `failures` times, and passes then unless those were all.
Texts Checks(int failures)
{
    Texts log;
    for (int attempt = 1; attempt <= failures; ++attempt)
        log.push_back(Create + L"CheckPBA fail " + std::to_wstring(attempt) + L" times");
    return failures == 3 ? log : log + Texts{Create + L"CheckPBA pass"};
}

const Texts Passed = {Create + L"CheckPBA pass"};
const Texts Failed = {Create + L"CheckPBA fail"};
const Texts LibraryAsked = {L"vcsWavPbaOpen(2) = 0", L"vcsWavIsPbaEnabled() = 0, 1", L"vcsWavPbaClose() = 0"};
const Texts LibraryDisabled = {L"vcsWavPbaOpen(2) = 0", L"vcsWavIsPbaEnabled() = 0, 0",
                               L"vcsWavPbaClose() = 0"};

Expected Accepted(std::vector<DWORD> sleeps = {})
{
    const Texts retries = Retries(int(sleeps.size()));
    return {S_OK, std::move(sleeps), retries + Passed, AskedOnce, Passed, {}, LibraryAsked, 0, true};
}

Expected NoDevice()
{
    return {E_OUTOFMEMORY, {2000, 2000, 2000}, Retries(3), {}, {}, {}, {}, 0, false};
}

Expected SwitchedOff()
{
    const std::wstring text = Create + L"000";
    return {E_OUTOFMEMORY, {}, {L" " + text}, {}, {text}, {"CSample_CreateInstance 000"}, {}, 0, false};
}

void Fail(Machine& machine, const char* function, unsigned skip, unsigned times)
{
    REQUIRE(machine.windows.FailNext(function, ERROR_NOT_FOUND, skip, times));
}

void Script(const std::function<void(PreBootLibrary::Script&)>& change)
{
    PreBootLibrary::Script script;
    change(script);
    REQUIRE(PreBootLibrary::Store(script));
}

/// A library that lacks a function is as good as none, and the next check meets it again.
void CheckLacking(const std::wstring& function)
{
    Machine machine;
    REQUIRE(FitMachine::InstallPreBootLibrary(function));
    const Texts record = Texts{L"LoadvcsWavePbaFun fail"} + Failed;
    CheckAttempt(
        machine,
        {E_OUTOFMEMORY, {}, Checks(3), Texts(3, L" start"), record + record + record, {}, {}, 0, false});
}

} // namespace

TEST_CASE("the sensor: waited for, any of the two models, not disabled")
{
    struct Row {
        const char* what;
        std::function<void(Machine&)> make;
        Expected expected;
    };
    const Row rows[] = {
        {"none", [](Machine&) { FitMachine::PullOut(); }, NoDevice()},
        {"another product",
         [](Machine&) {
             FitMachine::PullOut();
             FitMachine::PlugIn(L"0050");
         },
         NoDevice()},
        {"too late", [](Machine& m) { Fail(m, "SetupDiGetClassDevsW", 0, 3); }, NoDevice()},
        {"second query", [](Machine& m) { Fail(m, "SetupDiGetClassDevsW", 0, 1); }, Accepted({2000})},
        {"third query", [](Machine& m) { Fail(m, "SetupDiGetClassDevsW", 0, 2); }, Accepted({2000, 2000})},
        {"first model, both plugged in", [](Machine&) { FitMachine::PlugIn(FitMachine::FirstModel); },
         Accepted()},
        {"disabled",
         [](Machine& m) { m.windows.Lock()->devices.problem = CM_PROB_DISABLED; },
         {E_NOTIMPL, {}, {}, {}, {}, {}, {}, 0, false}},
        {"another problem", [](Machine& m) { m.windows.Lock()->devices.problem = CM_PROB_FAILED_START; },
         Accepted()},
        {"switched off", [](Machine&) { FitMachine::SetSwitch(0); }, SwitchedOff()},
        {"never switched on", [](Machine&) { FitMachine::SetSwitch(std::nullopt); }, SwitchedOff()},
    };
    for (const Row& row : rows) {
        CAPTURE(row.what);
        Machine machine;
        row.make(machine);
        CheckAttempt(machine, row.expected);
    }
}

TEST_CASE("the pre-boot check: the library first, the service from then on")
{
    struct Row {
        const char* what;
        std::function<void(Machine&)> make;
        Expected expected;
    };
    const Texts notEnabled = Texts{L"vcsWavIsPbaEnabled fail"} + Failed;
    const std::vector<std::string> said = {"vcsWavIsPbaEnabled Fail"};
    const Row rows[] = {
        {"enabled", [](Machine&) {}, Accepted()},
        {"second attempt",
         [](Machine&) { Script([](auto& script) { script.enabled = 0; }); },
         {S_OK,
          {},
          Checks(1),
          AskedOnce + AskedService,
          notEnabled + Passed,
          said,
          LibraryDisabled,
          1,
          true}},
        {"third attempt",
         [](Machine& m) {
             Script([](auto& script) { script.enabled = 0; });
             Fail(m, "LoadLibraryA", 0, 1);
         },
         {S_OK,
          {},
          Checks(2),
          Texts{L" start"} + AskedOnce + AskedService,
          Texts{L"LoadvcsWavePbaFun fail"} + Failed + notEnabled + Passed,
          said,
          LibraryDisabled,
          1,
          true}},
        {"not at all",
         [](Machine& m) {
             Script([](auto& script) { script.enabled = 0; });
             m.Tell(L"pba 2");
         },
         {E_OUTOFMEMORY,
          {},
          Checks(3),
          AskedOnce + AskedService + AskedService,
          notEnabled + Failed + Failed,
          said,
          LibraryDisabled,
          2,
          true}},
        {"open fails",
         [](Machine&) { Script([](auto& script) { script.openStatus = 5; }); },
         {S_OK,
          {},
          Checks(1),
          AskedOnce + AskedService,
          Texts{L"vcsWavPbaOpen fail"} + Failed + Passed,
          {"vcsWavPbaOpen Fail"},
          {L"vcsWavPbaOpen(2) = 5"},
          1,
          true}},
        {"the question fails",
         [](Machine&) { Script([](auto& script) { script.enabledStatus = 7; }); },
         {S_OK,
          {},
          Checks(1),
          AskedOnce + AskedService,
          notEnabled + Passed,
          said,
          {L"vcsWavPbaOpen(2) = 0", L"vcsWavIsPbaEnabled() = 7", L"vcsWavPbaClose() = 0"},
          1,
          true}},
        {"asked before",
         [](Machine& m) { m.fitness.MarkChecked(); },
         {S_OK, {}, Passed, AskedService, Passed, {}, {}, 1, true}},
        {"no mark to be had",
         [](Machine& m) {
             Fail(m, "OpenEventA", 0, 1);
             Fail(m, "CreateEventA", 1, 1); // after the credential-service event
         },
         {S_OK, {}, Passed, AskedService, Passed, {}, {}, 1, false}},
    };
    for (const Row& row : rows) {
        CAPTURE(row.what);
        Machine machine;
        row.make(machine);
        CheckAttempt(machine, row.expected);
    }
}

TEST_CASE("every attempt goes through the whole gate again")
{
    Machine machine;
    FitMachine::PullOut();
    Creation creation(machine);
    CHECK(creation.Attempt() == E_OUTOFMEMORY);
    CHECK(creation.Attempt() == E_OUTOFMEMORY);
    CHECK(machine.windows.Snapshot().clock.Sleeps() == std::vector<DWORD>(6, 2000));
    FitMachine::PlugIn(FitMachine::FirstModel);
    CHECK(creation.Attempt() == S_OK);
}

// Each of these in a process of its own: the library is not loaded yet, or the service goes away.
TEST_SUITE_BEGIN("alone");

TEST_CASE("no library")
{
    Machine machine;
    REQUIRE(FitMachine::RemovePreBootLibrary());
    CheckAttempt(machine, SwitchedOff());
}

TEST_CASE("without open")
{
    CheckLacking(L"open");
}

TEST_CASE("without enabled")
{
    CheckLacking(L"enabled");
}

TEST_CASE("without close")
{
    CheckLacking(L"close");
}

TEST_CASE("no service")
{
    Machine machine;
    machine.StopService();
    machine.fitness.MarkChecked();
    CheckAttempt(machine, {E_OUTOFMEMORY,
                           {},
                           Checks(3),
                           AskedService + AskedService + AskedService,
                           Failed + Failed + Failed,
                           {},
                           {},
                           -1,
                           true});
}

TEST_CASE("first check")
{
    Machine machine;
    machine.fitness.GiveMarkUp();
    constexpr wchar_t mark[] = L"Global\\{689E254C-9110-4F0B-AB84-002C3CB331B6}";
    const auto isMarked = [&] {
        const KernelHandle event(OpenEventW(SYNCHRONIZE, FALSE, mark));
        // Manual-reset: looking takes nothing away.
        return event && WaitForSingleObject(event.Get(), 0) == WAIT_OBJECT_0 &&
               WaitForSingleObject(event.Get(), 0) == WAIT_OBJECT_0;
    };
    REQUIRE_FALSE(isMarked());
    machine.Tell(L"pba 0");
    {
        Creation creation(machine);
        CHECK(creation.Attempt() == S_OK);
        CHECK(PreBootLibrary::Calls() == LibraryAsked);
        CHECK(isMarked());
        creation.provider->Release();
        creation.provider = nullptr;
        // The library is still enabled, but it is the service's word now.
        CHECK(creation.Attempt() == E_OUTOFMEMORY);
        CHECK(PreBootLibrary::Calls() == LibraryAsked);
    }
    REQUIRE(Await([] { return GetModuleHandleW(L"VexaFPCredentialProvider.dll") == nullptr; }));
    CHECK(isMarked());
}

TEST_SUITE_END();
