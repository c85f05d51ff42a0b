// The command line.
#pragma once

#include "WindowsModel/Accounts.h"

#include <credentialprovider.h>

#include <optional>
#include <string>
#include <vector>

/// A function of the simulated Windows that is to fail: `skip` calls later, `times` in a row.
struct FailureOption {
    std::wstring function;
    DWORD code = 0;
    DWORD skip = 0;
    DWORD times = 1;
};

/// A service that the simulated service manager knows, in the one state it has.
struct ServiceOption {
    std::wstring name;
    DWORD state = 0;
};

struct ReportedStatus {
    NTSTATUS status, substatus;
};

/// What ends a life. Whatever it is, the time limit ends it too.
struct EndCondition {
    enum class Kind { Logon, Prompt, Time };
    Kind kind = Kind::Logon;
    std::wstring prompt;
    DWORD ms = 0;
};

struct Options {
    enum class Action { Run, Register, Unregister, Help };
    Action action = Action::Run;

    GUID clsid{};
    std::wstring dll; // empty: the registered one
    CREDENTIAL_PROVIDER_USAGE_SCENARIO scenario = CPUS_LOGON;
    DWORD lives = 1;
    bool keepLoaded = false;

    bool real = false;
    std::vector<WindowsModel::Account> accounts;
    std::vector<FailureOption> failures;
    std::vector<ServiceOption> services;
    std::wstring computer;
    std::optional<LCID> language;
    bool disconnected = false;
    std::optional<DWORD> deviceProblem;
    double clockScale = 1.0;
    std::optional<ReportedStatus> report;

    EndCondition until;
    DWORD timeLimitMs = 60000;
    /// Windows keeps the logon screen until the desktop is there, so a provider is never released within
    /// milliseconds of its logon.
    DWORD holdMs = 500;
    /// "none", "DOMAIN\user", or empty for no expectation.
    std::wstring expect;

    bool window = true;
    std::wstring transcript;

    bool ExpectsNoLogon() const { return expect == L"none"; }
};

/// On a usage error `message` says what is wrong.
std::optional<Options> ParseOptions(int argc, wchar_t** argv, std::wstring& message);

/// The text of --help.
const wchar_t* UsageText();
