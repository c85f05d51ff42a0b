// The logon screen's window and what it shows. It covers the screen without being topmost, so that a window
// that the provider puts on top stays in sight.
#pragma once

#include "Owned.h"

#include <cstdint>
#include <string>
#include <vector>

/// A picture in memory that takes both GDI drawing and pixel work: soft backgrounds, shadows and rounded
/// corners are beyond GDI.
struct Canvas {
    bool Create(int width, int height);
    uint32_t& At(int x, int y) { return pixels[size_t(y) * size_t(width) + size_t(x)]; }

    int width = 0, height = 0;
    BitmapHandle bitmap; // deleted after the DC that it is selected into
    MemoryDC dc;
    uint32_t* pixels = nullptr; // the bitmap's own
};

struct ScreenContent {
    enum class Mood { Neutral, Good, Bad };
    HBITMAP image = nullptr;
    std::wstring name, message, footer;
    Mood mood = Mood::Neutral; ///< of the message
};

class Screen {
public:
    Screen() = default;
    ~Screen() { Destroy(); }
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    bool Create();
    void Destroy();
    /// Paints the content at once; nothing of it is kept. Does nothing without a window.
    void Show(const ScreenContent& content);
    /// Whether Esc was pressed or the window was closed.
    bool WasClosed() const { return m_wasClosed; }

private:
    static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    /// Paints the bitmap with rounded corners and a shadow.
    void PaintImage(int top, int size, HBITMAP bitmap);
    /// Writes the text, wrapped and centred, and returns the line below it.
    int Write(int top, const std::wstring& text, int pixels, int weight, COLORREF colour);

    HWND m_window = nullptr;
    Canvas m_canvas;
    std::vector<uint32_t> m_backdrop;
    bool m_wasClosed = false;
};
