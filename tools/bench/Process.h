// What this process holds, and what its threads do.
#pragma once

#include <cstddef>
#include <map>
#include <string>

/// Bytes in use on all heaps.
std::size_t HeapBytes();
std::size_t WorkingSet();

/// Of one thread, as the kernel under Wine counts.
struct Activity {
    long wakeUps = 0; // each time that it had gone to sleep
    long ticks = 0;   // of processor time
};
/// By the kernel's thread ids, without the first thread; `unixId` is this process there.
std::map<std::string, Activity> ReadActivity(unsigned unixId);
