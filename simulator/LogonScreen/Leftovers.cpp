#include "Leftovers.h"
#include "Text.h"

namespace Leftovers {

namespace {

// The class of the provider's prompt window. It belongs to this program's module, whose windows the provider
// makes.
constexpr wchar_t g_windowClass[] = L"EventWindow";
constexpr DWORD g_pollMs = 5;

struct Search {
    DWORD process;
    DWORD found;
};

BOOL CALLBACK CountWindow(HWND window, LPARAM parameter)
{
    auto* search = reinterpret_cast<Search*>(parameter);
    DWORD process = 0;
    wchar_t name[64] = L"";
    GetWindowThreadProcessId(window, &process);
    if (process == search->process && GetClassNameW(window, name, ARRAYSIZE(name)) != 0 &&
        lstrcmpiW(name, g_windowClass) == 0)
        ++search->found;
    return TRUE;
}

DWORD Windows()
{
    Search search = {GetCurrentProcessId(), 0};
    EnumWindows(CountWindow, reinterpret_cast<LPARAM>(&search));
    return search.found;
}

bool ClassIsRegistered()
{
    WNDCLASSEXW windowClass = {};
    windowClass.cbSize = sizeof(windowClass);
    return GetClassInfoExW(GetModuleHandleW(nullptr), g_windowClass, &windowClass) != FALSE;
}

} // namespace

void Check(Transcript& transcript, Findings& findings, DWORD limitMs)
{
    // The provider's window thread may still be on its way out; that is no fault as long as it gets there.
    const double start = transcript.ElapsedMs();
    const ULONGLONG deadline = GetTickCount64() + limitMs;
    bool clean = false;
    while (!clean && GetTickCount64() < deadline) {
        clean = Windows() == 0 && !ClassIsRegistered();
        if (!clean)
            Sleep(g_pollMs);
    }
    if (clean) {
        transcript.Line(L"unload", L"no window of the provider is left, %.1f ms later",
                        transcript.ElapsedMs() - start);
        return;
    }
    if (const DWORD windows = Windows())
        findings.LeftBehind(
            Format(L"%lu windows of class \"%s\" outlive the provider", windows, g_windowClass));
    if (ClassIsRegistered())
        findings.LeftBehind(Format(L"the window class \"%s\" is still registered", g_windowClass));
}

} // namespace Leftovers
