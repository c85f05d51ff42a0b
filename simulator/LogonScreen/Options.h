// The command line.
#pragma once

#include "WindowsModel/SimulatedWindows.h"

#include <credentialprovider.h>

#include <optional>
#include <string>
#include <vector>

// {0CE326A8-C767-433F-82B9-601B2A27321E}
inline constexpr GUID ProviderClass = {
    0x0ce326a8, 0xc767, 0x433f, {0x82, 0xb9, 0x60, 0x1b, 0x2a, 0x27, 0x32, 0x1e}};

/// A service that the simulated service manager knows, in the one state it has.
struct ServiceOption {
    std::wstring name;
    DWORD state = 0;
};

struct Options {
    enum class Action { Run, Register, Unregister, Status, Help };
    Action action = Action::Run;

    std::wstring dll; // empty: the registered one
    CREDENTIAL_PROVIDER_USAGE_SCENARIO scenario = CPUS_LOGON;
    DWORD lives = 1;

    bool real = false;
    std::vector<WindowsModel::Account> accounts;
    std::vector<ServiceOption> services;
    std::wstring computer;
    std::optional<LCID> language;
    std::optional<WTS_CONNECTSTATE_CLASS> session; // see Session()
    std::optional<bool> sensor;                    // empty: the machine's own
    std::optional<DWORD> deviceProblem;

    /// The prompt that ends a life; empty: an accepted logon does. The time limit always does.
    std::wstring untilPrompt;
    DWORD timeLimitSeconds = 60;
    /// Windows keeps the logon screen until the desktop is there, so a provider is never released within
    /// milliseconds of its logon.
    DWORD holdMs = 500;
    /// "none", "DOMAIN\user", or empty for no expectation.
    std::wstring expect;
    std::wstring transcript;

    bool ExpectsNoLogon() const { return expect == L"none"; }
    /// Before anybody has logged on the console's session is connected, not active.
    WTS_CONNECTSTATE_CLASS Session() const
    {
        return session.value_or(scenario == CPUS_LOGON ? WTSConnected : WTSActive);
    }
};

/// On a usage error `message` says what is wrong.
std::optional<Options> ParseOptions(int argc, wchar_t** argv, std::wstring& message);

/// The text of --help.
std::wstring UsageText();
