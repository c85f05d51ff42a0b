// Users who were authenticated before boot: taken over, or left to a finger.
#include "flow/ProviderLife.h"

#include "PreBootLibrary/Script.h"
#include "WindowsModel/PackedLogon.h"

#include <doctest/doctest.h>

#include <algorithm>
#include <cstdlib>

using Texts = std::vector<std::wstring>;

namespace {

constexpr wchar_t AutoLogonEvent[] = L"Global\\{86CF491E-A467-42CA-B4C4-486B1767AA5F}";
constexpr wchar_t Winlogon[] = LR"(SOFTWARE\Microsoft\Windows NT\CurrentVersion\Winlogon)";

struct AutoAdminLogon {
    AutoAdminLogon()
    {
        REQUIRE(RegSetKeyValueW(HKEY_LOCAL_MACHINE, Winlogon, L"AutoAdminLogon", REG_SZ, L"1", 4) == 0);
    }
    ~AutoAdminLogon() { RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, Winlogon, L"AutoAdminLogon"); }
    AutoAdminLogon(const AutoAdminLogon&) = delete;
    AutoAdminLogon& operator=(const AutoAdminLogon&) = delete;
};

PreBootLibrary::Script Anna()
{
    PreBootLibrary::Script script;
    script.record = PreBootLibrary::MakeRecord(L"anna", L"secret", L"SIMULATED-PC");
    return script;
}

bool Holds(const Texts& texts, const std::wstring& text)
{
    return std::find(texts.begin(), texts.end(), text) != texts.end();
}

void CheckSerialization(ProviderLife& life)
{
    CREDENTIAL_PROVIDER_GET_SERIALIZATION_RESPONSE response{};
    CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION serialization{};
    REQUIRE(life.credential->GetSerialization(&response, &serialization, nullptr, nullptr) == S_OK);
    const auto logon =
        WindowsModel::DecodePackedLogon(serialization, CPUS_LOGON, serialization.clsidCredentialProvider);
    CHECK(logon.violations.empty());
    CHECK(logon.user == L"anna");
    CHECK(WindowsModel::Logon(logon).status == 0);
    CoTaskMemFree(serialization.rgbSerialization);
}

/// The library's part failed with `status`; a finger still logs its user on.
void CheckFingerRoad(Machine& machine, ProviderLife& life, const std::wstring& status)
{
    life.StartAndWaitForPrompt();
    CHECK(Holds(machine.LogOf("ThreadFP"), L"GetAuthUserCreds Fail Return code :" + status));
    CHECK(machine.windows.Snapshot().accounts.logons.empty());
    machine.Tell(L"place SIMULATED-PC anna secret");
    REQUIRE(life.sink.WaitFor(1));
    CheckSerialization(life);
}

void* (*g_calloc)(size_t, size_t);
void* NoHugeBlocks(size_t count, size_t size)
{
    return count * size < 0x7FFFFFFF ? g_calloc(count, size) : nullptr;
}

} // namespace

TEST_CASE("the user from before boot is logged on, unless Windows logs somebody on by itself")
{
    struct Row {
        const char* what;
        bool event, registry, wakesWithoutPassword;
        std::wstring line;
        bool taken;
    };
    const std::wstring absent = L"hEvent != INVALID_HANDLE_VALUE && hEvent != NULL anna";
    for (const Row& row : {
             Row{"no event", false, false, false, absent, true},
             Row{"no event, automatic logon", false, true, true, absent, true},
             Row{"event", true, false, false, L"CheckSystemAutoLogon anna", true},
             Row{"event, by registry", true, true, false, L"CheckSystemAutoLogon", false},
             Row{"event, by power setting", true, false, true, L"CheckSystemAutoLogon", false},
         }) {
        CAPTURE(row.what);
        Machine machine;
        REQUIRE(PreBootLibrary::Store(Anna()));
        const KernelHandle event(row.event ? CreateEventW(nullptr, TRUE, FALSE, AutoLogonEvent) : nullptr);
        std::optional<AutoAdminLogon> registry;
        if (row.registry)
            registry.emplace();
        machine.windows.Lock()->power.SetConsoleLock(!row.wakesWithoutPassword, 1);
        ProviderLife life(machine);
        life.Start();
        if (row.taken) {
            REQUIRE(life.sink.WaitFor(1));
            CheckSerialization(life);
            CHECK(machine.WaitForLog("DeamonThread", L"GetExitCodeThread 0"));
            CHECK(machine.LogOf("ThreadFP").back() == row.line);
        } else {
            REQUIRE(life.SeePrompt(L"Please scan a finger"));
            CHECK(Holds(machine.LogOf("ThreadFP"), row.line));
            CHECK(life.sink.changes == 0);
            machine.Tell(L"wait IdentifyEnroll");
        }
        CHECK(Holds(machine.Calls(), L"ListEnroll") != row.taken);
        CHECK(machine.LogOf("GetAuthUserCreds") == Texts{L"Start", L"vcsWavPbaGetAuthUserCreds 0", L"End"});
        CHECK(PreBootLibrary::Calls() ==
              Texts{L"vcsWavPbaOpen(2) = 0", L"vcsWavIsPbaEnabled() = 0, 1", L"vcsWavPbaClose() = 0",
                    L"vcsWavPbaOpen(2) = 0", L"vcsWavPbaGetAuthUserCreds(null, 0) = 0, size 386",
                    L"vcsWavPbaGetAuthUserCreds(buffer, 386) = 0, size 386", L"vcsWavPbaClose() = 0"});
        for (const LogLine& line : machine.Log())
            CHECK(line.message.find(L"secret") == std::wstring::npos);
    }
}

