#include "Watchdog.h"
#include "Verdict.h"

namespace {

// The filter of unhandled exceptions gets no argument of ours; there is one watchdog in the process.
Transcript* g_log = nullptr;

[[noreturn]] void Die()
{
    g_log->Line(L"verdict", L"%s", ExitText(ExitStatus::Crashed));
    // Nothing is cleaned up: the provider's threads are in an unknown state.
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(ExitStatus::Crashed));
    ExitThread(0);
}

std::wstring Place(const void* address)
{
    HMODULE module = nullptr;
    wchar_t path[MAX_PATH] = L"?";
    if (!GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                            static_cast<const wchar_t*>(address), &module))
        return Format(L"%p, in no module", address);
    GetModuleFileNameW(module, path, ARRAYSIZE(path));
    const wchar_t* name = wcsrchr(path, L'\\');
    return Format(L"%s+0x%llx", name != nullptr ? name + 1 : path,
                  reinterpret_cast<ULONGLONG>(address) - reinterpret_cast<ULONGLONG>(module));
}

std::wstring CallText()
{
    const std::wstring call = g_log->Current();
    return call.empty() ? L"between calls" : L"during " + call;
}

LONG WINAPI Crashed(EXCEPTION_POINTERS* exception)
{
    g_log->Line(L"crash", L"exception 0x%08lX at %s on thread %lu, %s",
                exception->ExceptionRecord->ExceptionCode,
                Place(exception->ExceptionRecord->ExceptionAddress).c_str(), GetCurrentThreadId(),
                CallText().c_str());
    Die();
}

void CALLBACK Expired(PTP_CALLBACK_INSTANCE, void*, PTP_TIMER)
{
    g_log->Line(L"crash", L"LogonUI's thread is stuck, %s", CallText().c_str());
    Die();
}

} // namespace

Watchdog::Watchdog(Transcript& log) : m_timer(CreateThreadpoolTimer(Expired, nullptr, nullptr))
{
    g_log = &log;
    SetUnhandledExceptionFilter(Crashed);
}

Watchdog::~Watchdog()
{
    if (m_timer != nullptr) {
        SetThreadpoolTimer(m_timer, nullptr, 0, 0);
        WaitForThreadpoolTimerCallbacks(m_timer, TRUE);
        CloseThreadpoolTimer(m_timer);
    }
    SetUnhandledExceptionFilter(nullptr);
}

void Watchdog::Allow(DWORD ms)
{
    // Negative: relative to now, in units of 100 ns.
    LARGE_INTEGER due;
    due.QuadPart = -10000LL * ms;
    FILETIME time = {due.LowPart, static_cast<DWORD>(due.HighPart)};
    if (m_timer != nullptr)
        SetThreadpoolTimer(m_timer, &time, 0, 0);
}
