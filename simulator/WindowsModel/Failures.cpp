#include "WindowsModel/Failures.h"

namespace WindowsModel {

std::optional<DWORD> FailuresState::Take(std::string_view function, DWORD thread)
{
    for (auto failure = pending.begin(); failure != pending.end(); ++failure) {
        if (failure->function != function || (failure->thread != 0 && failure->thread != thread))
            continue;
        // Failures of one function happen in the order in which they were asked for.
        if (failure->skip > 0) {
            --failure->skip;
            return {};
        }
        if (failure->times == 0)
            continue;
        const DWORD code = failure->code;
        if (--failure->times == 0)
            pending.erase(failure);
        return code;
    }
    return {};
}

unsigned FailuresState::Remaining(std::string_view function) const
{
    unsigned remaining = 0;
    for (const PendingFailure& failure : pending) {
        if (failure.function == function)
            remaining += failure.times;
    }
    return remaining;
}

} // namespace WindowsModel
