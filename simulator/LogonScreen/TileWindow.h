// The logon screen's window: it covers the screen without being topmost, so that a window that the provider
// puts on top stays in sight.
#pragma once

#include "ScreenPainter.h"

class TileWindow {
public:
    TileWindow() = default;
    ~TileWindow() { Destroy(); }
    TileWindow(const TileWindow&) = delete;
    TileWindow& operator=(const TileWindow&) = delete;

    bool Create();
    void Destroy();
    /// Null without a window; Show does nothing then.
    HWND Get() const { return m_window; }

    /// Paints the content at once into the window's picture; nothing of it is kept.
    void Show(const ScreenContent& content);

    /// Whether Esc was pressed or the window was closed.
    bool WasClosed() const { return m_wasClosed; }

private:
    static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    LRESULT Handle(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    void Paint(HWND window);

    HWND m_window = nullptr;
    Canvas m_canvas;
    bool m_wasClosed = false;
};