TEST_CASE("a library that fails is logged, and the finger goes on")
{
    Machine machine;
    PreBootLibrary::Script script = Anna();
    Texts log = {L"Start", L"End"};
    std::wstring status = L"2A";
    SUBCASE("at the record")
    {
        script.credsStatus = 42;
    }
    SUBCASE("everywhere")
    {
        // Passes creation by the service's word.
        script = {1, 9, 9, 9, std::nullopt, 9, 42, {}, {}};
        log = {L"Start", L"vcsWavPbaOpen Fail", L"vcsWavPbaGetAuthUserCreds Size Fail", L"End"};
    }
    SUBCASE("by being gone when it is called")
    {
        REQUIRE(machine.windows.FailNext("LoadLibraryA", ERROR_MOD_NOT_FOUND, 1, 4));
        log = {L"Start", L"vcsWavPbaOpen Fail", L"vcsWavPbaGetAuthUserCreds Size Fail", L"End"};
        status = L"C06D007E";
    }
    REQUIRE(PreBootLibrary::Store(script));
    ProviderLife life(machine);
    CheckFingerRoad(machine, life, status);
    CHECK(machine.LogOf("GetAuthUserCreds") == log);
    if (status == L"2A")
        CHECK(PreBootLibrary::Calls().back().starts_with(L"vcsWavPbaClose()"));
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
             Row{386, 386, L"386", 3},
             Row{386, 5000, L"386", 3},
             Row{386, 10, L"386", 1},
             Row{386, 0, L"386", 0},
             Row{386, -1, L"386", 0},
             Row{5000, 5000, L"5000", 3},
             Row{10, 10, L"10", 1},
             Row{10, 386, L"10", 1},
             Row{0, 0, L"0", 0},
             Row{0, 386, L"0", 0},
             Row{-5, 386, L"0", 0},
         }) {
        CAPTURE(row.first);
        CAPTURE(row.second);
        Machine machine;
        PreBootLibrary::Script script = Anna();
        script.record->resize(std::max<size_t>(386, size_t(std::max(row.first, 0L))), 0x55);
        script.size = row.first;
        script.filledSize = row.second;
        REQUIRE(PreBootLibrary::Store(script));
        ProviderLife life(machine);
        life.Start();
        if (row.fields == 0) {
            REQUIRE(life.SeePrompt(L"Please scan a finger"));
            CHECK(Holds(machine.LogOf("ThreadFP"), L"g_FPData is empty"));
            CHECK(machine.windows.Snapshot().accounts.logons.empty());
        } else {
            REQUIRE(machine.WaitForLog("DeamonThread", L"GetExitCodeThread 0"));
            const auto logons = machine.windows.Snapshot().accounts.logons;
            REQUIRE(logons.size() == 1);
            CHECK(logons[0].user == L"anna");
            CHECK(logons[0].password == (row.fields == 3 ? L"secret" : L""));
        }
        CHECK(Holds(PreBootLibrary::Calls(), L"vcsWavPbaGetAuthUserCreds(buffer, " + row.asked +
                                                 L") = 0, size " + std::to_wstring(row.second)));
    }
}

TEST_CASE("a size that cannot be allocated is a failure")
{
    Machine machine;
    PreBootLibrary::Script script = Anna();
    script.size = 0x7FFFFFFF;
    REQUIRE(PreBootLibrary::Store(script));
    ProviderLife life(machine);
    WindowsModel::ImportHooks memory(GetModuleHandleW(L"VexaFPCredentialProvider.dll"));
    REQUIRE(memory.Replace("calloc", NoHugeBlocks, &g_calloc) == WindowsModel::ImportHooks::Result::Replaced);
    CheckFingerRoad(machine, life, L"8");
    CHECK(PreBootLibrary::Calls().back() == L"vcsWavPbaClose() = 0");
    memory.Restore();
}

TEST_SUITE_BEGIN("alone");

TEST_CASE("without creds")
{
    Machine machine;
    REQUIRE(FitMachine::InstallPreBootLibrary(L"creds"));
    ProviderLife life(machine);
    CheckFingerRoad(machine, life, L"C06D007F");
    CHECK(PreBootLibrary::Calls().back() == L"vcsWavPbaClose() = 0");
}

TEST_SUITE_END();
