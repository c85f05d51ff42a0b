#include "Screen.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr wchar_t ClassName[] = L"LogonScreen";

constexpr COLORREF Bright = RGB(0xF4, 0xF6, 0xFF);
constexpr COLORREF Faint = RGB(0x7F, 0x8B, 0xBC);
// By mood.
constexpr COLORREF MessageColours[] = {RGB(0xB9, 0xC3, 0xEA), RGB(0x8E, 0xF0, 0xC8), RGB(0xFF, 0xB4, 0xA8)};

// As pixels: 0xRRGGBB.
constexpr uint32_t Top = 0x090C22;
constexpr uint32_t Bottom = 0x1B2454;
constexpr uint32_t Glow = 0x684CBE;
constexpr uint32_t Black = 0x000000;
constexpr uint32_t White = 0xFFFFFF;

constexpr int TextWidth = 640;

uint32_t Mix(uint32_t from, uint32_t to, float share)
{
    share = std::clamp(share, 0.0F, 1.0F);
    uint32_t mixed = 0;
    for (int shift = 0; shift <= 16; shift += 8) {
        const auto a = static_cast<float>(from >> shift & 0xFF), b = static_cast<float>(to >> shift & 0xFF);
        mixed |= static_cast<uint32_t>(std::lround(a + (b - a) * share)) << shift;
    }
    return mixed;
}

/// One axis of the glow; the product of both axes is a round one.
float Bell(int at, int length, float centre, float width)
{
    const float distance = (static_cast<float>(at) / static_cast<float>(length) - centre) / width;
    return std::exp(-distance * distance);
}

std::vector<uint32_t> Backdrop(int width, int height)
{
    std::vector<float> columns(size_t(width), 0.0F);
    for (int x = 0; x < width; ++x)
        columns[size_t(x)] = 0.42F * Bell(x, width, 0.5F, 0.34F);
    std::vector<uint32_t> pixels;
    pixels.reserve(size_t(width) * size_t(height));
    for (int y = 0; y < height; ++y) {
        const uint32_t base = Mix(Top, Bottom, static_cast<float>(y) / static_cast<float>(height));
        const float row = Bell(y, height, 0.42F, 0.40F);
        for (const float column : columns)
            pixels.push_back(Mix(base, Glow, column * row));
    }
    return pixels;
}

/// The distance of a pixel's centre from the edge of a square with rounded corners: negative inside.
float Distance(int x, int y, int size)
{
    const float half = static_cast<float>(size) / 2, radius = static_cast<float>(size) * 0.16F;
    const float dx = std::fabs(static_cast<float>(x) + 0.5F - half) - (half - radius);
    const float dy = std::fabs(static_cast<float>(y) + 0.5F - half) - (half - radius);
    return std::hypot(std::max(dx, 0.0F), std::max(dy, 0.0F)) + std::min(std::max(dx, dy), 0.0F) - radius;
}

/// The first of the faces that the system really has: what stands in for a missing one is a bitmap font at
/// worst.
FontHandle MakeFont(HDC dc, int pixels, int weight)
{
    FontHandle font;
    for (const wchar_t* face : {L"Segoe UI", L"Arial", L"Liberation Sans", L"DejaVu Sans"}) {
        font.Reset(CreateFontW(-pixels, 0, 0, 0, weight, FALSE, FALSE, FALSE, DEFAULT_CHARSET, OUT_TT_PRECIS,
                               CLIP_DEFAULT_PRECIS, CLEARTYPE_QUALITY, VARIABLE_PITCH | FF_SWISS, face));
        const HGDIOBJ previous = SelectObject(dc, font.Get());
        wchar_t found[LF_FACESIZE] = L"";
        GetTextFaceW(dc, LF_FACESIZE, found);
        SelectObject(dc, previous);
        if (lstrcmpiW(found, face) == 0)
            break;
    }
    return font;
}

} // namespace

bool Canvas::Create(int wantedWidth, int wantedHeight)
{
    BITMAPINFO info = {};
    info.bmiHeader.biSize = sizeof(info.bmiHeader);
    info.bmiHeader.biWidth = wantedWidth;
    info.bmiHeader.biHeight = -wantedHeight; // first line on top
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    void* bits = nullptr;
    dc.Reset(CreateCompatibleDC(nullptr));
    bitmap.Reset(CreateDIBSection(dc.Get(), &info, DIB_RGB_COLORS, &bits, nullptr, 0));
    if (!dc || !bitmap)
        return false;
    SelectObject(dc.Get(), bitmap.Get());
    pixels = static_cast<uint32_t*>(bits);
    width = wantedWidth;
    height = wantedHeight;
    return true;
}

bool Screen::Create()
{
    const int width = GetSystemMetrics(SM_CXSCREEN), height = GetSystemMetrics(SM_CYSCREEN);
    WNDCLASSEXW windowClass = {};
    windowClass.cbSize = sizeof(windowClass);
    windowClass.lpfnWndProc = Procedure;
    windowClass.hInstance = GetModuleHandleW(nullptr);
    windowClass.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    windowClass.lpszClassName = ClassName;
    if (RegisterClassExW(&windowClass) == 0 && GetLastError() != ERROR_CLASS_ALREADY_EXISTS)
        return false;
    if (!m_canvas.Create(width, height))
        return false;
    m_backdrop = Backdrop(width, height);
    m_window = CreateWindowExW(0, ClassName, L"Logon screen", WS_POPUP, 0, 0, width, height, nullptr, nullptr,
                               windowClass.hInstance, this);
    return m_window != nullptr;
}

