#include "Options.h"
#include "Text.h"

#include <cfgmgr32.h>

#include <algorithm>
#include <cwchar>
#include <initializer_list>
#include <type_traits>
#include <utility>

namespace {

using WindowsModel::AccountState;
using Parser = bool (*)(Options&, const std::wstring&);

std::optional<DWORD> ParseNumber(const std::wstring& text)
{
    if (text.empty() || text[0] < L'0' || text[0] > L'9')
        return std::nullopt;
    const bool isHex = text.starts_with(L"0x") || text.starts_with(L"0X");
    wchar_t* end = nullptr;
    const unsigned long long value = wcstoull(text.c_str(), &end, isHex ? 16 : 10);
    if (*end != L'\0' || value > MAXDWORD)
        return std::nullopt;
    return static_cast<DWORD>(value);
}

template <auto Member>
bool Text(Options& options, const std::wstring& value)
{
    options.*Member = value;
    return !value.empty();
}

template <auto Member, DWORD Least = 0, DWORD Most = MAXDWORD>
bool Number(Options& options, const std::wstring& value)
{
    const std::optional<DWORD> parsed = ParseNumber(value);
    const DWORD number = parsed.value_or(0);
    if (!parsed || number < Least || number > Most)
        return false;
    options.*Member = number;
    return true;
}

template <Options::Action Action>
bool Do(Options& options, const std::wstring&)
{
    if (options.action == Options::Action::Run || Action == Options::Action::Help)
        options.action = Action;
    return options.action == Action || options.action == Options::Action::Help;
}

template <class Target>
bool Choose(const std::wstring& value, Target& target,
            std::initializer_list<std::pair<const wchar_t*, std::type_identity_t<Target>>> choices)
{
    for (const auto& [name, meaning] : choices) {
        if (value == name) {
            target = meaning;
            return true;
        }
    }
    return false;
}

bool ParseScenario(Options& options, const std::wstring& value)
{
    return Choose(value, options.scenario, {{L"logon", CPUS_LOGON}, {L"unlock", CPUS_UNLOCK_WORKSTATION}});
}

bool ParseSession(Options& options, const std::wstring& value)
{
    return Choose(value, options.session,
                  {{L"connected", WTSConnected}, {L"active", WTSActive}, {L"disconnected", WTSDisconnected}});
}

bool ParseSensor(Options& options, const std::wstring& value)
{
    if (value != L"absent")
        options.deviceProblem = value == L"disabled" ? CM_PROB_DISABLED : 0;
    return Choose(value, options.sensor, {{L"present", true}, {L"absent", false}, {L"disabled", true}});
}

bool ParseUntil(Options& options, const std::wstring& value)
{
    constexpr std::wstring_view prefix = L"prompt:";
    const bool isPrompt = value.starts_with(prefix);
    options.untilPrompt = isPrompt ? value.substr(prefix.size()) : std::wstring();
    return isPrompt ? !options.untilPrompt.empty() : value == L"logon";
}

bool ParseExpect(Options& options, const std::wstring& value)
{
    options.expect = value;
    return options.ExpectsNoLogon() || value.find(L'\\') != std::wstring::npos;
}

bool ParseAccount(Options& options, const std::wstring& value)
{
    const size_t slash = value.find(L'\\');
    const size_t colon = slash == std::wstring::npos ? slash : value.find(L':', slash);
    if (colon == std::wstring::npos || colon == slash + 1)
        return false;
    WindowsModel::Account account;
    account.domain = value.substr(0, slash);
    account.user = value.substr(slash + 1, colon - slash - 1);
    account.password = value.substr(colon + 1);
    // A password may hold colons of its own; only a known word at the very end is a state.
    const size_t last = account.password.rfind(L':');
    if (last != std::wstring::npos && Choose(account.password.substr(last + 1), account.state,
                                             {{L"restricted", AccountState::Restricted},
                                              {L"hours", AccountState::LogonHours},
                                              {L"workstation", AccountState::Workstation},
                                              {L"expired", AccountState::PasswordExpired},
                                              {L"mustchange", AccountState::PasswordMustChange},
                                              {L"disabled", AccountState::Disabled},
                                              {L"lockedout", AccountState::LockedOut}}))
        account.password.erase(last);
    options.accounts.push_back(account);
    return true;
}

bool ParseService(Options& options, const std::wstring& value)
{
    const size_t colon = value.rfind(L':');
    if (colon == std::wstring::npos || colon == 0)
        return false;
    ServiceOption& service = options.services.emplace_back();
    service.name = value.substr(0, colon);
    return Choose(value.substr(colon + 1), service.state,
                  {{L"running", SERVICE_RUNNING},
                   {L"stopped", SERVICE_STOPPED},
                   {L"starting", SERVICE_START_PENDING},
                   {L"stopping", SERVICE_STOP_PENDING},
                   {L"paused", SERVICE_PAUSED}});
}

bool ParseReal(Options& options, const std::wstring&)
{
    return options.real = true;
}

struct Row {
    const wchar_t* name;  ///< or a heading
    const wchar_t* value; ///< what to write behind the name; null for a switch
    Parser parse;         ///< null for a heading
    bool isSimulated;     ///< does not go with --real
    const wchar_t* help;
};

// clang-format off
constexpr Row Rows[] = {
    {L"The provider", nullptr, nullptr, false, L""},
    {L"--dll", L"PATH", Text<&Options::dll>, false, L"load this DLL (default: the registered one)"},
    {L"--scenario", L"logon|unlock", ParseScenario, false, L"what the screen is there for (default: logon)"},
    {L"--lives", L"NUMBER", Number<&Options::lives, 1>, false, L"logon screens one after another in this process (default: 1)"},

    {L"The Windows around it", nullptr, nullptr, false, L""},
    {L"--account", L"'DOMAIN\\user:password[:STATE]'", ParseAccount, true,
        L"an account; repeatable. STATE is what stands in its way: restricted, hours, workstation,\n"
        L"expired, mustchange, disabled or lockedout"},
    {L"--computer", L"NAME", Text<&Options::computer>, true, L"the computer's name"},
    {L"--language", L"LCID", Number<&Options::language>, true, L"the system's default language, such as 1033 or 0x409"},
    {L"--session", L"connected|active|disconnected", ParseSession, true,
        L"state of the session (default: connected at logon, when nobody has logged on yet;\n"
        L"active at unlock)"},
    {L"--service", L"NAME:running|stopped|starting|stopping|paused", ParseService, true,
        L"what the service manager says; repeatable. Given once, no other service exists; otherwise\n"
        L"the real ones are asked"},
    {L"--sensor", L"present|absent|disabled", ParseSensor, true, L"the sensor (default: the machine's own, if it has one)"},
    {L"--device-problem", L"CODE", Number<&Options::deviceProblem>, true, L"problem of every device, such as 22 for a disabled one"},
    {L"--real", nullptr, ParseReal, false, L"simulate nothing: run on the system as it is; no logon is attempted"},

    {L"The run", nullptr, nullptr, false, L""},
    {L"--until", L"logon|prompt:TEXT", ParseUntil, true,
        L"what ends a life: an accepted logon (default), or a prompt that contains TEXT"},
    {L"--time-limit", L"SECONDS", Number<&Options::timeLimitSeconds, 1, 86400>, false, L"end a life after that time anyway (default: 60, at most 86400)"},
    {L"--hold", L"MS", Number<&Options::holdMs, 0, 86400000>, false,
        L"leave the screen up for so long afterwards (default: 500, for Windows too takes a while\n"
        L"to leave the logon screen)"},
    {L"--expect", L"'DOMAIN\\user'|none", ParseExpect, false,
        L"whose logon has to be accepted; none: nobody's until the prompt, or the time limit, comes"},
    {L"--transcript", L"FILE", Text<&Options::transcript>, false, L"write the lines into FILE as well"},

    {L"Registration (writing takes administrator's rights)", nullptr, nullptr, false, L""},
    {L"--register", nullptr, Do<Options::Action::Register>, false, L"register the DLL given with --dll as COM class and as credential provider"},
    {L"--unregister", nullptr, Do<Options::Action::Unregister>, false, L"remove both"},
    {L"--status", nullptr, Do<Options::Action::Status>, false, L"tell which DLL is registered, and whether LogonUI asks it"},
    {L"--help", nullptr, Do<Options::Action::Help>, false, L"this text; so do -h and /?"},
};
// clang-format on

constexpr wchar_t Introduction[] =
    LR"(LogonScreen: a stand-in for LogonUI that drives the credential provider without locking anybody out.

It loads the provider's DLL, makes the calls that the logon screen of Windows makes, in the same order and on one
thread, shows the tile, follows CredentialsChanged, collects the logon, has it judged by a simulated LSA, reports
the result to the provider and unloads the DLL again. Each step is written to the standard output. Esc in its
window ends a life.

Usage: LogonScreen [options]
)";

