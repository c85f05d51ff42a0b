// What the prompt window draws with: GDI+, the fingerprint image, font and text format.
#pragma once

#include "Gdip.h"

/// Made and shut down on the thread that owns the window object, painted with on the window's own thread.
class PromptArt {
public:
    void CreateFormat();

    /// Starts GDI+ and prepares format and font. Without GDI+ nothing is ever painted.
    void Start();

    /// Loads a resource of the provider DLL, of the custom type "PNG" or RT_BITMAP. No image is no error:
    /// then none is painted.
    void LoadImageResource(UINT id, const wchar_t* type);

    /// Answers WM_PAINT: the image, and `text` under it.
    void Paint(HWND window, const wchar_t* text) const;

    /// Frees everything and shuts GDI+ down. No thread may be inside Paint.
    void Shutdown();

private:
    void NoteFormatStatus(Gdiplus::GpStatus status);
    /// Bold Arial, or what is there instead; `size` in pixels.
    static Gdip::Font MakeFont(float size);
    float MeasureText(const wchar_t* text, const Gdiplus::GpFont* font) const;
    void DrawText(Gdiplus::GpGraphics* graphics, const wchar_t* text, const Gdiplus::GpFont* font,
                  int left) const;

    Gdip::Bitmap m_image;
    ULONG_PTR m_gdiplusToken = 0;
    Gdip::Font m_font;
    Gdip::StringFormat m_format;
    Gdiplus::GpStatus m_formatStatus = Gdiplus::Ok; // the last that was not Ok
};
