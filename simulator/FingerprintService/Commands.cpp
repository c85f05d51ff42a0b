#include "Commands.h"

#include "Simulation.h"
#include "Text.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cwchar>

namespace {

using Words = std::vector<std::wstring>;

constexpr long kDefaultWait = 10 * 1000;
constexpr long kLongestWait = 600 * 1000;
constexpr long kMostAnswers = 100'000;

Simulation& State()
{
    return Simulation::Instance();
}

Reply Ok(const std::wstring& detail = {})
{
    return {L"ok" + (detail.empty() ? L"" : L" " + detail) + L"\n", After::Nothing};
}

Reply Refuse(const std::wstring& reason)
{
    return {L"error " + reason + L"\n", After::Nothing};
}

/// Decimal or 0x..., also codes from the upper half of the unsigned range.
std::optional<long> ParseLong(const std::wstring& word)
{
    wchar_t* end = nullptr;
    errno = 0;
    long long value = wcstoll(word.c_str(), &end, 0);
    if (word.empty() || *end != L'\0' || errno != 0 || value < LONG_MIN ||
        value > static_cast<long long>(ULONG_MAX))
        return std::nullopt;
    return static_cast<long>(value);
}

std::optional<long> ParseCount(const std::wstring& word, long most)
{
    std::optional<long> count = ParseLong(word);
    return count && *count >= 1 && *count <= most ? count : std::nullopt;
}

std::optional<int> ParseProcedure(const std::wstring& word)
{
    std::optional<long> opnum = ParseLong(word);
    if (!opnum)
        return FindProcedure(word);
    return *opnum >= 0 && *opnum < kProcedureCount ? std::optional<int>(*opnum) : std::nullopt;
}

std::optional<UserRecord> ParseHexRecord(const std::wstring& hex)
{
    UserRecord record = {};
    if (hex.empty() || hex.size() % 2 != 0 || hex.size() / 2 > sizeof(record))
        return std::nullopt;
    for (size_t i = 0; i < hex.size(); i += 2) {
        wchar_t* end = nullptr;
        std::wstring digits = hex.substr(i, 2);
        if (!iswxdigit(digits[0]) || !iswxdigit(digits[1]))
            return std::nullopt;
        reinterpret_cast<BYTE*>(&record)[i / 2] = static_cast<BYTE>(wcstoul(digits.c_str(), &end, 16));
    }
    return record;
}

std::optional<UserRecord> ParseAccount(const Words& words)
{
    return MakeRecord(words[1], words[2], words[3]);
}

Reply Place(const Words& words)
{
    std::optional<UserRecord> account = ParseAccount(words);
    if (!account)
        return Refuse(L"longer than a record holds: domain 32, user 65, password 93 units");
    State().Sensor().Script({kIdentified, *account, false, Describe(*account)});
    return Ok();
}

Reply Record(const Words& words)
{
    std::wstring hex;
    for (size_t i = 1; i < words.size(); ++i)
        hex += words[i];
    std::optional<UserRecord> record = ParseHexRecord(hex);
    if (!record)
        return Refuse(L"not 1 to 386 bytes in hexadecimal");
    State().Sensor().Script({kIdentified, *record, false, L"scripted record"});
    return Ok();
}

Reply Enrol(const Words& words)
{
    std::optional<UserRecord> account = ParseAccount(words);
    if (!account)
        return Refuse(L"longer than a record holds: domain 32, user 65, password 93 units");
    State().Enrol(*account);
    return Ok();
}

Reply Nobody(const Words&)
{
    State().EnrolNobody();
    return Ok();
}

/// `times` is the optional last word of `busy` and `error`.
Reply ScriptCode(long code, const std::wstring* times)
{
    std::optional<long> count = 1;
    bool forever = times && *times == L"forever";
    if (times && !forever)
        count = ParseCount(*times, kMostAnswers);
    if (!count)
        return Refuse(L"the count is 1 to 100000 or forever");
    State().Sensor().Script({code, {}, forever, {}}, *count);
    return Ok();
}

Reply Busy(const Words& words)
{
    return ScriptCode(kSensorBusy, &words[1]);
}

Reply Error(const Words& words)
{
    std::optional<long> code = ParseLong(words[1]);
    if (!code)
        return Refuse(L"the code is not a number");
    return ScriptCode(*code, words.size() > 2 ? &words[2] : nullptr);
}

Reply Block(const Words&)
{
    State().Sensor().Block();
    return Ok();
}

Reply IgnoreStop(const Words& words)
{
    if (words[1] != L"on" && words[1] != L"off")
        return Refuse(L"on or off");
    State().Sensor().SetIgnoreStop(words[1] == L"on");
    return Ok();
}

Reply Die(const Words&)
{
    return {L"ok\n", After::Die};
}

Reply Pba(const Words& words)
{
    std::optional<long> value = ParseLong(words[1]);
    if (!value)
        return Refuse(L"the value is not a number");
    State().SetResult(kIsPbaEnable, *value);
    return Ok();
}

Reply Result(const Words& words)
{
    std::optional<int> opnum = ParseProcedure(words[1]);
    std::optional<long> value = ParseLong(words[2]);
    if (!opnum || !value)
        return Refuse(opnum ? L"the value is not a number" : L"no such procedure");
    if (*opnum == kIdentifyEnroll)
        return Refuse(L"IdentifyEnroll is scripted with place, record, busy and error");
    if (!kProcedures[*opnum].hasResult)
        return Refuse(L"the procedure has no result");
    State().SetResult(*opnum, *value);
    return Ok();
}

Reply Report(const Words&)
{
    size_t count = 0;
    std::wstring lines = State().Journal().Lines(count);
    Reply reply = Ok(std::to_wstring(count) + L" calls");
    reply.text += lines;
    return reply;
}

Reply Wait(const Words& words)
{
    std::optional<int> opnum = ParseProcedure(words[1]);
    std::optional<long> count = words.size() > 2 ? ParseCount(words[2], LONG_MAX) : 1;
    std::optional<long> milliseconds = words.size() > 3 ? ParseCount(words[3], kLongestWait) : kDefaultWait;
    if (!opnum)
        return Refuse(L"no such procedure");
    if (!count || !milliseconds)
        return Refuse(L"the count is at least 1, the time 1 to 600000 ms");
    unsigned wanted = static_cast<unsigned>(*count);
    unsigned received = State().Journal().WaitForCalls(*opnum, wanted, static_cast<DWORD>(*milliseconds));
    std::wstring calls = std::to_wstring(received) + L" calls";
    return received >= wanted ? Ok(calls) : Refuse(L"only " + calls + L" in time");
}

Reply Clear(const Words&)
{
    State().Journal().Clear();
    return Ok();
}

Reply Reset(const Words&)
{
    State().Reset();
    return Ok();
}

Reply ShowState(const Words&)
{
    Reply reply = Ok();
    reply.text += State().State();
    return reply;
}

Reply Quit(const Words&)
{
    return {L"ok\n", After::Quit};
}

Reply Help(const Words&);

struct Command {
    const wchar_t* name;
    const wchar_t* arguments;
    size_t fewest; ///< words besides the name
    size_t most;
    Reply (*execute)(const Words&);
    const wchar_t* help;
};

// clang-format off
constexpr Command kCommands[] = {
    {L"place",  L"DOMAIN USER PASSWORD", 3, 3, Place,  L"a finger of the account: IdentifyEnroll, the one that blocks or the next, returns 0 and its record"},
    {L"record", L"HEX",                  1, 386, Record, L"IdentifyEnroll returns 0 and these bytes (up to 386, the rest zero)"},
    {L"busy",   L"COUNT|forever",        1, 1, Busy,   L"IdentifyEnroll returns 501 that many times; forever lasts until a later answer is queued"},
    {L"error",  L"CODE [COUNT|forever]", 1, 2, Error,  L"IdentifyEnroll returns the code that many times, once by default"},
    {L"block",  L"",                     0, 0, Block,  L"drops all queued answers and a pending die: IdentifyEnroll blocks, the default"},
    {L"ignore-stop", L"on|off",          1, 1, IgnoreStop, L"whether CaptureStop leaves a blocked IdentifyEnroll alone; off by default"},
    {L"die",    L"",                     0, 0, Die,    L"the process ends without clean-up, at once if IdentifyEnroll blocks, else in its next call"},
    {L"enrol",  L"DOMAIN USER PASSWORD", 3, 3, Enrol,  L"adds an account to those that ListEnroll reports; by default there is one"},
    {L"nobody", L"",                     0, 0, Nobody, L"nobody is enrolled"},
    {L"pba",    L"VALUE",                1, 1, Pba,    L"what IsPbaEnable returns; 1 by default: sensor present and enabled"},
    {L"result", L"PROCEDURE VALUE",      2, 2, Result, L"what a procedure (opnum or name) returns; 0 by default"},
    {L"report", L"",                     0, 0, Report, L"the calls since the last clear: ARRIVED ANSWERED OPNUM NAME(ARGUMENTS) = RESULT NOTE; times are the performance counter in 100 ns"},
    {L"wait",   L"PROCEDURE [COUNT] [MS]", 1, 3, Wait, L"replies once so many calls (1) were received since the last clear, refuses after the time (10000 ms)"},
    {L"clear",  L"",                     0, 0, Clear,  L"forgets the calls received"},
    {L"reset",  L"",                     0, 0, Reset,  L"all of the script back to its defaults; the calls received stay"},
    {L"state",  L"",                     0, 0, ShowState, L"process, blocked calls, queued answers, enrolled accounts, results other than 0"},
    {L"quit",   L"",                     0, 0, Quit,   L"ends the service in good order"},
    {L"help",   L"",                     0, 0, Help,   L"this list"},
};
// clang-format on

Reply Help(const Words&)
{
    Reply reply = Ok();
    for (const Command& command : kCommands) {
        std::wstring usage = std::wstring(command.name) + L" " + command.arguments;
        usage.resize(std::max<size_t>(usage.size(), 30), L' ');
        reply.text += usage + L" " + command.help + L"\n";
    }
    reply.text += L"A word with blanks, or an empty one, stands in double quotes; \"\" in it is one quote.\n"
                  L"Answers for IdentifyEnroll queue up and are given in order, each to one call.\n";
    return reply;
}

} // namespace

Reply Execute(std::wstring_view line)
{
    std::optional<Words> words = SplitWords(line);
    if (!words)
        return Refuse(L"a quote is open");
    if (words->empty())
        return Refuse(L"no command; try help");
    for (const Command& command : kCommands) {
        if (words->front() != command.name)
            continue;
        size_t arguments = words->size() - 1;
        if (arguments < command.fewest || arguments > command.most)
            return Refuse(std::wstring(L"usage: ") + command.name + L" " + command.arguments);
        return command.execute(*words);
    }
    return Refuse(L"unknown command " + words->front() + L"; try help");
}
