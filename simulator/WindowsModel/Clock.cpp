#include "WindowsModel/Clock.h"

#include "WindowsModel/Replacement.h"

#include <cmath>

namespace WindowsModel {

namespace {

template <class Function>
Function* FromKernel(const char* name)
{
    return reinterpret_cast<Function*>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"kernel32.dll"), name)));
}

// Taken from the library itself: the import table of the module this is linked into may be replaced as well.
const auto g_sleep = FromKernel<decltype(::Sleep)>("Sleep");
const auto g_waitForSingleObject = FromKernel<decltype(::WaitForSingleObject)>("WaitForSingleObject");

/// A wait stays a wait, however small the scale.
DWORD Scaled(DWORD milliseconds, double scale)
{
    if (scale >= 1 && scale <= 1)
        return milliseconds;
    const double scaled = milliseconds * scale;
    if (scaled >= INFINITE - 1.0)
        return INFINITE - 1;
    return std::max<DWORD>(DWORD(std::ceil(scaled)), 1);
}

/// Writes the wait down and returns how long it really lasts.
DWORD BeginWait(DWORD milliseconds, HANDLE object)
{
    const KeepLastError keep;
    const Wait wait{milliseconds, GetCurrentThreadId(), object};
    std::function<std::optional<DWORD>(const Wait&)> onWait;
    double scale = 1;
    {
        const ModelState state;
        state->clock.waits.push_back(wait);
        scale = object == nullptr ? state->clock.sleepScale : state->clock.waitScale;
        onWait = state->clock.onWait;
    }
    if (milliseconds == 0 || milliseconds == INFINITE)
        return milliseconds;
    const std::optional<DWORD> answer = onWait ? onWait(wait) : std::nullopt;
    return answer ? *answer : Scaled(milliseconds, scale);
}

void ModelSleep(DWORD milliseconds)
{
    g_sleep(BeginWait(milliseconds, nullptr));
}

DWORD ModelWaitForSingleObject(HANDLE object, DWORD milliseconds)
{
    // Looking at an object, or waiting for it without end, has no time that could be scaled.
    if (milliseconds != 0 && milliseconds != INFINITE)
        milliseconds = BeginWait(milliseconds, object);
    return g_waitForSingleObject(object, milliseconds);
}

const Replacement g_replacements[] = {
    SIM_MODELLED(Clock, Never, Sleep, ModelSleep),
    SIM_MODELLED(Clock, Invalid, WaitForSingleObject, ModelWaitForSingleObject),
};
const Table g_table(g_replacements);

} // namespace

std::vector<DWORD> ClockState::Sleeps(DWORD thread) const
{
    std::vector<DWORD> sleeps;
    for (const Wait& wait : waits) {
        if (wait.object == nullptr && (thread == 0 || wait.thread == thread))
            sleeps.push_back(wait.milliseconds);
    }
    return sleeps;
}

void RealSleep(DWORD milliseconds)
{
    g_sleep(milliseconds);
}

DWORD RealWait(HANDLE object, DWORD milliseconds)
{
    return g_waitForSingleObject(object, milliseconds);
}

} // namespace WindowsModel
