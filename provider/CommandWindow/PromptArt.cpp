#include "PromptArt.h"

#include "PromptLayout.h"

#include <objbase.h>

#include <cstring>

using namespace Gdip;

namespace {

constexpr wchar_t ModuleName[] = L"VexaFPCredentialProvider.DLL";
constexpr wchar_t FontName[] = L"Arial";
constexpr float FontSize = 12.0F; // pixels
constexpr Gdiplus::ARGB TextColor = 0xFFFFFFFF;

Bitmap LoadBitmapResource(HMODULE module, UINT id)
{
    Bitmap bitmap;
    const HBITMAP loaded = LoadBitmapW(module, MAKEINTRESOURCEW(id));
    if (loaded != nullptr) {
        Flat::GdipCreateBitmapFromHBITMAP(loaded, nullptr, bitmap.Put());
        DeleteObject(loaded);
    }
    return bitmap;
}

/// A fixed block with the resource's bytes, or null.
HGLOBAL CopyResource(HGLOBAL loaded, DWORD size)
{
    const void* bytes = LockResource(loaded);
    HGLOBAL block = GlobalAlloc(GMEM_FIXED, size);
    if (block != nullptr && bytes != nullptr)
        std::memcpy(block, bytes, size);
    return block;
}

Bitmap LoadStreamedResource(HMODULE module, UINT id, const wchar_t* type)
{
    Bitmap bitmap;
    const HRSRC resource = FindResourceW(module, MAKEINTRESOURCEW(id), type);
    if (resource == nullptr)
        return bitmap;
    const DWORD size = SizeofResource(module, resource);
    const HGLOBAL loaded = LoadResource(module, resource);
    if (loaded == nullptr)
        return bitmap;
    // The block is never freed: the image may read its stream for its whole life.
    const HGLOBAL block = CopyResource(loaded, size);
    IStream* stream = nullptr;
    if (block != nullptr && SUCCEEDED(CreateStreamOnHGlobal(block, FALSE, &stream))) {
        Flat::GdipCreateBitmapFromStream(stream, bitmap.Put());
        stream->Release();
    }
    FreeResource(loaded);
    return bitmap;
}

} // namespace

void PromptArt::CreateFormat()
{
    NoteFormatStatus(Flat::GdipCreateStringFormat(0, LANG_NEUTRAL, m_format.Put()));
}

void PromptArt::Start()
{
    const Gdiplus::GdiplusStartupInput input;
    if (Gdiplus::GdiplusStartup(&m_gdiplusToken, &input, nullptr) != Gdiplus::Ok)
        m_gdiplusToken = 0;
    // GDI+ may refuse a format while nobody in the process has started it.
    if (!m_format)
        CreateFormat();
    NoteFormatStatus(Flat::GdipSetStringFormatAlign(m_format.Get(), Gdiplus::StringAlignmentNear));
    NoteFormatStatus(Flat::GdipSetStringFormatLineAlign(m_format.Get(), Gdiplus::StringAlignmentNear));

    m_font = MakeFont(FontSize);
}

Font PromptArt::MakeFont(float size)
{
    FontFamily family;
    Font font;
    if (Flat::GdipCreateFontFamilyFromName(FontName, nullptr, family.Put()) != Gdiplus::Ok)
        Flat::GdipGetGenericFontFamilySansSerif(family.Put());
    Flat::GdipCreateFont(family.Get(), size, Gdiplus::FontStyleBold, Gdiplus::UnitPixel, font.Put());
    return font;
}

void PromptArt::LoadImageResource(UINT id, const wchar_t* type)
{
    const HMODULE module = GetModuleHandleW(ModuleName);
    m_image = type == RT_BITMAP ? LoadBitmapResource(module, id) : LoadStreamedResource(module, id, type);
}

void PromptArt::Paint(HWND window, const wchar_t* text) const
{
    Font smaller;
    const Gdiplus::GpFont* font = m_font.Get();
    float width = MeasureText(text, font);
    if (width > WidestText)
        smaller = MakeFont(FontSize * WidestText / width);
    if (const float reduced = smaller ? MeasureText(text, smaller.Get()) : 0.0F; reduced > 0.0F) {
        font = smaller.Get();
        width = reduced;
    }
    const PromptLayout layout = LayOutPrompt(width);
    PAINTSTRUCT paint;
    const HDC context = BeginPaint(window, &paint);
    Graphics graphics;
    Flat::GdipCreateFromHDC(context, graphics.Put());
    if (graphics) {
        if (m_image)
            Flat::GdipDrawImageRectI(graphics.Get(), m_image.Get(), layout.imageLeft, ImageTop, ImageSize,
                                     ImageSize);
        DrawText(graphics.Get(), text, font, layout.textLeft);
    }
    EndPaint(window, &paint);
}

void PromptArt::DrawText(Gdiplus::GpGraphics* graphics, const wchar_t* text, const Gdiplus::GpFont* font,
                         int left) const
{
    // One bit per pixel: a smoothed edge would be blended with the colour key and show.
    Flat::GdipSetTextRenderingHint(graphics, Gdiplus::TextRenderingHintSingleBitPerPixelGridFit);
    SolidFill brush;
    Flat::GdipCreateSolidFill(TextColor, brush.Put());
    const Gdiplus::RectF place(static_cast<float>(left), TextTop, 0.0F, 0.0F);
    Flat::GdipDrawString(graphics, text, -1, font, &place, m_format.Get(), brush.Get());
}

float PromptArt::MeasureText(const wchar_t* text, const Gdiplus::GpFont* font) const
{
    FontFamily family;
    Gdiplus::REAL size = 0.0F;
    INT style = 0;
    Path path;
    Gdiplus::RectF bounds;
    const Gdiplus::RectF place;
    auto* const measured = const_cast<Gdiplus::GpFont*>(font); // only read
    if (Flat::GdipGetFamily(measured, family.Put()) != Gdiplus::Ok ||
        Flat::GdipGetFontSize(measured, &size) != Gdiplus::Ok ||
        Flat::GdipGetFontStyle(measured, &style) != Gdiplus::Ok ||
        Flat::GdipCreatePath(Gdiplus::FillModeAlternate, path.Put()) != Gdiplus::Ok ||
        Flat::GdipAddPathString(path.Get(), text, -1, family.Get(), style, size, &place, m_format.Get()) !=
            Gdiplus::Ok ||
        Flat::GdipGetPathWorldBounds(path.Get(), &bounds, nullptr, nullptr) != Gdiplus::Ok)
        return 0.0F;
    return bounds.Width;
}

void PromptArt::Shutdown()
{
    m_image.Reset();
    m_font.Reset();
    m_format.Reset();
    if (m_gdiplusToken != 0)
        Gdiplus::GdiplusShutdown(m_gdiplusToken);
    m_gdiplusToken = 0;
}

void PromptArt::NoteFormatStatus(Gdiplus::GpStatus status)
{
    if (status != Gdiplus::Ok)
        m_formatStatus = status;
}
