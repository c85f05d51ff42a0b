// The provider under faults, case by case; tools/faults.sh goes through all cases. A case is a line of words
// that leads to the same lives each time:
//
//     fault KIND FUNCTION CALL    that call of that import fails once in a life of that kind
//     records SEED                a life with malformed records from the service
//     release SEED                a life that is ended at any moment
//     lives COUNT, matches COUNT  growth over so many lives, or matches of lives with fifty each
//
// `FaultCampaign list [sample]` writes the fault cases: each call of each import that lives without a fault
// make. `FaultCampaign run` reads cases from the standard input, and writes "case WORDS" and "ok" or "failed
// REASON" for each. It ends after a failure, since the process may have lost its health.
#include "Life.h"

#include <winternl.h>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <iostream>
#include <map>
#include <random>
#include <sstream>

namespace {

const std::vector<Kind>& Kinds()
{
    static const std::vector<Kind> s_kinds = {
        {.name = "logon", .fingers = {Password}},
        {.name = "unlock", .scenario = CPUS_UNLOCK_WORKSTATION, .fingers = {Password}},
        {.name = "wrong-password", .scenario = CPUS_UNLOCK_WORKSTATION, .fingers = {WrongPassword, Password}},
        {.name = "pre-boot", .preBoot = true},
        {.name = "refused", .refused = true},
        {.name = "release-at-once", .fingers = {Password}, .releaseAfter = 0},
    };
    return s_kinds;
}

/// Files, dates and formats are the log's, which is written alike in each kind of life.
bool IsOfLog(const std::string& function)
{
    return std::string_view("fs_").find(function[0]) != std::string_view::npos;
}

/// The first and the last call of each import in two kinds of life are the sample.
void ListFaults(bool sample)
{
    for (const Kind& kind : Kinds()) {
        if (sample && kind.name != "logon" && kind.name != "release-at-once")
            continue;
        Lead(kind);
        std::map<std::string, unsigned> counts;
        for (const WindowsModel::Call& call : Windows().Snapshot().recorder.calls)
            ++counts[call.function];
        if (&kind != Kinds().data())
            std::erase_if(counts, [](const auto& count) { return IsOfLog(count.first); });
        for (const auto& [function, calls] : counts) {
            for (unsigned call = 1; call <= calls && Windows().FailNext(function, 0); ++call) {
                if (!sample || call == 1 || call == calls)
                    std::printf("fault %s %s %u\n", kind.name.c_str(), function.c_str(), call);
            }
        }
    }
}

/// A text field of a record: noise, an early end, no end at all, a format, or nothing.
std::wstring MalformedField(std::mt19937& random, size_t units)
{
    std::wstring text(units, L'x');
    const unsigned way = random() % 5;
    for (size_t unit = 0; unit < units; ++unit) {
        if (way < 2)
            text[unit] = way == 1 && random() % 8 == 0 ? L'\0' : wchar_t(random() % 0xFFFF + 1);
        else if (way > 2)
            text[unit] = way == 3 ? L"%s%n\\"[unit % 5] : L'\0';
    }
    return text;
}

/// A field as it has to arrive: up to its first zero, or cut at its end.
std::wstring Arrived(const std::wstring& field)
{
    return field.substr(0, std::min(field.find(L'\0'), field.size() - 1));
}

std::string RunRecords(unsigned seed)
{
    constexpr size_t recordsOfALife = 40;
    std::mt19937 random(seed);
    Kind kind = Kinds().front();
    std::vector<WindowsModel::Account> records;
    while (records.size() < recordsOfALife) {
        const std::wstring user = MalformedField(random, 66);
        const std::wstring password = MalformedField(random, 94);
        const std::wstring domain = MalformedField(random, 33);
        std::wostringstream command;
        command << L"record " << std::hex;
        for (const wchar_t unit : user + password + domain) {
            for (const int shift : {4, 0, 12, 8})
                command << (unit >> shift & 0xF);
        }
        kind.script.push_back(command.str());
        records.push_back({Arrived(domain), Arrived(user), Arrived(password)});
    }
    std::string wrong = Lead(kind);
    const auto logons = Windows().Snapshot().accounts.logons;
    for (size_t index = 0; index < records.size() && wrong.empty(); ++index) {
        if (logons[index].user != records[index].user || logons[index].password != records[index].password ||
            logons[index].domain != records[index].domain)
            wrong = "record " + std::to_string(index) + " arrived as another one";
    }
    return wrong;
}

std::string RunRelease(unsigned seed)
{
    std::mt19937 random(seed);
    const std::vector<std::wstring> scripts[] = {{}, {L"busy 2"}, {L"error 7"}};
    Kind kind = Kinds()[random() % 4];
    kind.script = scripts[random() % std::size(scripts)];
    kind.releaseAfter = 1 + random() % 300;
    return Lead(kind);
}

long long Handles()
{
    constexpr auto handleInformation = SYSTEM_INFORMATION_CLASS(16);
    struct Entry {
        ULONG process;
        BYTE type, flags;
        USHORT value;
        void* object;
        ULONG access;
    };
    std::vector<BYTE> bytes(1 << 20);
    NtQuerySystemInformation(handleInformation, bytes.data(), ULONG(bytes.size()), nullptr);
    const ULONG count = *reinterpret_cast<const ULONG*>(bytes.data());
    const auto* const entries = reinterpret_cast<const Entry*>(bytes.data() + sizeof(void*));
    return std::count_if(entries, entries + count,
                         [](const Entry& entry) { return entry.process == GetCurrentProcessId(); });
}

long long HeapBlocks()
{
    PROCESS_HEAP_ENTRY entry{};
    long long blocks = 0;
    while (HeapWalk(GetProcessHeap(), &entry))
        blocks += (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0;
    return blocks;
}

std::string RunGrowth(const Kind& kind, unsigned lives)
{
    // What a life leaves open and unfreed on purpose, and what others add now and then.
    constexpr long long handlesOfALife = 2;
    constexpr long long blocksOfALife = 4;
    constexpr long long slack = 12;
    constexpr unsigned warmUp = 10;
    long long handles = 0;
    long long blocks = 0;
    for (unsigned life = 0; life <= warmUp + lives; ++life) {
        if (life == warmUp || life == warmUp + lives) {
            Windows().Reset();
            handles = Handles() - handles;
            blocks = HeapBlocks() - blocks;
        }
        if (const std::string wrong = Lead(kind); !wrong.empty())
            return "life " + std::to_string(life) + ": " + wrong;
    }
    std::printf("%u lives with %zu fingers each left %lld handles and %lld blocks.\n", lives,
                kind.fingers.size(), handles, blocks);
    if (handles > lives * handlesOfALife + slack)
        return "handles are left behind";
    return blocks > lives * blocksOfALife + slack ? "memory is left behind" : "";
}

std::string Run(const std::string& words)
{
    std::istringstream stream(words);
    std::string what;
    unsigned number = 0;
    stream >> what;
    if (what == "fault") {
        std::string name;
        Fault fault;
        stream >> name >> fault.function >> fault.call;
        for (const Kind& kind : Kinds()) {
            if (kind.name == name && fault.call > 0)
                return Lead(kind, fault);
        }
    } else if (stream >> number) {
        Kind kind = Kinds().front();
        if (what == "records")
            return RunRecords(number);
        if (what == "release")
            return RunRelease(number);
        if (what == "lives")
            return RunGrowth(kind, number);
        kind.fingers.insert(kind.fingers.begin(), 49, WrongPassword);
        if (what == "matches")
            return RunGrowth(kind, number / 50);
    }
    return "there is no such case";
}

/// Ends on the spot: what a provider that went wrong has left could hold an orderly end up.
[[noreturn]] void Fail(const std::string& reason)
{
    std::printf("failed %s\n", reason.c_str());
    std::fflush(stdout);
    TerminateProcess(GetCurrentProcess(), 1);
    std::abort();
}

LONG WINAPI FailCrashed(EXCEPTION_POINTERS* exception)
{
    Fail("it crashed, exception " + std::to_string(exception->ExceptionRecord->ExceptionCode));
}

/// Leads the lives of the cases while the main thread looks at the time.
DWORD WINAPI RunCases(void* /*argument*/)
{
    for (std::string words; std::getline(std::cin, words);) {
        std::printf("case %s\n", words.c_str());
        std::fflush(stdout);
        std::string wrong = Run(words);
        if (wrong.empty()) {
            wrong = Lead(Kinds().front());
            if (!wrong.empty())
                wrong = "the next life: " + wrong;
        }
        if (!wrong.empty())
            Fail(wrong);
        std::printf("ok\n");
        std::fflush(stdout);
    }
    return 0;
}

} // namespace

int main(int count, char** arguments)
{
    const std::string word = count > 1 ? arguments[1] : "";
    if (word == "list") {
        ListFaults(count > 2);
        return 0;
    }
    SetUnhandledExceptionFilter(FailCrashed);
    const HANDLE thread = CreateThread(nullptr, 0, RunCases, nullptr, 0, nullptr);
    for (long seen = -1; WaitForSingleObject(thread, HangLimit) == WAIT_TIMEOUT; seen = LivesLed()) {
        if (seen == LivesLed())
            Fail("it hangs");
    }
    return 0;
}
