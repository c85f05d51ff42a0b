// A picture in memory that takes both GDI drawing and pixel work: soft backgrounds, shadows and rounded
// corners are beyond GDI.
#pragma once

#include "Tile.h"

#include <cstdint>
#include <vector>

struct MemoryDCPolicy {
    using Type = HDC;
    static Type Invalid() { return nullptr; }
    static void Close(Type dc) { DeleteDC(dc); }
};
using MemoryDC = UniqueResource<MemoryDCPolicy>;

struct Colour {
    float red, green, blue; ///< 0 to 255
};

/// A rounded rectangle.
struct Shape {
    int left, top, width, height;
    float radius;

    /// The distance of a pixel's centre from the edge: negative inside.
    float Distance(int x, int y) const;
};

class Canvas {
public:
    Canvas() = default;
    ~Canvas();
    Canvas(const Canvas&) = delete;
    Canvas& operator=(const Canvas&) = delete;

    bool Create(int width, int height);
    explicit operator bool() const { return m_pixels != nullptr; }
    int Width() const { return m_width; }
    int Height() const { return m_height; }
    HDC DC() const { return m_dc.Get(); }

    /// The logon screen's background: dark, with two wide glows.
    void PaintBackdrop();
    void PaintShadow(const Shape& shape, float blur, float opacity);
    void PaintPanel(const Shape& shape, Colour fill, float opacity, float rimOpacity);
    /// The bitmap, scaled to the shape and cut to its corners, with a thin light rim.
    void PaintImage(const Shape& shape, HBITMAP bitmap);

private:
    void RenderBackdrop();
    void Blend(int x, int y, Colour colour, float opacity);
    template <class Paint>
    void ForEachPixel(const Shape& shape, int margin, Paint paint);

    int m_width = 0;
    int m_height = 0;
    MemoryDC m_dc;
    BitmapHandle m_bitmap;
    HGDIOBJ m_previous = nullptr;
    uint32_t* m_pixels = nullptr; // the bitmap's own
    std::vector<uint32_t> m_backdrop;
};
