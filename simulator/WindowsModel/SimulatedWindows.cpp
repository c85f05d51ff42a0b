#include "WindowsModel/SimulatedWindows.h"

#include "WindowsModel/Replacement.h"

#include <array>
#include <cstdio>
#include <cstdlib>

namespace WindowsModel {

namespace {

// Threads of the module may call on while the process is torn down: the model is never destroyed.
[[clang::no_destroy]] SimulatedWindows g_windows;

template <class Visitor>
void VisitReplacements(Visitor&& visitor)
{
    const std::array tables = {AccountReplacements(),    LocalUserReplacements(), CredentialReplacements(),
                               LsaReplacements(),        SessionReplacements(),   PowerReplacements(),
                               LocaleReplacements(),     ClockReplacements(),     TextReplacements(),
                               CommandReplacements(),    DeviceReplacements(),    ServiceReplacements(),
                               PassThroughReplacements()};
    for (std::span<const Replacement> table : tables) {
        for (const Replacement& replacement : table)
            visitor(replacement);
    }
}

} // namespace

SimulatedWindows& SimulatedWindows::Instance()
{
    return g_windows;
}

void SimulatedWindows::Acquire()
{
    const DWORD self = GetCurrentThreadId();
    if (m_owner != self) {
        AcquireSRWLockExclusive(&m_lock);
        m_owner = self;
    }
    ++m_depth;
}

void SimulatedWindows::Release()
{
    if (--m_depth != 0)
        return;
    m_owner = 0;
    ReleaseSRWLockExclusive(&m_lock);
}

void SimulatedWindows::Reset()
{
    // What the old state owns, callbacks above all, is destroyed after the lock is released.
    State old;
    {
        const Locked state = Lock();
        std::swap(*state, old);
    }
    NotifyChange();
}

void SimulatedWindows::NotifyChange()
{
    WakeAllConditionVariable(&m_changed);
}

HookReport SimulatedWindows::Hook(ImportHooks& hooks, Group groups)
{
    HookReport report;
    VisitReplacements([&](const Replacement& replacement) {
        if ((replacement.group & groups) == Group::None)
            return;
        switch (hooks.Replace(replacement.name, replacement.function, replacement.original)) {
        case ImportHooks::Result::Replaced:
        case ImportHooks::Result::AlreadyReplaced:
            report.replaced.push_back(replacement.name);
            break;
        case ImportHooks::Result::NotImported:
            report.notImported.push_back(replacement.name);
            break;
        case ImportHooks::Result::NotWritable:
            report.failed.push_back(replacement.name);
            break;
        }
    });
    return report;
}

bool SimulatedWindows::FailNext(std::string_view function, DWORD code, unsigned skip, unsigned times,
                                DWORD thread)
{
    bool canFail = false;
    VisitReplacements([&](const Replacement& replacement) {
        canFail |= replacement.name == function && replacement.fails != Fails::Never;
    });
    if (canFail)
        Lock()->failures.pending.push_back({std::string(function), code, skip, times, thread});
    return canFail;
}

bool SimulatedWindows::WaitUntil(const std::function<bool(const State&)>& holds, DWORD milliseconds)
{
    const ULONGLONG end = GetTickCount64() + milliseconds;
    const Locked state = Lock();
    if (m_depth != 1) {
        // Nobody could bring the change about.
        std::fputs("WindowsModel: this thread waits for a change while it holds the model's lock\n", stderr);
        std::abort();
    }
    while (!holds(*state)) {
        const ULONGLONG now = GetTickCount64();
        if (now >= end)
            return false;
        m_owner = 0;
        m_depth = 0;
        SleepConditionVariableSRW(&m_changed, &m_lock, DWORD(end - now), 0);
        m_owner = GetCurrentThreadId();
        m_depth = 1;
    }
    return true;
}

std::optional<size_t> SimulatedWindows::WaitForPrompt(const std::wstring& text, DWORD milliseconds,
                                                      size_t from)
{
    std::optional<size_t> place;
    WaitUntil(
        [&](const State& state) {
            const auto& prompts = state.texts.prompts;
            for (size_t index = from; index < prompts.size() && !place; ++index) {
                if (prompts[index].text == text)
                    place = index;
            }
            return place.has_value();
        },
        milliseconds);
    return place;
}

bool SimulatedWindows::WaitForCalls(std::string_view function, size_t count, DWORD milliseconds)
{
    return WaitUntil([&](const State& state) { return state.recorder.Count(function) >= count; },
                     milliseconds);
}

bool HookReport::Replaced(std::string_view function) const
{
    return std::find(replaced.begin(), replaced.end(), function) != replaced.end();
}

bool SameName(std::wstring_view a, std::wstring_view b)
{
    return CompareStringOrdinal(a.data(), int(a.size()), b.data(), int(b.size()), TRUE) == CSTR_EQUAL;
}

HANDLE NewHandle()
{
    // Odd, and far from where Windows and Wine number their handles.
    static volatile LONG s_count = 0;
    return reinterpret_cast<HANDLE>(0x51300001 + 2 * intptr_t(InterlockedIncrement(&s_count)));
}

} // namespace WindowsModel
