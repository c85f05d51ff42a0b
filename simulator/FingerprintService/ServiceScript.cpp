#include "ServiceScript.h"

#include "ServiceState.h"
#include "Text.h"

#include <cerrno>
#include <climits>
#include <cwchar>

namespace {

using Words = std::vector<std::wstring>;

constexpr long DefaultWait = 10 * 1000;
constexpr long LongestWait = 600 * 1000;
constexpr long MostAnswers = 100'000;

/// Thrown by a command that is not carried out.
struct Refusal {
    std::wstring reason;
};

/// Decimal or 0x..., also codes from the upper half of the unsigned range.
std::optional<long> ParseNumber(const std::wstring& word)
{
    wchar_t* end = nullptr;
    errno = 0;
    const long long value = wcstoll(word.c_str(), &end, 0);
    if (word.empty() || *end != L'\0' || errno != 0 || value < LONG_MIN ||
        value > static_cast<long long>(ULONG_MAX))
        return std::nullopt;
    return static_cast<long>(value);
}

long Number(const std::wstring& word)
{
    if (const std::optional<long> number = ParseNumber(word))
        return *number;
    throw Refusal{Quoted(word) + L" is not a number of 32 bits, decimal or 0x..."};
}

/// The word at that place, if there is one, from 1 to `most`.
long Count(const Words& words, size_t at, long most, long usual, const wchar_t* orElse = L"")
{
    if (at >= words.size())
        return usual;
    const std::optional<long> count = ParseNumber(words[at]);
    if (!count || *count < 1 || *count > most)
        throw Refusal{Format(L"%s is not 1 to %ld%s", Quoted(words[at]).c_str(), most, orElse)};
    return *count;
}

int Opnum(const std::wstring& word)
{
    if (const std::optional<int> opnum = FindProcedure(word))
        return *opnum;
    if (const std::optional<long> opnum = ParseNumber(word); opnum && *opnum >= 0 && *opnum < ProcedureCount)
        return *opnum;
    std::wstring names;
    for (const std::wstring_view name : ProcedureNames)
        names.append(L" ").append(name);
    throw Refusal{Quoted(word) + L" is no procedure; they are 0 to 31 or" + names};
}

UserRecord Account(const Words& words)
{
    if (const std::optional<UserRecord> account = MakeRecord(words[1], words[2], words[3]))
        return *account;
    throw Refusal{L"longer than a record holds: domain 32, user 65, password 93 units"};
}

/// Hexadecimal, in one word or many.
UserRecord RawRecord(const Words& words)
{
    std::wstring hex;
    for (size_t i = 1; i < words.size(); ++i)
        hex += words[i];
    UserRecord record = {};
    if (hex.empty() || hex.size() % 2 != 0 || hex.size() / 2 > sizeof(record) ||
        hex.find_first_not_of(L"0123456789abcdefABCDEF") != std::wstring::npos)
        throw Refusal{L"not 1 to 386 bytes in hexadecimal"};
    for (size_t i = 0; i < hex.size(); i += 2)
        reinterpret_cast<BYTE*>(&record)[i / 2] =
            static_cast<BYTE>(wcstoul(hex.substr(i, 2).c_str(), nullptr, 16));
    return record;
}

void Queue(Locked& state, const CaptureAnswer& answer, long times = 1)
{
    state->script.answers.insert(state->script.answers.end(), times, answer);
    state->MatchAnswers();
}

/// The word at that place says how often the code is answered.
void QueueCode(Locked& state, long code, const Words& words, size_t at)
{
    const bool forever = at < words.size() && words[at] == L"forever";
    Queue(state, {code, {}, forever, {}}, forever ? 1 : Count(words, at, MostAnswers, 1, L" or forever"));
}

/// One line a call, in order of arrival; README.md describes it.
std::wstring Report(const Locked& state)
{
    std::wstring lines;
    for (const std::shared_ptr<JournalEntry>& call : state->calls) {
        const std::wstring result = call->result ? std::to_wstring(*call->result) : L"void";
        lines += Format(L"%I64d %I64d %d ", call->arrived, call->answered, call->opnum);
        lines.append(ProcedureNames[call->opnum]).append(L"(").append(call->arguments).append(L") = ");
        lines += call->answered == 0 ? L"pending" : result;
        lines += (call->note.empty() ? L"" : L" ") + call->note + L"\n";
    }
    return lines;
}

struct Command {
    const wchar_t* name;
    const wchar_t* arguments;
    size_t fewest; ///< words besides the name
    size_t most;
    const wchar_t* help;
    void (*carryOut)(Locked& state, const Words& words, Reply& reply);
};

// clang-format off
constexpr Command Commands[] = {
    {L"place", L"DOMAIN USER PASSWORD", 3, 3,
     L"a finger of the account: IdentifyEnroll, the one that blocks or the next, returns 0 and its record",
     [](Locked& state, const Words& words, Reply&) {
         const UserRecord account = Account(words);
         Queue(state, {Identified, account, false, Describe(account)});
     }},
    {L"record", L"HEX", 1, sizeof(UserRecord),
     L"IdentifyEnroll returns 0 and these bytes (up to 386, the rest zero)",
     [](Locked& state, const Words& words, Reply&) {
         Queue(state, {Identified, RawRecord(words), false, L"scripted record"});
     }},
    {L"busy", L"COUNT|forever", 1, 1,
     L"IdentifyEnroll returns 501 that many times; forever lasts until a later answer is queued",
     [](Locked& state, const Words& words, Reply&) { QueueCode(state, SensorBusy, words, 1); }},
    {L"error", L"CODE [COUNT|forever]", 1, 2,
     L"IdentifyEnroll returns the code that many times, once by default",
     [](Locked& state, const Words& words, Reply&) { QueueCode(state, Number(words[1]), words, 2); }},
    {L"ignore-stop", L"on|off", 1, 1,
     L"whether CaptureStop leaves a blocked IdentifyEnroll alone; off by default",
     [](Locked& state, const Words& words, Reply&) {
         if (words[1] != L"on" && words[1] != L"off")
             throw Refusal{Quoted(words[1]) + L" is neither on nor off"};
         state->script.ignoreStop = words[1] == L"on";
     }},
    {L"die", L"", 0, 0,
     L"the process ends without clean-up, at once if IdentifyEnroll blocks, else in its next call",
     [](Locked&, const Words&, Reply& reply) { reply.after = After::Die; }},
    {L"enrol", L"DOMAIN USER PASSWORD", 3, 3,
     L"adds an account to those that ListEnroll reports; by default there is one",
     [](Locked& state, const Words& words, Reply&) { state->script.enrolled.push_back(Account(words)); }},
    {L"nobody", L"", 0, 0,
     L"nobody is enrolled",
     [](Locked& state, const Words&, Reply&) { state->script.enrolled.clear(); }},
    {L"pba", L"VALUE", 1, 1,
     L"what IsPbaEnable returns; 1 by default: sensor present and enabled",
     [](Locked& state, const Words& words, Reply&) {
         state->script.results[FindProcedure(L"IsPbaEnable").value()] = Number(words[1]);
     }},
    {L"result", L"PROCEDURE VALUE", 2, 2,
     L"what a procedure (opnum or name) returns; 0 by default",
     [](Locked& state, const Words& words, Reply&) {
         const int opnum = Opnum(words[1]);
         if (ProcedureNames[opnum] == L"IdentifyEnroll")
             throw Refusal{L"IdentifyEnroll is scripted with place, record, busy and error"};
         if (!HasResult(opnum))
             throw Refusal{std::wstring(ProcedureNames[opnum]) + L" has no result"};
         state->script.results[opnum] = Number(words[2]);
     }},
    {L"report", L"", 0, 0,
     L"the calls since the last clear: ARRIVED ANSWERED OPNUM NAME(ARGUMENTS) = RESULT NOTE; times are the "
     L"performance counter in 100 ns",
     [](Locked& state, const Words&, Reply& reply) {
         reply.text = Format(L"ok %Iu calls\n", state->calls.size()) + Report(state);
     }},
    {L"wait", L"PROCEDURE [COUNT] [MS]", 1, 3,
     L"replies once so many calls (1) were received since the last clear, refuses after the time (10000 ms)",
     [](Locked& state, const Words& words, Reply& reply) {
         const int opnum = Opnum(words[1]);
         const auto wanted = static_cast<size_t>(Count(words, 2, LONG_MAX, 1));
         const auto received = [&] { return state->Received(opnum); };
         state.Wait([&] { return state->closing || received() >= wanted; },
                    Count(words, 3, LongestWait, DefaultWait));
         if (received() < wanted)
             throw Refusal{Format(L"only %Iu calls in time", received())};
         reply.text = Format(L"ok %Iu calls\n", received());
     }},
    {L"clear", L"", 0, 0,
     L"forgets the calls received",
     [](Locked& state, const Words&, Reply&) { state->calls.clear(); }},
    {L"reset", L"", 0, 0,
     L"all of the script back to its defaults, and each blocked IdentifyEnroll returns 1223; the calls received stay",
     [](Locked& state, const Words&, Reply&) {
         state->script = ScriptedState();
         state->AnswerBlocked(CaptureStopped);
     }},
    {L"state", L"", 0, 0,
     L"the process, and how many calls block and answers are queued",
     [](Locked& state, const Words&, Reply& reply) {
         reply.text = Format(L"ok process %lu, %Iu blocked, %Iu queued\n", GetCurrentProcessId(),
                             state->blocked.size(), state->script.answers.size());
     }},
    {L"quit", L"", 0, 0,
     L"ends the service in good order",
     [](Locked&, const Words&, Reply& reply) { reply.after = After::Quit; }},
    {L"help", L"", 0, 0,
     L"this list",
     [](Locked&, const Words&, Reply& reply) { reply.text += ScriptHelp(); }},
};
// clang-format on

const Command& FindCommand(const Words& words)
{
    if (words.empty())
        throw Refusal{L"no command; try help"};
    std::wstring names;
    for (const Command& command : Commands) {
        names.append(L" ").append(command.name);
        if (words.front() != command.name)
            continue;
        if (words.size() - 1 < command.fewest || words.size() - 1 > command.most)
            throw Refusal{Format(L"usage: %s %s", command.name, command.arguments)};
        return command;
    }
    throw Refusal{Quoted(words.front()) + L" is no command; they are" + names};
}

} // namespace

Reply Execute(std::wstring_view line)
{
    try {
        const std::optional<Words> words = SplitWords(line);
        if (!words)
            throw Refusal{L"a quote is open"};
        Reply reply;
        Locked state;
        FindCommand(*words).carryOut(state, *words, reply);
        return reply;
    } catch (const Refusal& refusal) {
        return {L"error " + refusal.reason + L"\n"};
    }
}

std::wstring ScriptHelp()
{
    std::wstring help;
    for (const Command& command : Commands) {
        const std::wstring usage = Format(L"%s %s", command.name, command.arguments);
        help += Format(L"%-30s %s\n", usage.c_str(), command.help);
    }
    return help + L"A word with blanks, or an empty one, stands in double quotes; \"\" in it is one quote.\n"
                  L"Answers for IdentifyEnroll queue up and are given in order, each to one call.\n";
}
