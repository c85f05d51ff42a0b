#include "EventWindowClass.h"

#include "CommandWindow.h"
#include "Result.h"

namespace EventWindowClass {

namespace {

SRWLOCK g_lock = SRWLOCK_INIT;
int g_users = 0;                              // window threads that have yet to Leave
const CCommandWindow* g_latestUser = nullptr; // alive as long as its thread is a user
bool g_stayedRegistered = false;              // nobody uses the class, but it could not be unregistered

HRESULT RegisterNew(HINSTANCE instance, WNDPROC windowProcedure)
{
    if (g_stayedRegistered)
        g_stayedRegistered = !UnregisterClassW(Name, instance);
    WNDCLASSEXW windowClass{};
    windowClass.cbSize = sizeof windowClass;
    windowClass.style = CS_HREDRAW | CS_VREDRAW;
    windowClass.lpfnWndProc = windowProcedure;
    windowClass.hInstance = instance;
    windowClass.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    windowClass.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_WINDOW + 1);
    windowClass.lpszClassName = Name;
    return RegisterClassExW(&windowClass) != 0 ? S_OK : HresultFromLastError();
}

} // namespace

HRESULT Register(const CCommandWindow& window, HINSTANCE instance, WNDPROC windowProcedure)
{
    AcquireSRWLockExclusive(&g_lock);
    const bool leftBehind = g_users > 0 && (g_latestUser == nullptr || g_latestUser->IsClosed());
    const HRESULT result = leftBehind ? S_OK : RegisterNew(instance, windowProcedure);
    if (SUCCEEDED(result)) {
        ++g_users;
        g_latestUser = &window;
    }
    ReleaseSRWLockExclusive(&g_lock);
    return result;
}

void Leave(const CCommandWindow& window, HINSTANCE instance)
{
    AcquireSRWLockExclusive(&g_lock);
    if (g_latestUser == &window)
        g_latestUser = nullptr;
    // Twice should it fail: once the module is unloaded, nobody remembers what has stayed.
    if (--g_users == 0) {
        g_stayedRegistered = !UnregisterClassW(Name, instance);
        if (g_stayedRegistered)
            g_stayedRegistered = !UnregisterClassW(Name, instance);
    }
    ReleaseSRWLockExclusive(&g_lock);
}

} // namespace EventWindowClass
