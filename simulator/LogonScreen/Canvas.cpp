#include "Canvas.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr Colour g_top = {9, 12, 34};
constexpr Colour g_bottom = {27, 36, 84};
constexpr Colour g_violet = {104, 76, 190};
constexpr Colour g_teal = {32, 122, 150};
constexpr Colour g_white = {255, 255, 255};
constexpr Colour g_black = {0, 0, 0};

// An ordered dither: eight bits a channel alone would show bands in so dark a gradient.
constexpr float g_dither[4][4] = {{-0.469F, 0.031F, -0.344F, 0.156F},
                                  {0.281F, -0.219F, 0.406F, -0.094F},
                                  {-0.281F, 0.219F, -0.406F, 0.094F},
                                  {0.469F, -0.031F, 0.344F, -0.156F}};

float Mix(float from, float to, float share)
{
    return from + (to - from) * share;
}

Colour Mix(Colour from, Colour to, float share)
{
    return {Mix(from.red, to.red, share), Mix(from.green, to.green, share), Mix(from.blue, to.blue, share)};
}

uint32_t Pack(Colour colour, float dither = 0)
{
    const auto channel = [dither](float value) {
        return static_cast<uint32_t>(std::clamp(value + dither + 0.5F, 0.0F, 255.0F));
    };
    return channel(colour.red) << 16 | channel(colour.green) << 8 | channel(colour.blue);
}

Colour Unpack(uint32_t pixel)
{
    return {static_cast<float>(pixel >> 16 & 0xFF), static_cast<float>(pixel >> 8 & 0xFF),
            static_cast<float>(pixel & 0xFF)};
}

/// One axis of a glow; the product of both axes is a round one.
std::vector<float> Bell(int length, float centre, float width)
{
    std::vector<float> bell(static_cast<size_t>(length));
    for (int i = 0; i < length; ++i) {
        const float distance = (static_cast<float>(i) / static_cast<float>(length) - centre) / width;
        bell[static_cast<size_t>(i)] = std::exp(-distance * distance);
    }
    return bell;
}

} // namespace

float Shape::Distance(int x, int y) const
{
    const float halfWidth = static_cast<float>(width) / 2;
    const float halfHeight = static_cast<float>(height) / 2;
    const float dx = std::fabs(static_cast<float>(x - left) + 0.5F - halfWidth) - (halfWidth - radius);
    const float dy = std::fabs(static_cast<float>(y - top) + 0.5F - halfHeight) - (halfHeight - radius);
    const float outside = std::hypot(std::max(dx, 0.0F), std::max(dy, 0.0F));
    return outside + std::min(std::max(dx, dy), 0.0F) - radius;
}

Canvas::~Canvas()
{
    if (m_previous != nullptr)
        SelectObject(m_dc.Get(), m_previous);
}

bool Canvas::Create(int width, int height)
{
    BITMAPINFO info = {};
    info.bmiHeader.biSize = sizeof(info.bmiHeader);
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = -height; // first line on top
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    void* pixels = nullptr;
    m_dc.Reset(CreateCompatibleDC(nullptr));
    m_bitmap.Reset(CreateDIBSection(m_dc.Get(), &info, DIB_RGB_COLORS, &pixels, nullptr, 0));
    if (!m_dc || !m_bitmap)
        return false;
    m_previous = SelectObject(m_dc.Get(), m_bitmap.Get());
    m_pixels = static_cast<uint32_t*>(pixels);
    m_width = width;
    m_height = height;
    RenderBackdrop();
    return true;
}

void Canvas::RenderBackdrop()
{
    const std::vector<float> violetX = Bell(m_width, 0.5F, 0.34F), violetY = Bell(m_height, 0.42F, 0.40F);
    const std::vector<float> tealX = Bell(m_width, 0.12F, 0.45F), tealY = Bell(m_height, 1.05F, 0.50F);
    m_backdrop.resize(static_cast<size_t>(m_width) * static_cast<size_t>(m_height));
    uint32_t* pixel = m_backdrop.data();
    for (int y = 0; y < m_height; ++y) {
        const Colour base = Mix(g_top, g_bottom, static_cast<float>(y) / static_cast<float>(m_height));
        for (int x = 0; x < m_width; ++x) {
            const auto column = static_cast<size_t>(x), row = static_cast<size_t>(y);
            Colour colour = Mix(base, g_violet, 0.42F * violetX[column] * violetY[row]);
            colour = Mix(colour, g_teal, 0.38F * tealX[column] * tealY[row]);
            *pixel++ = Pack(colour, g_dither[y & 3][x & 3]);
        }
    }
}

void Canvas::PaintBackdrop()
{
    // GDI may still be working on the pixels that are written next.
    GdiFlush();
    std::copy(m_backdrop.begin(), m_backdrop.end(), m_pixels);
}

void Canvas::Blend(int x, int y, Colour colour, float opacity)
{
    uint32_t& pixel =
        m_pixels[static_cast<size_t>(y) * static_cast<size_t>(m_width) + static_cast<size_t>(x)];
    pixel = Pack(Mix(Unpack(pixel), colour, std::clamp(opacity, 0.0F, 1.0F)), g_dither[y & 3][x & 3]);
}

template <class Paint>
void Canvas::ForEachPixel(const Shape& shape, int margin, Paint paint)
{
    GdiFlush();
    const int bottom = std::min(shape.top + shape.height + margin, m_height);
    const int right = std::min(shape.left + shape.width + margin, m_width);
    for (int y = std::max(shape.top - margin, 0); y < bottom; ++y)
        for (int x = std::max(shape.left - margin, 0); x < right; ++x)
            paint(x, y, shape.Distance(x, y));
}

void Canvas::PaintShadow(const Shape& shape, float blur, float opacity)
{
    ForEachPixel(shape, static_cast<int>(blur) + 1, [&](int x, int y, float distance) {
        const float share = std::clamp(1 - distance / blur, 0.0F, 1.0F);
        Blend(x, y, g_black, opacity * share * share);
    });
}

void Canvas::PaintPanel(const Shape& shape, Colour fill, float opacity, float rimOpacity)
{
    ForEachPixel(shape, 1, [&](int x, int y, float distance) {
        Blend(x, y, fill, opacity * std::clamp(0.5F - distance, 0.0F, 1.0F));
        Blend(x, y, g_white, rimOpacity * std::clamp(1.2F - std::fabs(distance + 0.7F), 0.0F, 1.0F));
    });
}

void Canvas::PaintImage(const Shape& shape, HBITMAP bitmap)
{
    BITMAP source = {};
    Canvas scaled;
    if (GetObjectW(bitmap, sizeof(source), &source) == 0 || !scaled.Create(shape.width, shape.height))
        return;
    MemoryDC from(CreateCompatibleDC(nullptr));
    const HGDIOBJ previous = SelectObject(from.Get(), bitmap);
    SetStretchBltMode(scaled.DC(), HALFTONE);
    SetBrushOrgEx(scaled.DC(), 0, 0, nullptr);
    StretchBlt(scaled.DC(), 0, 0, shape.width, shape.height, from.Get(), 0, 0, source.bmWidth,
               source.bmHeight, SRCCOPY);
    SelectObject(from.Get(), previous);
    GdiFlush();

    ForEachPixel(shape, 0, [&](int x, int y, float distance) {
        const size_t at = static_cast<size_t>(y - shape.top) * static_cast<size_t>(shape.width) +
                          static_cast<size_t>(x - shape.left);
        Blend(x, y, Unpack(scaled.m_pixels[at]), std::clamp(0.5F - distance, 0.0F, 1.0F));
    });
    PaintPanel(shape, g_white, 0, 0.22F);
}
