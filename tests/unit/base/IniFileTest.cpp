#include "IniFile.h"

#include "Simulation.h"

#include <filesystem>

namespace fs = std::filesystem;

namespace {

const fs::path IniPath = LR"(C:\Users\Public\VEXA\FingerPrint\config.ini)";

/// The file is missing before and after each test; its folder is there.
struct IniFile {
    IniFile()
    {
        fs::create_directories(IniPath.parent_path());
        fs::remove(IniPath);
    }
    ~IniFile() { fs::remove(IniPath); }
};

std::uint32_t ReadInt(const wchar_t* key, const wchar_t* section)
{
    std::uint32_t value = 77;
    IniReadInt(key, &value, section);
    return value;
}

TEST_CASE_FIXTURE(IniFile, "integers of a named section, 0 for whatever is missing")
{
    CHECK(ReadInt(L"LockEnable", L"Public") == 0);
    CHECK(IniWriteString(L"12", L"1", L"Elsewhere"));
    CHECK(ReadInt(L"LockEnable", L"Public") == 0);

    CHECK(IniWriteString(L"LockCount", L"3", L"Public"));
    CHECK(ReadInt(L"LockCount", L"Public") == 3);
    CHECK(IniWriteString(L"LockCount", L"no number", L"Public"));
    CHECK(ReadInt(L"LockCount", L"Public") == 0);

    IniReadInt(L"LockCount", nullptr, L"Public");
    CHECK(ReadInt(nullptr, L"Elsewhere") == 0);
    CHECK_FALSE(IniWriteString(nullptr, L"1", L"Elsewhere"));
    CHECK(ReadInt(L"12", L"Elsewhere") == 1);
}

TEST_CASE_FIXTURE(IniFile, "the user section bears the name of the session's account")
{
    struct Row {
        const wchar_t* sessionUser;
        bool accountsReadable;
        const wchar_t* section;
    };
    for (const Row& row : {Row{L"bert", true, L"bert"},
                           {L"anna@mail", true, L"anna"},
                           {L"anna@mail", false, L"anna@mail"},
                           {L"stranger", true, L"stranger"},
                           {L"dora", true, L"dora"}}) {
        CAPTURE(row.sessionUser);
        fs::remove(IniPath);
        Simulation simulation(Group::Session | Group::Accounts);
        simulation->session.userName = row.sessionUser;
        simulation->accounts.netPageSize = 1;
        simulation->accounts.accounts = {{L"Corp", L"dora", L"secret"},
                                         {L"SIMULATED-PC", L"bert", L"secret"},
                                         {L"SIMULATED-PC", L"anna", L"secret", {}, L"anna@mail"}};
        if (!row.accountsReadable)
            simulation.FailNext("NetUserGetInfo", ERROR_ACCESS_DENIED, 5);

        CHECK(IniWriteString(L"Key", L"5", nullptr));
        CHECK(ReadInt(L"Key", row.section) == 5);
        CHECK(ReadInt(L"Key", nullptr) == 5);
        CHECK(IniReadString(L"Missing").empty());
        CHECK(IniReadString(nullptr).empty());
        CHECK(IniWriteString(L"Key", std::wstring(300, L'x'), row.section));
        CHECK(IniReadString(L"Key") == std::wstring(255, L'x'));
        CHECK(simulation->ledger.Clean());
    }
}

TEST_CASE_FIXTURE(IniFile, "without a user there is no user section")
{
    Simulation simulation(Group::Session);
    for (const bool known : {true, false}) {
        if (!known)
            simulation.FailNext("WTSQuerySessionInformationW", ERROR_ACCESS_DENIED, 3);
        CHECK_FALSE(IniWriteString(L"Key", L"1", nullptr));
        CHECK(ReadInt(L"Key", nullptr) == 0);
        CHECK(IniReadString(L"Key").empty());
    }
    CHECK(simulation->ledger.Clean());
}

} // namespace
