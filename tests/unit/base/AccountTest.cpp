#include "Account.h"

#include "SehGuard.h"
#include "Simulation.h"

#include <oleauto.h>

#include <optional>

namespace {

using Logon = std::pair<std::optional<std::wstring>, DWORD>; // domain, type
std::vector<Logon> g_logons;
std::vector<DWORD> g_logonErrors;

/// Fails with the errors of the script, one a call, then succeeds. Any argument out of place is another
/// error.
BOOL WINAPI ScriptedLogon(const wchar_t* user, const wchar_t* domain, const wchar_t* password, DWORD type,
                          DWORD provider, HANDLE* token, PSID* sid, void** profile, DWORD* profileLength,
                          QUOTA_LIMITS* quotas)
{
    const bool inPlace = std::wstring(L"Anna") == user && std::wstring(L"Secret") == password &&
                         provider == 0 && !token && !sid && !profile && !profileLength && !quotas;
    const DWORD error = g_logons.size() < g_logonErrors.size() ? g_logonErrors[g_logons.size()] : 0;
    g_logons.push_back({domain != nullptr ? std::optional<std::wstring>(domain) : std::nullopt, type});
    SetLastError(inPlace ? error : ERROR_INVALID_PARAMETER);
    return inPlace && error == 0;
}

/// An active session on the computer "Simulated-PC".
struct LogonSimulation : Simulation {
    LogonSimulation() : Simulation(Group::Accounts | Group::Session)
    {
        (*this)->accounts.computerName = L"Simulated-PC";
        Replace("LogonUserExW", ScriptedLogon);
        g_logons.clear();
        g_logonErrors.clear();
    }
};

TEST_CASE("an account is tried here, then under its domain")
{
    constexpr wchar_t Here[] = L"Simulated-PC";
    struct Row {
        const char* what;
        const wchar_t* domain;
        WTS_CONNECTSTATE_CLASS session;
        std::vector<DWORD> errors;
        int result;
        std::vector<Logon> logons;
    };
    // clang-format off
    const Row rows[] = {
        {"local",                     L"SIMULATED-pc", WTSActive,       {},           1, {{Here, 2}}},
        {"local, restricted",         Here,            WTSActive,       {1327},       1, {{Here, 2}}},
        {"local, by domain",          L"simulated-pc", WTSActive,       {1326},       1, {{Here, 2}, {L"simulated-pc", 2}}},
        {"local, wrong",              L"SIMULATED-PC", WTSActive,       {1326, 1326}, 0, {{Here, 2}, {L"SIMULATED-PC", 2}}},
        {"other",                     L"Corp",         WTSActive,       {},           1, {{L"Corp", 2}}},
        {"other, restricted",         L"Corp",         WTSActive,       {1327},       1, {{L"Corp", 2}}},
        {"other, wrong",              L"Corp",         WTSActive,       {1326},       0, {{L"Corp", 2}}},
        {"other, disabled",           L"Corp",         WTSActive,       {1331},       0, {{L"Corp", 2}}},
        {"empty domain",              L"",             WTSActive,       {1326},       0, {{L"", 2}}},
        {"local, away",               L"simulated-pc", WTSDisconnected, {},           1, {{Here, 2}}},
        {"local, away, by domain",    L"simulated-pc", WTSConnected,    {1326},       1, {{Here, 2}, {L"simulated-pc", 9}}},
        {"local, away, wrong",        L"simulated-pc", WTSDisconnected, {1326, 1326}, 0, {{Here, 2}, {L"simulated-pc", 9}}},
        {"other, away",               L"Corp",         WTSConnected,    {},           1, {{L"Corp", 9}}},
        {"other, away, restricted",   L"Corp",         WTSIdle,         {1327},       1, {{L"Corp", 9}}},
        {"no domain, away",           nullptr,         WTSDisconnected, {1326},       0, {{std::nullopt, 9}}},
    };
    // clang-format on
    for (const Row& row : rows) {
        CAPTURE(row.what);
        LogonSimulation simulation;
        simulation->session.connectState = row.session;
        g_logonErrors = row.errors;
        CHECK(CheckUserAndPwd(L"Anna", L"Secret", row.domain) == row.result);
        CHECK(g_logons == row.logons);
        CHECK(simulation->session.queries == std::vector{WTSConnectState});
        CHECK(simulation->ledger.Clean());
    }

    // A session of unknown state gets the strict check.
    LogonSimulation simulation;
    simulation->session.connectState = WTSDisconnected;
    simulation.FailNext("WTSQuerySessionInformationW", ERROR_ACCESS_DENIED);
    CHECK(CheckUserAndPwd(L"Anna", L"Secret", L"Corp") == 1);
    CHECK(g_logons == std::vector<Logon>{{L"Corp", 2}});
}

TEST_CASE("without memory for its strings the check raises and leaks nothing")
{
    static decltype(&SysAllocString) allocate;
    static decltype(&SysFreeString) free;
    static int untilFailure, liveStrings;
    LogonSimulation simulation;
    simulation.Replace(
        "SysAllocString",
        +[](const OLECHAR* text) -> BSTR {
            return --untilFailure < 0 ? nullptr : (++liveStrings, allocate(text));
        },
        &allocate);
    simulation.Replace(
        "SysFreeString",
        +[](BSTR text) {
            liveStrings -= text != nullptr ? 1 : 0;
            free(text);
        },
        &free);
    for (const int allocations : {0, 1, 2}) {
        CAPTURE(allocations);
        untilFailure = allocations;
        CHECK(Guarded([] { CheckUserAndPwd(L"Anna", L"Secret", L"Corp"); }).code ==
              (allocations < 2 ? 0x8007000E : 0));
        CHECK(liveStrings == 0);
        CHECK(g_logons.size() == (allocations < 2 ? 0 : 1));
    }
}

TEST_CASE("automatic logon is Winlogon's, or a wake-up that asks for no password")
{
    constexpr wchar_t Key[] = LR"(SOFTWARE\Microsoft\Windows NT\CurrentVersion\Winlogon)";
    constexpr wchar_t Name[] = L"AutoAdminLogon";
    struct Row {
        const char* what;
        BYTE mains;
        DWORD onMains, onBattery;
        std::wstring value;
        DWORD type;
        bool result, readOnMains;
    };
    // clang-format off
    const Row rows[] = {
        {"asked on mains",            1,   1, 0, L"",                     REG_SZ,    false, true},
        {"not asked on mains",        1,   0, 1, L"",                     REG_SZ,    true,  true},
        {"asked on battery",          0,   0, 1, L"",                     REG_SZ,    false, false},
        {"not asked on battery",      0,   1, 0, L"",                     REG_SZ,    true,  false},
        {"asked, switched on",        1,   1, 1, L"1",                    REG_SZ,    true,  true},
        {"not asked, switched off",   1,   0, 0, L"0",                    REG_SZ,    true,  true},
        {"asked, a number",           1,   1, 1, {1, 0},                  REG_DWORD, false, true},
        {"asked, too long a text",    1,   1, 1, std::wstring(300, L'1'), REG_SZ,    false, true},
    };
    // clang-format on
    for (const Row& row : rows) {
        CAPTURE(row.what);
        RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, Key, Name);
        Simulation simulation(Group::Power);
        simulation->power.status.ACLineStatus = row.mains;
        simulation->power.SetConsoleLock(row.onMains, row.onBattery);
        if (!row.value.empty())
            REQUIRE(RegSetKeyValueW(HKEY_LOCAL_MACHINE, Key, Name, row.type, row.value.data(),
                                    DWORD(row.value.size() * sizeof(wchar_t))) == ERROR_SUCCESS);
        CHECK(CheckSystemAutoLogon() == row.result);
        const WindowsModel::PowerState power = simulation.windows.Snapshot().power;
        REQUIRE(power.reads.size() == 1);
        CHECK(power.reads[0].onMains == row.readOnMains);
        CHECK(power.reads[0].scheme == power.activeScheme);
    }

    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, Key, Name);
    // A setting that can't be read counts as no password.
    for (const char* function : {"PowerGetActiveScheme", "PowerReadACValueIndex"}) {
        Simulation simulation(Group::Power);
        simulation.FailNext(function, ERROR_FILE_NOT_FOUND);
        CHECK(CheckSystemAutoLogon());
    }
}

} // namespace
