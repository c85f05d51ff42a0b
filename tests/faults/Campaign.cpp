// The provider under faults: each call of each import fails once, records are malformed, releases come at any
// moment, lives and matches are many. Cases run in worker processes; one that fails, crashes or hangs costs
// its worker, and the next worker goes on with the next case.
//
//     FaultCampaign [--sample] [--seed NUMBER]    all cases, or a choice for every day
//     FaultCampaign --case "WORDS"                one case alone, as a failing one is printed
#include "Cases.h"

#include "Handle.h"
#include "ServiceClient/ServiceProcess.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <fstream>

namespace {

constexpr char CaseFile[] = "fault-cases.txt";
constexpr wchar_t ProgressName[] = L"Local\\FaultCampaign";
constexpr DWORD CaseLimit = 120000;      // ms for a case and the life after it
constexpr DWORD LongCaseLimit = 3600000; // ms for one of many lives
constexpr DWORD CaseFailed = 77;         // a worker's exit code

/// What worker and driver share.
struct Progress {
    std::atomic<long> current; // the case that runs; -1 before the first
    std::atomic<DWORD> limit;  // ms that it may take
    char reason[500];
};

Progress* MapProgress()
{
    // Lives as long as the process.
    const HANDLE mapping =
        CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(Progress), ProgressName);
    return static_cast<Progress*>(MapViewOfFile(mapping, FILE_MAP_ALL_ACCESS, 0, 0, sizeof(Progress)));
}

std::vector<std::string> ReadCases()
{
    std::vector<std::string> cases;
    std::ifstream file(CaseFile);
    for (std::string line; std::getline(file, line);)
        cases.push_back(line);
    return cases;
}

void WriteCases(const std::vector<std::string>& cases)
{
    std::ofstream file(CaseFile);
    for (const std::string& words : cases)
        file << words << '\n';
}

/// A crash is an exit code for the driver, not a case for the debugger.
LONG WINAPI EndWithCode(EXCEPTION_POINTERS* exception)
{
    TerminateProcess(GetCurrentProcess(), exception->ExceptionRecord->ExceptionCode);
    return EXCEPTION_EXECUTE_HANDLER;
}

/// A worker's life. It is ended without any clearing up, which a provider that went wrong could hold up.
void Work(long from)
{
    SetUnhandledExceptionFilter(EndWithCode);
    Progress* const progress = MapProgress();
    const std::vector<std::string> cases = ReadCases();
    for (long index = from; index < long(cases.size()); ++index) {
        const bool isLong =
            cases[size_t(index)].starts_with("lives") || cases[size_t(index)].starts_with("matches");
        progress->limit = isLong ? LongCaseLimit : CaseLimit;
        progress->current = index;
        const std::string wrong = Run(cases[size_t(index)]);
        std::fflush(stdout);
        if (!wrong.empty()) {
            std::strncpy(progress->reason, wrong.c_str(), sizeof progress->reason - 1);
            TerminateProcess(GetCurrentProcess(), CaseFailed);
        }
    }
    TerminateProcess(GetCurrentProcess(), 0);
}

/// This program again, with other options. Its exit code, or CaseFailed when a case takes too long.
DWORD RunWorker(const std::string& options, Progress& progress)
{
    char program[MAX_PATH] = {};
    GetModuleFileNameA(nullptr, program, MAX_PATH);
    std::string line = "\"" + std::string(program) + "\" " + options;
    STARTUPINFOA startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process{};
    if (!CreateProcessA(nullptr, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup,
                        &process))
        return CaseFailed;
    const KernelHandle thread(process.hThread);
    const KernelHandle worker(process.hProcess);
    long seen = -1;
    ULONGLONG since = GetTickCount64();
    while (WaitForSingleObject(worker.Get(), 200) == WAIT_TIMEOUT) {
        if (progress.current != seen) {
            seen = progress.current;
            since = GetTickCount64();
            if (seen % 50 == 0) {
                std::printf("... %ld\n", seen);
                std::fflush(stdout);
            }
        } else if (GetTickCount64() - since > progress.limit) {
            std::strcpy(progress.reason, "it hangs");
            TerminateProcess(worker.Get(), CaseFailed);
        }
    }
    DWORD code = 0;
    GetExitCodeProcess(worker.Get(), &code);
    return code;
}

/// Returns the number of cases that failed.
unsigned RunAll(const std::vector<std::string>& cases, Progress& progress)
{
    unsigned failed = 0;
    int idle = 0;
    for (long from = 0; from < long(cases.size());) {
        progress.current = -1;
        progress.limit = CaseLimit;
        progress.reason[0] = '\0';
        const DWORD end = RunWorker("--worker " + std::to_string(from), progress);
        if (end == 0)
            break;
        // A process start fails now and then on a loaded machine, and succeeds when repeated.
        if (progress.current < from && ++idle < 5)
            continue;
        idle = 0;
        from = std::max<long>(progress.current, from);
        const std::string reason =
            progress.reason[0] != '\0' ? progress.reason : "it crashed, exit code " + std::to_string(end);
        std::printf("FAILED: %s (alone: run faults --case \"%s\")\n", reason.c_str(),
                    cases[size_t(from)].c_str());
        std::fflush(stdout);
        ++failed;
        ++from;
    }
    return failed;
}

void AddSeeded(std::vector<std::string>& cases, bool sample, unsigned seed)
{
    for (unsigned count = 0; count < (sample ? 5u : 250u); ++count)
        cases.push_back("records " + std::to_string(seed + count));
    for (unsigned count = 0; count < (sample ? 20u : 600u); ++count)
        cases.push_back("release " + std::to_string(seed + count));
    cases.push_back(sample ? "lives 20" : "lives 1000");
    cases.push_back(sample ? "matches 200" : "matches 10000");
}

int Campaign(const std::string& words, bool sample, unsigned seed)
{
    ServiceClient::ServiceProcess service;
    if (!service.Start())
        return std::printf("The fingerprint service does not start.\n"), 2;
    Progress* const progress = MapProgress();
    WriteCases({});
    progress->limit = LongCaseLimit;
    if (words.empty())
        RunWorker(sample ? "--list-sample" : "--list", *progress);
    std::vector<std::string> cases = ReadCases();
    if (words.empty() && cases.empty())
        return 1;
    if (words.empty())
        AddSeeded(cases, sample, seed);
    else
        cases = {words};
    WriteCases(cases);
    std::printf("%zu cases, seed %u\n", cases.size(), seed);
    std::fflush(stdout);
    const unsigned failed = RunAll(cases, *progress);
    std::printf("%zu cases, %u failed\n", cases.size(), failed);
    return failed == 0 ? 0 : 1;
}

} // namespace

int main(int count, char** arguments)
{
    bool sample = false;
    unsigned seed = 1;
    std::string words;
    for (int index = 1; index < count; ++index) {
        const std::string option = arguments[index];
        if (option == "--sample") {
            sample = true;
        } else if (option.starts_with("--list")) {
            WriteCases(FaultCases(option == "--list-sample"));
            return 0;
        } else if (index + 1 == count) {
            return std::printf("Options: [--sample] [--seed NUMBER] | --case \"WORDS\"\n"), 2;
        } else if (option == "--seed") {
            seed = unsigned(std::atoi(arguments[++index]));
        } else if (option == "--case") {
            words = arguments[++index];
        } else if (option == "--worker") {
            Work(std::atol(arguments[++index]));
        }
    }
    return Campaign(words, sample, seed);
}
