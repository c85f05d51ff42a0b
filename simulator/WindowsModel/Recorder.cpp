#include "WindowsModel/Recorder.h"

#include "WindowsModel/Replacement.h"

namespace WindowsModel {

size_t RecorderState::Count(std::string_view function) const
{
    return size_t(std::count_if(calls.begin(), calls.end(),
                                [&](const Call& call) { return call.function == function; }));
}

std::optional<DWORD> EnterCall(const char* function)
{
    const KeepLastError keep;
    SimulatedWindows& windows = SimulatedWindows::Instance();
    const DWORD thread = GetCurrentThreadId();
    std::optional<DWORD> failure;
    {
        const auto state = windows.Lock();
        state->recorder.calls.push_back({function, thread});
        failure = state->failures.Take(function, thread);
    }
    windows.NotifyChange();
    return failure;
}

} // namespace WindowsModel
