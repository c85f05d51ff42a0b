#include "TileWindow.h"

namespace {

constexpr wchar_t g_className[] = L"LogonScreen";

bool RegisterOnce(WNDPROC procedure)
{
    WNDCLASSEXW windowClass = {};
    windowClass.cbSize = sizeof(windowClass);
    windowClass.lpfnWndProc = procedure;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    windowClass.lpszClassName = g_className;
    return RegisterClassExW(&windowClass) != 0 || GetLastError() == ERROR_CLASS_ALREADY_EXISTS;
}

} // namespace

bool TileWindow::Create()
{
    const int width = GetSystemMetrics(SM_CXSCREEN);
    const int height = GetSystemMetrics(SM_CYSCREEN);
    if (!m_canvas.Create(width, height) || !RegisterOnce(Procedure))
        return false;
    m_window = CreateWindowExW(0, g_className, L"Logon screen", WS_POPUP, 0, 0, width, height, nullptr,
                               nullptr, GetModuleHandleW(nullptr), this);
    return m_window != nullptr;
}

void TileWindow::Destroy()
{
    if (m_window != nullptr)
        DestroyWindow(m_window);
    m_window = nullptr;
}

void TileWindow::Show(const ScreenContent& content)
{
    if (m_window == nullptr)
        return;
    PaintScreen(m_canvas, content);
    if (!IsWindowVisible(m_window))
        ShowWindow(m_window, SW_SHOW);
    InvalidateRect(m_window, nullptr, FALSE);
    UpdateWindow(m_window);
}

LRESULT CALLBACK TileWindow::Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message == WM_NCCREATE) {
        const auto* create = reinterpret_cast<const CREATESTRUCTW*>(lParam);
        SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(create->lpCreateParams));
    }
    auto* self = reinterpret_cast<TileWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    return self != nullptr ? self->Handle(window, message, wParam, lParam)
                           : DefWindowProcW(window, message, wParam, lParam);
}

LRESULT TileWindow::Handle(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    switch (message) {
    case WM_PAINT:
        Paint(window);
        return 0;
    case WM_ERASEBKGND:
        return 1;
    case WM_KEYDOWN:
        m_wasClosed |= wParam == VK_ESCAPE;
        return 0;
    case WM_CLOSE:
        m_wasClosed = true;
        return 0;
    default:
        return DefWindowProcW(window, message, wParam, lParam);
    }
}

void TileWindow::Paint(HWND window)
{
    PAINTSTRUCT paint;
    const HDC dc = BeginPaint(window, &paint);
    BitBlt(dc, 0, 0, m_canvas.Width(), m_canvas.Height(), m_canvas.DC(), 0, 0, SRCCOPY);
    EndPaint(window, &paint);
}
