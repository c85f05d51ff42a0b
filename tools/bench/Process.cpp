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

std::map<std::string, Activity> ReadActivity(unsigned unixId)
{
    std::map<std::string, Activity> threads;
    const std::string process = std::to_string(unixId);
    std::error_code error;
    for (const auto& task : std::filesystem::directory_iterator("Z:\\proc\\" + process + "\\task", error)) {
        const std::string id = task.path().filename().string();
        if (id == process)
            continue;
        Activity& thread = threads[id];
        std::ifstream status(task.path() / "status");
        for (std::string word; status >> word && word != "voluntary_ctxt_switches:";) {
        }
        status >> thread.wakeUps;
        std::ifstream stat(task.path() / "stat");
        std::string text;
        std::getline(stat, text);
        // Behind the name in brackets, which may hold anything: 11 fields, then user and system time.
        std::istringstream fields(text.substr(text.find_last_of(')') + 1));
        for (int i = 0; i < 11; ++i)
            fields >> text;
        long user = 0;
        long system = 0;
        fields >> user >> system;
        thread.ticks = user + system;
    }
    return threads;
}