constexpr wchar_t ExitCodes[] = LR"(
Exit codes
  0  the expected outcome, and nothing was left behind; registered or unregistered; --status: LogonUI finds a DLL
  1  another outcome: wrong or refused logon, a logon where none was expected, a violation of the interfaces;
     --status: LogonUI finds none
  2  bad command line, or the registry or transcript could not be written
  3  no tile: the DLL can't be loaded, or the provider refused to be created or refused the scenario
  4  the time limit came before what was to end the life
  5  something was left behind: the DLL did not unload, or a window of it outlived it
  6  the provider crashed, or did not return from a call
)";

const Row* FindRow(const std::wstring& name)
{
    const std::wstring wanted = name == L"-h" || name == L"/?" ? L"--help" : name;
    for (const Row& row : Rows)
        if (row.parse != nullptr && wanted == row.name)
            return &row;
    return nullptr;
}

/// What is wrong with the value; an account's holds a password, which is shown nowhere.
std::wstring BadValue(const Row& row, const std::wstring& value)
{
    if (row.value == nullptr)
        return L"one of --register, --unregister and --status at a time";
    std::wstring help = row.help;
    std::replace(help.begin(), help.end(), L'\n', L' ');
    const std::wstring shown = row.parse == ParseAccount ? std::wstring() : L", not " + Quoted(value);
    return Format(L"%s takes %s%s: %s", row.name, row.value, shown.c_str(), help.c_str());
}

} // namespace

