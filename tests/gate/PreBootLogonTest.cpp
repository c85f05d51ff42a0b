// Users who were authenticated before boot: taken over, or left to a finger.
#include "flow/ProviderLife.h"

#include "PreBootLibrary/Script.h"

#include <malloc.h>
#include <psapi.h>

#include <algorithm>

namespace {

using enum WindowsModel::ImportHooks::Result;

constexpr wchar_t AutoLogonEvent[] = L"Global\\{86CF491E-A467-42CA-B4C4-486B1767AA5F}";

PreBootLibrary::Script Anna()
{
    return {.record = PreBootLibrary::MakeRecord(L"anna", L"secret", L"SIMULATED-PC")};
}

constexpr size_t RecordSize = 386;
std::atomic<size_t> g_callsBeforeFree; // of the library, when the last block of a record's size was freed
void (*g_free)(void*);

void NotedFree(void* block)
{
    if (block != nullptr && _msize(block) == RecordSize)
        g_callsBeforeFree = PreBootLibrary::Calls().size();
    g_free(block);
}

size_t PeakMemory()
{
    PROCESS_MEMORY_COUNTERS counters{};
    REQUIRE(GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters));
    return counters.PeakWorkingSetSize;
}

} // namespace

TEST_CASE("the user from before boot is logged on, unless Windows logs somebody on by itself")
{
    struct Row {
        std::string what;
        bool event, automatic;
        std::wstring line;
        bool taken;
    };
    const std::wstring absent = L"hEvent != INVALID_HANDLE_VALUE && hEvent != NULL anna";
    for (const Row& row : {
             Row{"no event", false, false, absent, true},
             Row{"no event, automatic logon", false, true, absent, true},
             Row{"event", true, false, L"CheckSystemAutoLogon anna", true},
             Row{"event, automatic logon", true, true, L"CheckSystemAutoLogon", false},
         }) {
        CAPTURE(row.what);
        Machine machine;
        REQUIRE(PreBootLibrary::Store(Anna()));
        KernelHandle event(row.event ? CreateEventW(nullptr, TRUE, FALSE, AutoLogonEvent) : nullptr);
        // A wake-up that asks for no password.
        machine.windows.Lock()->power.SetConsoleLock(!row.automatic, 1);
        ProviderLife life(machine);
        REQUIRE(life.dll.hooks.Replace("free", NotedFree, &g_free) == Replaced);
        life.Start();
        if (row.taken) {
            REQUIRE(life.sink.WaitFor(1));
            life.CheckLogon();
            CHECK(machine.WaitForLog("DeamonThread", L"GetExitCodeThread 0"));
            CHECK(machine.LogOf("ThreadFP").back() == row.line);
        } else {
            REQUIRE(life.SeePrompt(L"Please scan a finger"));
            machine.AwaitCalls(L"IdentifyEnroll");
            CHECK(Count(machine.LogOf("ThreadFP"), row.line) == 1);
            CHECK(life.sink.changes == 0);
            CHECK_FALSE(machine.IsOnAnyStack(L"secret"));
        }
        CHECK(Count(machine.Calls(), L"ListEnroll") == (row.taken ? 0 : 1));
        CHECK(machine.LogOf("GetAuthUserCreds") == Texts{L"Start", L"vcsWavPbaGetAuthUserCreds 0", L"End"});
        CHECK(PreBootLibrary::Calls() ==
              Texts{L"vcsWavPbaOpen(2) = 0", L"vcsWavIsPbaEnabled() = 0, 1", L"vcsWavPbaClose() = 0",
                    L"vcsWavPbaOpen(2) = 0", L"vcsWavPbaGetAuthUserCreds(null, 0) = 0, size 386",
                    L"vcsWavPbaGetAuthUserCreds(buffer, 386) = 0, size 386", L"vcsWavPbaClose() = 0"});
        // The library may keep to the buffer until it is closed.
        CHECK(g_callsBeforeFree == 7);
        for (const LogLine& line : machine.Log())
            CHECK(line.message.find(L"secret") == std::wstring::npos);
        event.Reset();
        CHECK_FALSE(KernelHandle(OpenEventW(SYNCHRONIZE, FALSE, AutoLogonEvent)));
    }
}

