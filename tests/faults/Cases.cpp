#include "Cases.h"

#include "Life.h"

#include "PreBootLibrary/Script.h"

#include <winternl.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <random>
#include <sstream>

using WindowsModel::SimulatedWindows;

namespace {

constexpr size_t RecordBytes = 386;
constexpr size_t RecordsOfALife = 40;

const std::vector<Kind>& Kinds()
{
    static const std::vector<Kind> s_kinds = {
        Ordinary(),
        {.name = "unlock", .scenario = CPUS_UNLOCK_WORKSTATION, .fingers = {Password}},
        {.name = "wrong-password", .scenario = CPUS_UNLOCK_WORKSTATION, .fingers = {WrongPassword, Password}},
        {.name = "pre-boot", .preBootRecord = PreBootLibrary::MakeRecord(User, Password, Computer)},
        {.name = "refused", .refused = true},
        {.name = "release-at-once", .fingers = {Password}, .releaseAfter = 0},
    };
    return s_kinds;
}

std::map<std::string, unsigned> CountCalls()
{
    std::map<std::string, unsigned> counts;
    for (const WindowsModel::Call& call : SimulatedWindows::Instance().Snapshot().recorder.calls)
        ++counts[call.function];
    return counts;
}

/// Each field on its own: noise, an early end, no end at all, a format, nothing.
std::vector<BYTE> MalformedRecord(std::mt19937& random)
{
    std::vector<BYTE> record(RecordBytes);
    size_t offset = 0;
    for (const size_t units : {66, 94, 33}) {
        const unsigned way = random() % 5;
        for (size_t unit = 0; unit < units; ++unit) {
            wchar_t value = wchar_t(random() % 0xFFFF + 1);
            if (way == 1 && random() % 8 == 0)
                value = 0;
            else if (way == 2)
                value = L'x';
            else if (way == 3)
                value = L"%s%n\\"[unit % 5];
            else if (way == 4)
                value = 0;
            record[offset++] = BYTE(value);
            record[offset++] = BYTE(value >> 8);
        }
    }
    return record;
}

std::wstring Hex(const std::vector<BYTE>& bytes)
{
    std::wstring text;
    for (const BYTE byte : bytes) {
        for (const int shift : {4, 0})
            text += L"0123456789abcdef"[byte >> shift & 0xF];
    }
    return text;
}

/// A field as it has to arrive: up to its first zero, or cut at its end.
std::wstring Field(const std::vector<BYTE>& record, size_t offset, size_t units)
{
    std::wstring text;
    for (size_t unit = 0; unit + 1 < units; ++unit) {
        const wchar_t value = wchar_t(record[offset + 2 * unit] | record[offset + 2 * unit + 1] << 8);
        if (value == 0)
            break;
        text += value;
    }
    return text;
}

std::string RunRecords(unsigned seed)
{
    std::mt19937 random(seed);
    Kind kind = Ordinary();
    kind.name = "records";
    std::vector<std::vector<BYTE>> records;
    kind.preBootRecord = MalformedRecord(random);
    if (!Field(*kind.preBootRecord, 0, 66).empty())
        kind.preBootRecord.reset(); // a user who is taken over leaves nothing for a finger to do
    for (size_t count = 0; count < RecordsOfALife; ++count) {
        records.push_back(MalformedRecord(random));
        kind.script.push_back(L"record " + Hex(records.back()));
    }
    const std::string wrong = Lead(kind);
    if (!wrong.empty())
        return wrong;
    const auto logons = SimulatedWindows::Instance().Snapshot().accounts.logons;
    if (logons.size() < records.size())
        return "fewer accounts checked than records";
    for (size_t index = 0; index < records.size(); ++index) {
        if (logons[index].user != Field(records[index], 0, 66) ||
            logons[index].password != Field(records[index], 132, 94) ||
            logons[index].domain != Field(records[index], 320, 33))
            return "record " + std::to_string(index) + " arrived as another one";
    }
    return {};
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
    const HANDLE heap = GetProcessHeap();
    PROCESS_HEAP_ENTRY entry{};
    long long blocks = 0;
    HeapLock(heap);
    while (HeapWalk(heap, &entry))
        blocks += (entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0;
    HeapUnlock(heap);
    return blocks;
}

/// What a life leaves open and unfreed on purpose.
constexpr long long HandlesOfALife = 2;
constexpr long long BlocksOfALife = 4;
/// What the test program, Windows and Wine themselves add now and then.
constexpr long long Slack = 12;

std::string RunGrowth(const Kind& kind, unsigned lives)
{
    constexpr unsigned warmUp = 10;
    long long handles = 0;
    long long blocks = 0;
    for (unsigned life = 0; life < warmUp + lives; ++life) {
        if (life == warmUp) {
            SimulatedWindows::Instance().Reset();
            handles = Handles();
            blocks = HeapBlocks();
        }
        if (const std::string wrong = Lead(kind); !wrong.empty())
            return "life " + std::to_string(life) + ": " + wrong;
    }
    SimulatedWindows::Instance().Reset();
    handles = Handles() - handles;
    blocks = HeapBlocks() - blocks;
    std::printf("%u lives with %u fingers each leave %lld handles and %lld blocks\n", lives,
                unsigned(kind.fingers.size()), handles, blocks);
    if (handles > lives * HandlesOfALife + Slack)
        return "handles are left behind";
    return blocks > lives * BlocksOfALife + Slack ? "memory is left behind" : "";
}

std::string RunCase(const std::string& words)
{
    std::istringstream stream(words);
    std::string what;
    stream >> what;
    if (what == "fault") {
        std::string name;
        Fault fault;
        stream >> name >> fault.function >> fault.call;
        for (const Kind& kind : Kinds()) {
            if (kind.name == name && fault.call > 0)
                return Lead(kind, fault);
        }
        return "there is no such case";
    }
    unsigned number = 0;
    stream >> number;
    if (what == "records")
        return RunRecords(number);
    if (what == "release")
        return RunRelease(number);
    if (what == "lives")
        return RunGrowth(Ordinary(), number);
    if (what == "matches") {
        constexpr unsigned matchesOfALife = 50;
        Kind kind = Ordinary();
        kind.fingers.insert(kind.fingers.begin(), matchesOfALife - 1, WrongPassword);
        return RunGrowth(kind, number / matchesOfALife);
    }
    return "there is no such case";
}

} // namespace

std::vector<std::string> FaultCases(bool sample)
{
    std::vector<std::string> cases;
    for (const Kind& kind : Kinds()) {
        if (sample && kind.name != "logon" && kind.name != "release-at-once")
            continue;
        if (const std::string wrong = Lead(kind); !wrong.empty()) {
            std::printf("%s, without a fault: %s\n", kind.name.c_str(), wrong.c_str());
            return {};
        }
        for (const auto& [function, calls] : CountCalls()) {
            if (!SimulatedWindows::Instance().FailNext(function, 0))
                continue;
            for (unsigned call = 1; call <= calls; ++call) {
                if (!sample || call == 1 || call == calls)
                    cases.push_back("fault " + kind.name + " " + function + " " + std::to_string(call));
            }
        }
    }
    return cases;
}

std::string Run(const std::string& words)
{
    const std::string wrong = RunCase(words);
    if (!wrong.empty())
        return wrong;
    const std::string after = Lead(Ordinary());
    return after.empty() ? after : "the next life: " + after;
}
