#include "Account.h"

#include "SehGuard.h"
#include "Simulation.h"

#include <oleauto.h>

#include <optional>

namespace {

using WindowsModel::AccountState;
using Logon = std::pair<std::wstring, DWORD>; // domain, type

struct LogonSimulation : Simulation {
    LogonSimulation() : Simulation(Group::Accounts | Group::Session | Group::Failures)
    {
        (*this)->accounts.computerName = L"Simulated-PC";
    }

    /// As they were tried.
    std::vector<Logon> Logons()
    {
        std::vector<Logon> logons;
        for (const WindowsModel::LogonCall& call : windows.Snapshot().accounts.logons)
            logons.emplace_back(call.hasDomain ? call.domain : L"none", call.type);
        return logons;
    }
};

TEST_CASE("an account is tried here, then under its domain")
{
    constexpr wchar_t Here[] = L"Simulated-PC";
    struct Row {
        const char* what;
        const wchar_t* domain;
        std::optional<WTS_CONNECTSTATE_CLASS> session; // none: unknown
        AccountState state;
        int result;
        std::vector<Logon> logons;
    };
    // The model refuses nobody who asks for the weak check, type 9.
    // clang-format off
    const Row rows[] = {
        {"local",             L"SIMULATED-pc", WTSActive,       AccountState::Ok,         1, {{Here, 2}}},
        {"local, restricted", Here,            WTSActive,       AccountState::Restricted, 1, {{Here, 2}}},
        {"local, disabled",   L"SIMULATED-PC", WTSActive,       AccountState::Disabled,   0, {{Here, 2}, {L"SIMULATED-PC", 2}}},
        {"other, disabled",   L"Corp",         WTSActive,       AccountState::Disabled,   0, {{L"Corp", 2}}},
        {"other, unknown",    L"Corp",         std::nullopt,    AccountState::Disabled,   0, {{L"Corp", 2}}},
        {"local, away",       L"simulated-pc", WTSDisconnected, AccountState::Ok,         1, {{Here, 2}}},
        {"local, by domain",  L"simulated-pc", WTSConnected,    AccountState::Disabled,   1, {{Here, 2}, {L"simulated-pc", 9}}},
        {"other, away",       L"Corp",         WTSIdle,         AccountState::Disabled,   1, {{L"Corp", 9}}},
        {"no domain, away",   nullptr,         WTSDisconnected, AccountState::Disabled,   1, {{L"none", 9}}},
    };
    // clang-format on
    for (const Row& row : rows) {
        CAPTURE(row.what);
        LogonSimulation simulation;
        simulation->accounts.accounts = {{L"Simulated-PC", L"Anna", L"Secret", row.state},
                                         {L"Corp", L"Anna", L"Secret", row.state}};
        if (row.session)
            simulation->session.connectState = *row.session;
        else
            simulation.FailNext("WTSQuerySessionInformationW", ERROR_ACCESS_DENIED);
        CHECK(CheckUserAndPwd(L"Anna", L"Secret", row.domain) == row.result);
        CHECK(simulation.Logons() == row.logons);
        CHECK(simulation->session.queries.size() == size_t(row.session.has_value()));
        CHECK(simulation->ledger.Clean());
    }
}

TEST_CASE("without memory for its strings the check raises and leaks nothing")
{
    static decltype(&SysFreeString) free;
    static unsigned freed;
    for (const unsigned allocated : {0, 1}) {
        CAPTURE(allocated);
        LogonSimulation simulation;
        freed = 0;
        simulation.Replace("SysFreeString", +[](BSTR text) { ++freed, free(text); }, &free);
        simulation.FailNext("SysAllocString", ERROR_NOT_ENOUGH_MEMORY, 1, allocated);
        CHECK(Guarded([] { CheckUserAndPwd(L"Anna", L"Secret", L"Corp"); }).code == 0x8007000E);
        CHECK(freed == allocated);
        CHECK(simulation.Logons().empty());
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
        const wchar_t* value;
        bool result;
    };
    for (const Row& row :
         {Row{"asked on mains", 1, 1, 0, nullptr, false}, Row{"not asked on mains", 1, 0, 1, nullptr, true},
          Row{"asked on battery", 0, 0, 1, nullptr, false},
          Row{"not asked on battery", 0, 1, 0, nullptr, true}, Row{"asked, switched on", 1, 1, 1, L"1", true},
          Row{"not asked, switched off", 1, 0, 0, L"0", true},
          Row{"asked, neither on nor off", 1, 1, 1, L"2", false}}) {
        CAPTURE(row.what);
        RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, Key, Name);
        if (row.value != nullptr)
            REQUIRE(RegSetKeyValueW(HKEY_LOCAL_MACHINE, Key, Name, REG_SZ, row.value, 4) == ERROR_SUCCESS);
        Simulation simulation(Group::Power);
        simulation->power.status.ACLineStatus = row.mains;
        simulation->power.SetConsoleLock(row.onMains, row.onBattery);
        CHECK(CheckSystemAutoLogon() == row.result);
        CHECK(simulation->power.reads == std::vector{simulation->power.activeScheme});
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
