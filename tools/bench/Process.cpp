#include "Process.h"

#include <windows.h>

#include <psapi.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

std::size_t HeapBytes()
{
    std::size_t bytes = 0;
    HANDLE heaps[256];
    const DWORD count = GetProcessHeaps(256, heaps);
    for (DWORD i = 0; i < count && i < 256; ++i) {
        PROCESS_HEAP_ENTRY entry{};
        HeapLock(heaps[i]);
        while (HeapWalk(heaps[i], &entry)) {
            if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) != 0)
                bytes += entry.cbData;
        }
        HeapUnlock(heaps[i]);
    }
    return bytes;
}

std::size_t WorkingSet()
{
    PROCESS_MEMORY_COUNTERS counters{};
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
    return counters.WorkingSetSize;
}

Activity ReadActivity(unsigned unixId)
{
    Activity activity;
    const std::string process = std::to_string(unixId);
    std::error_code error;
    for (const auto& task : std::filesystem::directory_iterator("Z:\\proc\\" + process + "\\task", error)) {
        if (task.path().filename().string() == process)
            continue;
        std::ifstream status(task.path() / "status");
        for (std::string word; status >> word;) {
            if (long count = 0; word == "voluntary_ctxt_switches:" && status >> count)
                activity.wakeUps += count;
        }
        std::stringstream stat;
        stat << std::ifstream(task.path() / "stat").rdbuf();
        // Behind the name in brackets, which may hold anything: 11 fields, then user and system time.
        std::string fields = stat.str();
        std::istringstream rest(fields.substr(fields.find_last_of(')') + 1));
        std::string skipped;
        for (int i = 0; i < 11; ++i)
            rest >> skipped;
        long user = 0;
        long system = 0;
        rest >> user >> system;
        activity.ticks += user + system;
    }
    return activity;
}
