// What this process holds, and what its threads do.
#pragma once

#include <cstddef>

/// Bytes in use on all heaps.
std::size_t HeapBytes();
std::size_t WorkingSet();

struct Activity {
    long wakeUps = 0; // of a thread that had gone to sleep
    long ticks = 0;   // of processor time
};
/// Of all threads but the first, as the kernel under Wine counts; `unixId` is its number for this process.
Activity ReadActivity(unsigned unixId);