TEST_CASE("a library that fails is logged, and the finger goes on")
{
    struct Row {
        std::string what;
        void (*change)(Machine& machine, PreBootLibrary::Script& script);
        std::wstring status;
        Texts log;
    };
    const Texts plain = {L"Start", L"End"};
    const Texts notOpen = {L"Start", L"vcsWavPbaOpen Fail", L"vcsWavPbaGetAuthUserCreds Size Fail", L"End"};
    for (const Row& row : {
             Row{"at the record", [](Machine&, auto& script) { script.credsStatus = 42; }, L"2A", plain},
             // Creation is passed by the service's word.
             Row{"everywhere",
                 [](Machine&, auto& script) { script = {1, 9, 9, 9, std::nullopt, 9, 42, {}, {}}; }, L"2A",
                 notOpen},
             Row{"gone when it is called", [](Machine& m, auto&) { m.FailNext("LoadLibraryA", 1, 4); },
                 L"C06D007E", notOpen},
             Row{"no memory", [](Machine&, auto&) {}, L"8", plain},
         }) {
        CAPTURE(row.what);
        Machine machine;
        PreBootLibrary::Script script = Anna();
        row.change(machine, script);
        REQUIRE(PreBootLibrary::Store(script));
        ProviderLife life(machine);
        if (row.status == L"8")
            REQUIRE(life.dll.hooks.Replace(
                        "calloc", +[](size_t, size_t) -> void* { return nullptr; }) == Replaced);
        life.StartAndWaitForPrompt();
        CHECK(Count(machine.LogOf("ThreadFP"), L"GetAuthUserCreds Fail Return code :" + row.status) == 1);
        CHECK(machine.LogOf("GetAuthUserCreds") == row.log);
        CHECK(machine.windows.Snapshot().failures.pending.empty());
        CHECK((row.status == L"C06D007E" || PreBootLibrary::Calls().back().starts_with(L"vcsWavPbaClose()")));
        CHECK(machine.windows.Snapshot().accounts.logons.empty());
        life.LogOn();
    }
}

TEST_CASE("a library may report any size")
{
    struct Row {
        LONG first, second;
        std::wstring asked;
        size_t fields; // that arrive: name, password, domain
    };
    // The name and its end are the first ten bytes.
    for (const Row& row : {
             Row{386, 5000, L"386", 3},
             Row{386, 10, L"386", 1},
             Row{386, -1, L"386", 0},
             Row{5000, 5000, L"5000", 3},
             Row{10, 386, L"10", 1},
             Row{0, 386, L"0", 0},
             Row{-5, 386, L"0", 0},
             Row{MAXLONG, 386, L"2147483647", 3},
         }) {
        INFO(row.first, " ", row.second);
        Machine machine;
        PreBootLibrary::Script script = Anna();
        script.record->resize(row.first == 5000 ? 5000 : RecordSize, 0x55);
        script.size = row.first;
        script.filledSize = row.second;
        REQUIRE(PreBootLibrary::Store(script));
        const size_t peak = PeakMemory();
        ProviderLife life(machine);
        g_callsBeforeFree = 0;
        REQUIRE(life.dll.hooks.Replace("free", NotedFree, &g_free) == Replaced);
        life.Start();
        if (row.fields == 0) {
            REQUIRE(life.SeePrompt(L"Please scan a finger"));
            CHECK(Count(machine.LogOf("ThreadFP"), L"g_FPData is empty") == 1);
            CHECK(machine.windows.Snapshot().accounts.logons.empty());
        } else {
            REQUIRE(machine.WaitForLog("DeamonThread", L"GetExitCodeThread 0"));
            const auto logons = machine.windows.Snapshot().accounts.logons;
            REQUIRE(logons.size() == 1);
            CHECK(logons[0].user == L"anna");
            CHECK(logons[0].password == (row.fields == 3 ? L"secret" : L""));
        }
        CHECK(Count(PreBootLibrary::Calls(), L"vcsWavPbaGetAuthUserCreds(buffer, " + row.asked +
                                                 L") = 0, size " + std::to_wstring(row.second)) == 1);
        // A library that writes a whole record all the same does not run over.
        CHECK((row.first > LONG(RecordSize) || g_callsBeforeFree != 0));
        // Memory that the library asks for and does not fill is not touched.
        CHECK(PeakMemory() - peak < 500 * 1024 * 1024);
    }
}