std::optional<Options> ParseOptions(int argc, wchar_t** argv, std::wstring& message)
{
    Options options;
    const wchar_t* simulated = nullptr;
    for (int i = 1; i < argc && message.empty(); ++i) {
        const Row* const row = FindRow(argv[i]);
        if (row == nullptr)
            message = L"there is no option " + Quoted(argv[i]);
        else if (row->value != nullptr && i + 1 == argc)
            message = Format(L"%s takes %s", row->name, row->value);
        else if (const std::wstring value = row->value != nullptr ? argv[++i] : L"";
                 !row->parse(options, value))
            message = BadValue(*row, value);
        else if (row->isSimulated)
            simulated = row->name;
    }
    if (message.empty() && options.action == Options::Action::Register && options.dll.empty())
        message = L"--register needs --dll PATH";
    if (message.empty() && options.real && simulated != nullptr)
        message = Format(L"--real runs on the system as it is, %s belongs to the simulated one", simulated);
    if (!message.empty())
        return std::nullopt;
    return options;
}

std::wstring UsageText()
{
    constexpr size_t column = 24;
    std::wstring text = Introduction;
    for (const Row& row : Rows) {
        if (row.parse == nullptr) {
            text += Format(L"\n%s\n", row.name);
            continue;
        }
        std::wstring line = Format(L"  %s %s", row.name, row.value != nullptr ? row.value : L"");
        if (line.size() > column - 2)
            text += std::exchange(line, std::wstring()) + L"\n";
        line.resize(column, L' ');
        for (const wchar_t* c = row.help; *c != L'\0'; ++c)
            line += *c == L'\n' ? L"\n" + std::wstring(column, L' ') : std::wstring(1, *c);
        text += line + L"\n";
    }
    return text + ExitCodes;
}
