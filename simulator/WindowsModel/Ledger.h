// What the model has handed out and wants back: handles of services, event sources and the LSA, blocks of the
// session and network APIs.
#pragma once

#include <windows.h>

#include <set>

namespace WindowsModel {

struct Ledger {
    std::set<void*> held;
    /// Given back although it was not held.
    size_t wrong = 0;

    bool Clean() const { return held.empty() && wrong == 0; }

    /// A handle that is neither null nor one of Windows', and different each time.
    HANDLE Open();
    /// A block on the process heap, all zero; null when memory is short.
    void* Allocate(size_t bytes);

    bool Holds(void* item) const { return held.contains(item); }
    /// False for what is not held.
    bool Close(HANDLE handle);
    bool Free(void* block);
};

} // namespace WindowsModel
