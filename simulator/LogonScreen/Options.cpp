#include "Options.h"
#include "Text.h"

#include <objbase.h>

#include <cwchar>

namespace {

// {0CE326A8-C767-433F-82B9-601B2A27321E}: the provider of this tree.
constexpr GUID g_defaultClass = {
    0x0ce326a8, 0xc767, 0x433f, {0x82, 0xb9, 0x60, 0x1b, 0x2a, 0x27, 0x32, 0x1e}};

bool ParseNumber(const std::wstring& text, int base, DWORD& number)
{
    if (text.empty() || text[0] == L'-')
        return false;
    wchar_t* end = nullptr;
    const unsigned long long value = wcstoull(text.c_str(), &end, base);
    number = static_cast<DWORD>(value);
    return *end == L'\0' && value <= MAXDWORD;
}

bool ParseSeconds(const std::wstring& text, DWORD& ms)
{
    wchar_t* end = nullptr;
    const double seconds = wcstod(text.c_str(), &end);
    if (text.empty() || *end != L'\0' || !(seconds > 0) || seconds > 86400)
        return false;
    ms = static_cast<DWORD>(seconds * 1000);
    return true;
}

std::vector<std::wstring> Split(const std::wstring& text, wchar_t separator)
{
    std::vector<std::wstring> parts(1);
    for (const wchar_t c : text) {
        if (c == separator)
            parts.emplace_back();
        else
            parts.back() += c;
    }
    return parts;
}

struct AccountFlag {
    const wchar_t* suffix;
    WindowsModel::AccountState state;
};

// clang-format off
constexpr AccountFlag g_accountFlags[] = {
    {L":restricted",  WindowsModel::AccountState::Restricted},
    {L":hours",       WindowsModel::AccountState::LogonHours},
    {L":workstation", WindowsModel::AccountState::Workstation},
    {L":expired",     WindowsModel::AccountState::PasswordExpired},
    {L":mustchange",  WindowsModel::AccountState::PasswordMustChange},
    {L":disabled",    WindowsModel::AccountState::Disabled},
    {L":lockedout",   WindowsModel::AccountState::LockedOut},
};

struct ServiceStateName {
    const wchar_t* name;
    DWORD state;
};

constexpr ServiceStateName g_serviceStates[] = {
    {L"running",  SERVICE_RUNNING},
    {L"stopped",  SERVICE_STOPPED},
    {L"starting", SERVICE_START_PENDING},
    {L"stopping", SERVICE_STOP_PENDING},
    {L"paused",   SERVICE_PAUSED},
};
// clang-format on

using Parser = bool (*)(Options&, const std::wstring&);

bool ParseAccount(Options& options, const std::wstring& text)
{
    const size_t slash = text.find(L'\\');
    if (slash == std::wstring::npos)
        return false;
    const size_t colon = text.find(L':', slash);
    if (colon == std::wstring::npos || colon == slash + 1)
        return false;
    WindowsModel::Account account;
    account.domain = text.substr(0, slash);
    account.user = text.substr(slash + 1, colon - slash - 1);
    account.password = text.substr(colon + 1);
    // A password may hold colons of its own; only a known word at the very end is a flag.
    for (const AccountFlag& flag : g_accountFlags) {
        if (account.password.ends_with(flag.suffix)) {
            account.password.erase(account.password.rfind(L':'));
            account.state = flag.state;
            break;
        }
    }
    options.accounts.push_back(account);
    return true;
}

bool ParseFailure(Options& options, const std::wstring& text)
{
    const std::vector<std::wstring> parts = Split(text, L':');
    FailureOption failure;
    if (parts.size() < 2 || parts.size() > 4 || parts[0].empty())
        return false;
    failure.function = parts[0];
    if (!ParseNumber(parts[1], 0, failure.code))
        return false;
    if (parts.size() > 2 && !ParseNumber(parts[2], 10, failure.skip))
        return false;
    if (parts.size() > 3 && !ParseNumber(parts[3], 10, failure.times))
        return false;
    options.failures.push_back(failure);
    return true;
}

bool ParseService(Options& options, const std::wstring& text)
{
    const std::vector<std::wstring> parts = Split(text, L':');
    if (parts.size() != 2 || parts[0].empty())
        return false;
    for (const ServiceStateName& entry : g_serviceStates) {
        if (parts[1] == entry.name) {
            options.services.push_back({parts[0], entry.state});
            return true;
        }
    }
    return false;
}

bool ParseUntil(Options& options, const std::wstring& text)
{
    constexpr std::wstring_view prefix = L"prompt:";
    if (text == L"logon") {
        options.until.kind = EndCondition::Kind::Logon;
        return true;
    }
    if (text.starts_with(prefix) && text.size() > prefix.size()) {
        options.until.kind = EndCondition::Kind::Prompt;
        options.until.prompt = text.substr(prefix.size());
        return true;
    }
    options.until.kind = EndCondition::Kind::Time;
    return ParseSeconds(text, options.until.ms);
}

bool ParseReport(Options& options, const std::wstring& text)
{
    const std::vector<std::wstring> parts = Split(text, L':');
    DWORD status = 0, substatus = 0;
    if (parts.size() > 2 || !ParseNumber(parts[0], 0, status))
        return false;
    if (parts.size() == 2 && !ParseNumber(parts[1], 0, substatus))
        return false;
    options.report = ReportedStatus{static_cast<NTSTATUS>(status), static_cast<NTSTATUS>(substatus)};
    return true;
}

bool ParseScenario(Options& options, const std::wstring& text)
{
    options.scenario = text == L"unlock" ? CPUS_UNLOCK_WORKSTATION : CPUS_LOGON;
    return text == L"logon" || text == L"unlock";
}

bool ParseSession(Options& options, const std::wstring& text)
{
    options.disconnected = text == L"disconnected";
    return options.disconnected || text == L"active";
}

bool ParseLanguage(Options& options, const std::wstring& text)
{
    DWORD language = 0;
    if (!ParseNumber(text, 0, language))
        return false;
    options.language = language;
    return true;
}

bool ParseDeviceProblem(Options& options, const std::wstring& text)
{
    DWORD problem = 0;
    if (!ParseNumber(text, 0, problem))
        return false;
    options.deviceProblem = problem;
    return true;
}

bool ParseClock(Options& options, const std::wstring& text)
{
    wchar_t* end = nullptr;
    options.clockScale = wcstod(text.c_str(), &end);
    return !text.empty() && *end == L'\0' && options.clockScale >= 0;
}

bool ParseExpect(Options& options, const std::wstring& text)
{
    options.expect = text;
    return options.ExpectsNoLogon() || text.find(L'\\') != std::wstring::npos;
}

bool ParseClass(Options& options, const std::wstring& text)
{
    return SUCCEEDED(CLSIDFromString(text.c_str(), &options.clsid));
}

template <std::wstring Options::* Member>
bool ParseText(Options& options, const std::wstring& text)
{
    options.*Member = text;
    return !text.empty();
}

template <bool Options::* Member, bool Value>
bool SetFlag(Options& options, const std::wstring&)
{
    options.*Member = Value;
    return true;
}

template <Options::Action Value>
bool SetAction(Options& options, const std::wstring&)
{
    options.action = Value;
    return true;
}

struct Switch {
    const wchar_t* name;
    bool takesValue;
    Parser parse;
};

// clang-format off
constexpr Switch g_switches[] = {
    {L"--dll",              true,  ParseText<&Options::dll>},
    {L"--clsid",            true,  ParseClass},
    {L"--scenario",         true,  ParseScenario},
    {L"--lives",            true,  [](Options& o, const std::wstring& t) { return ParseNumber(t, 10, o.lives) && o.lives > 0; }},
    {L"--keep-loaded",      false, SetFlag<&Options::keepLoaded, true>},
    {L"--real",             false, SetFlag<&Options::real, true>},
    {L"--account",          true,  ParseAccount},
    {L"--computer",         true,  ParseText<&Options::computer>},
    {L"--language",         true,  ParseLanguage},
    {L"--session",          true,  ParseSession},
    {L"--service",          true,  ParseService},
    {L"--device-problem",   true,  ParseDeviceProblem},
    {L"--fail",             true,  ParseFailure},
    {L"--clock",            true,  ParseClock},
    {L"--report",           true,  ParseReport},
    {L"--until",            true,  ParseUntil},
    {L"--time-limit",       true,  [](Options& o, const std::wstring& t) { return ParseSeconds(t, o.timeLimitMs); }},
    {L"--hold",             true,  [](Options& o, const std::wstring& t) { return ParseNumber(t, 10, o.holdMs); }},
    {L"--expect",           true,  ParseExpect},
    {L"--transcript",       true,  ParseText<&Options::transcript>},
    {L"--no-window",        false, SetFlag<&Options::window, false>},
    {L"--register",         false, SetAction<Options::Action::Register>},
    {L"--unregister",       false, SetAction<Options::Action::Unregister>},
    {L"--help",             false, SetAction<Options::Action::Help>},
};
// clang-format on

const Switch* FindSwitch(const std::wstring& name)
{
    for (const Switch& candidate : g_switches)
        if (name == candidate.name)
            return &candidate;
    return nullptr;
}

/// Whether anything of the simulated Windows was asked for.
bool Simulates(const Options& options)
{
    return !options.accounts.empty() || !options.failures.empty() || !options.services.empty() ||
           !options.computer.empty() || options.language || options.disconnected || options.deviceProblem ||
           options.clockScale != 1.0;
}

bool IsConsistent(const Options& options, std::wstring& message)
{
    if (options.action == Options::Action::Register && options.dll.empty())
        message = L"--register needs --dll PATH";
    else if (options.real && Simulates(options))
        message = L"--real runs on the system as it is: accounts, services, failures, computer, language, "
                  L"session, device and clock belong to the simulated one";
    else if (options.real && options.until.kind == EndCondition::Kind::Prompt)
        message = L"--until prompt:TEXT needs the simulated Windows, which sees the texts drawn";
    return message.empty();
}

} // namespace

std::optional<Options> ParseOptions(int argc, wchar_t** argv, std::wstring& message)
{
    Options options;
    options.clsid = g_defaultClass;
    for (int i = 1; i < argc; ++i) {
        const std::wstring name = argv[i];
        const Switch* found = FindSwitch(name);
        if (found == nullptr) {
            message = L"unknown option " + name;
            return std::nullopt;
        }
        std::wstring value;
        if (found->takesValue) {
            if (++i == argc) {
                message = name + L" needs a value";
                return std::nullopt;
            }
            value = argv[i];
        }
        if (!found->parse(options, value)) {
            // An account's value holds a password, which is shown nowhere.
            message = found->parse == ParseAccount ? name + L" wants 'DOMAIN\\user:password[:STATE]'"
                                                   : L"bad value for " + name + L": " + value;
            return std::nullopt;
        }
    }
    if (!IsConsistent(options, message))
        return std::nullopt;
    return options;
}
