// The window class "EventWindow", shared by the command windows of one process.
#pragma once

#include <windows.h>

class CCommandWindow;

namespace EventWindowClass {

inline constexpr wchar_t Name[] = L"EventWindow";

/// Registers the class for `window`'s thread, which must call Leave at its end. While another window is alive
/// this fails as a second registration does. A window that is closed but whose thread has yet to end is no
/// obstacle: its registration is taken over.
HRESULT Register(const CCommandWindow& window, HINSTANCE instance, WNDPROC windowProcedure);

/// Unregisters the class when no thread uses it any more. The window must be destroyed before. Where that
/// fails, the next Register does it first.
void Leave(const CCommandWindow& window, HINSTANCE instance);

} // namespace EventWindowClass
