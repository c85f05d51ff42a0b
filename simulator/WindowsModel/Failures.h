// Failures on demand: any replaced function fails when it is told to, whether the model answers it or
// Windows.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace WindowsModel {

struct PendingFailure {
    std::string function;
    DWORD code;
    /// Calls let through before the first that fails.
    unsigned skip;
    /// Calls that fail.
    unsigned times;
    /// 0 means any thread.
    DWORD thread;
};

struct FailuresState {
    std::vector<PendingFailure> pending;

    /// The code of the failure that this call has to meet, which is thereby used up.
    std::optional<DWORD> Take(std::string_view function, DWORD thread);
    /// Failures of that function that have not happened yet.
    unsigned Remaining(std::string_view function) const;
};

} // namespace WindowsModel
