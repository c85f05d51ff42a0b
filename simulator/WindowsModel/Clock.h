// Time that can run faster: waits are recorded as they were asked for, and last a fraction of it.
#pragma once

#include <windows.h>

#include <functional>
#include <optional>
#include <vector>

namespace WindowsModel {

/// One Sleep, or one WaitForSingleObject that has a limit other than 0 and INFINITE.
struct Wait {
    DWORD milliseconds;
    DWORD thread;
    /// Null for Sleep.
    HANDLE object;
};

struct ClockState {
    /// The real time that a millisecond lasts in Sleep; 1 is real time, 0.01 a hundredth of it. The order of
    /// waits on several threads stays what it is as long as all are scaled alike.
    double sleepScale = 1;
    /// The same for the limit of WaitForSingleObject.
    double waitScale = 1;
    /// Called on the thread that is about to wait, unless it is for 0 or INFINITE, and outside the model's
    /// lock: a test may hold the wait here until it is ready. The answer is how long the wait, or its limit,
    /// really lasts; without one the scales decide.
    std::function<std::optional<DWORD>(const Wait& wait)> onWait;
    std::vector<Wait> waits;

    void SetScale(double scale) { sleepScale = waitScale = scale; }
    /// The milliseconds that one thread asked for, in order; of all threads for 0.
    std::vector<DWORD> Sleeps(DWORD thread = 0) const;
};

/// Waits that no scale applies to, whatever is replaced in the caller's own module.
void RealSleep(DWORD milliseconds);
DWORD RealWait(HANDLE object, DWORD milliseconds);

} // namespace WindowsModel