void Screen::Destroy()
{
    if (m_window != nullptr)
        DestroyWindow(m_window);
    m_window = nullptr;
}

void Screen::Show(const ScreenContent& content)
{
    if (m_window == nullptr)
        return;
    GdiFlush(); // it may still be working on the pixels that are written next
    std::copy(m_backdrop.begin(), m_backdrop.end(), m_canvas.pixels);

    int top = m_canvas.height * 24 / 100;
    if (content.image != nullptr) {
        const int size = std::clamp(m_canvas.height * 27 / 100, 96, 266);
        PaintImage(top, size, content.image);
        top += size + size / 7;
    }
    if (!content.name.empty())
        top = Write(top, content.name, 36, FW_LIGHT, Bright) + 12;
    Write(top + 6, content.message, 20, FW_NORMAL, MessageColours[static_cast<int>(content.mood)]);
    Write(m_canvas.height - 52, content.footer, 18, FW_NORMAL, Faint);

    if (!IsWindowVisible(m_window))
        ShowWindow(m_window, SW_SHOW);
    InvalidateRect(m_window, nullptr, FALSE);
    UpdateWindow(m_window);
}

void Screen::PaintImage(int top, int size, HBITMAP bitmap)
{
    BITMAP source = {};
    Canvas scaled;
    const MemoryDC from(CreateCompatibleDC(nullptr));
    if (GetObjectW(bitmap, sizeof(source), &source) == 0 || !scaled.Create(size, size))
        return;
    const HGDIOBJ previous = SelectObject(from.Get(), bitmap);
    SetStretchBltMode(scaled.dc.Get(), HALFTONE);
    SetBrushOrgEx(scaled.dc.Get(), 0, 0, nullptr);
    StretchBlt(scaled.dc.Get(), 0, 0, size, size, from.Get(), 0, 0, source.bmWidth, source.bmHeight, SRCCOPY);
    SelectObject(from.Get(), previous);
    GdiFlush();

    const int left = (m_canvas.width - size) / 2, drop = size / 24, margin = size / 4;
    const float blur = static_cast<float>(size) * 0.22F;
    for (int y = -margin; y < size + margin; ++y) {
        for (int x = -margin; x < size + margin; ++x) {
            if (left + x < 0 || left + x >= m_canvas.width || top + y < 0 || top + y >= m_canvas.height)
                continue;
            uint32_t& pixel = m_canvas.At(left + x, top + y);
            const float shade = std::clamp(1 - Distance(x, y - drop, size) / blur, 0.0F, 1.0F);
            pixel = Mix(pixel, Black, 0.5F * shade * shade);
            const float distance = Distance(x, y, size);
            if (x >= 0 && x < size && y >= 0 && y < size)
                pixel = Mix(pixel, scaled.At(x, y), 0.5F - distance);
            // A thin light rim.
            pixel = Mix(pixel, White, 0.22F * std::clamp(1.2F - std::fabs(distance + 0.7F), 0.0F, 1.0F));
        }
    }
}

int Screen::Write(int top, const std::wstring& text, int pixels, int weight, COLORREF colour)
{
    const HDC dc = m_canvas.dc.Get();
    const FontHandle font = MakeFont(dc, pixels, weight);
    const HGDIOBJ previous = SelectObject(dc, font.Get());
    SetBkMode(dc, TRANSPARENT);
    SetTextColor(dc, colour);
    const int left = (m_canvas.width - TextWidth) / 2;
    RECT area = {left, top, left + TextWidth, m_canvas.height};
    const int height =
        DrawTextW(dc, text.c_str(), -1, &area, DT_CENTER | DT_TOP | DT_WORDBREAK | DT_NOPREFIX);
    SelectObject(dc, previous);
    return top + height;
}

LRESULT CALLBACK Screen::Procedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    if (message == WM_NCCREATE) {
        const auto* create = reinterpret_cast<const CREATESTRUCTW*>(lParam);
        SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(create->lpCreateParams));
    }
    auto* self = reinterpret_cast<Screen*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (self != nullptr && message == WM_PAINT) {
        PAINTSTRUCT paint;
        const HDC dc = BeginPaint(window, &paint);
        const Canvas& canvas = self->m_canvas;
        BitBlt(dc, 0, 0, canvas.width, canvas.height, canvas.dc.Get(), 0, 0, SRCCOPY);
        EndPaint(window, &paint);
        return 0;
    }
    if (self != nullptr && (message == WM_CLOSE || (message == WM_KEYDOWN && wParam == VK_ESCAPE))) {
        self->m_wasClosed = true;
        return 0;
    }
    return message == WM_ERASEBKGND ? 1 : DefWindowProcW(window, message, wParam, lParam);
}
