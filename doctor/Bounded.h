// Calls that must not hold the program up.
#pragma once

#include "Handle.h"

#include <memory>
#include <optional>
#include <utility>

/// The result of `call()`, made on a thread of its own, or nothing when it does not come back in time or no
/// thread can be had. A call that takes longer is left to itself: what it uses has to be its own.
template <class Call>
auto CallBounded(DWORD milliseconds, Call call) -> std::optional<decltype(call())>
{
    struct Work {
        Call call;
        decltype(call()) result;
    };
    auto work = std::make_unique<Work>(Work{std::move(call), {}});
    const KernelHandle thread(CreateThread(
        nullptr, 0,
        [](void* argument) -> DWORD {
            auto* own = static_cast<Work*>(argument);
            own->result = own->call();
            return 0;
        },
        work.get(), 0, nullptr));
    if (!thread)
        return std::nullopt;
    if (WaitForSingleObject(thread.Get(), milliseconds) != WAIT_OBJECT_0) {
        // The thread goes on with it.
        work.release();
        return std::nullopt;
    }
    return work->result;
}
