#include "WindowsModel/SimulatedWindows.h"

#include "WindowsModel/Replacement.h"

namespace WindowsModel {

namespace {

// Threads of the module may call on while the process is torn down: the model is never destroyed.
[[clang::no_destroy]] SimulatedWindows g_windows;

template <class Visitor>
void VisitReplacements(Visitor&& visitor)
{
    for (const Table* table = g_tables; table != nullptr; table = table->next) {
        for (const Replacement& replacement : table->rows)
            visitor(replacement);
    }
}

} // namespace

SimulatedWindows& SimulatedWindows::Instance()
{
    return g_windows;
}

void SimulatedWindows::Reset()
{
    // What the old state owns, callbacks above all, is destroyed after the lock is released.
    State old;
    std::swap(*Lock(), old);
}

HookReport SimulatedWindows::Hook(ImportHooks& hooks, Group groups)
{
    HookReport report;
    VisitReplacements([&](const Replacement& row) {
        if ((row.group & groups) == Group::None)
            return;
        const auto result = hooks.Replace(row.name, row.function, row.original);
        if (result == ImportHooks::Result::Replaced)
            report.replaced.emplace_back(row.name);
        else if (result == ImportHooks::Result::NotWritable)
            report.failed.emplace_back(row.name);
    });
    return report;
}

bool SimulatedWindows::FailNext(std::string_view function, DWORD code, unsigned skip, unsigned times)
{
    bool canFail = false;
    VisitReplacements(
        [&](const Replacement& row) { canFail |= row.name == function && row.fails != Fails::Never; });
    if (canFail)
        Lock()->failures.pending.push_back({std::string(function), code, skip, times});
    return canFail;
}

bool SimulatedWindows::WaitUntil(const std::function<bool(const State&)>& holds, DWORD milliseconds)
{
    const ULONGLONG end = GetTickCount64() + milliseconds;
    const Locked state = Lock();
    while (!holds(*state)) {
        const ULONGLONG now = GetTickCount64();
        if (now >= end)
            return false;
        SleepConditionVariableCS(&m_changed, &m_lock, DWORD(end - now));
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

size_t RecorderState::Count(std::string_view function) const
{
    return size_t(std::count_if(calls.begin(), calls.end(),
                                [&](const Call& call) { return call.function == function; }));
}

std::optional<DWORD> EnterCall(const char* function)
{
    const KeepLastError keep;
    const ModelState state;
    state->recorder.calls.push_back({function, GetCurrentThreadId()});
    auto& pending = state->failures.pending;
    const auto failure = std::find_if(pending.begin(), pending.end(), [&](const PendingFailure& candidate) {
        return candidate.function == function;
    });
    if (failure == pending.end())
        return {};
    if (failure->skip > 0) {
        --failure->skip;
        return {};
    }
    const DWORD code = failure->code;
    if (--failure->times == 0)
        pending.erase(failure);
    return code;
}

bool SameName(std::wstring_view a, std::wstring_view b)
{
    return CompareStringOrdinal(a.data(), int(a.size()), b.data(), int(b.size()), TRUE) == CSTR_EQUAL;
}

HANDLE Ledger::Open()
{
    // Odd, and far from where Windows and Wine number their handles.
    static volatile LONG s_count = 0;
    const auto handle = reinterpret_cast<HANDLE>(0x51300001 + 2 * intptr_t(InterlockedIncrement(&s_count)));
    held.insert(handle);
    return handle;
}

void* Ledger::Allocate(size_t bytes)
{
    void* const block = HeapAlloc(GetProcessHeap(), HEAP_ZERO_MEMORY, bytes);
    if (block != nullptr)
        held.insert(block);
    return block;
}

bool Ledger::Close(HANDLE handle)
{
    const bool known = held.erase(handle) != 0;
    wrong += known ? 0 : 1;
    return known;
}

bool Ledger::Free(void* block)
{
    return Close(block) && HeapFree(GetProcessHeap(), 0, block);
}

} // namespace WindowsModel
