#include "ScreenPainter.h"

#include <algorithm>

namespace {

struct FontPolicy {
    using Type = HFONT;
    static Type Invalid() { return nullptr; }
    static void Close(Type font) { DeleteObject(font); }
};
using FontHandle = UniqueResource<FontPolicy>;

constexpr COLORREF g_bright = RGB(0xF4, 0xF6, 0xFF);
constexpr COLORREF g_soft = RGB(0xB9, 0xC3, 0xEA);
constexpr COLORREF g_faint = RGB(0x7F, 0x8B, 0xBC);
constexpr COLORREF g_good = RGB(0x8E, 0xF0, 0xC8);
constexpr COLORREF g_bad = RGB(0xFF, 0xB4, 0xA8);
constexpr Colour g_boxFill = {8, 10, 28};

constexpr int g_columnWidth = 640;
constexpr int g_boxWidth = 300;
constexpr int g_boxHeight = 38;

/// The first of the faces that the system really has: what stands in for a missing one is a bitmap font at
/// worst.
FontHandle MakeFont(HDC dc, int pixels, int weight)
{
    static const wchar_t* const faces[] = {L"Segoe UI", L"Arial", L"Liberation Sans", L"DejaVu Sans"};
    for (const wchar_t* face : faces) {
        FontHandle font(CreateFontW(-pixels, 0, 0, 0, weight, FALSE, FALSE, FALSE, DEFAULT_CHARSET,
                                    OUT_TT_PRECIS, CLIP_DEFAULT_PRECIS, CLEARTYPE_QUALITY,
                                    VARIABLE_PITCH | FF_SWISS, face));
        const HGDIOBJ previous = SelectObject(dc, font.Get());
        wchar_t found[LF_FACESIZE] = L"";
        GetTextFaceW(dc, LF_FACESIZE, found);
        SelectObject(dc, previous);
        if (lstrcmpiW(found, face) == 0 || face == faces[ARRAYSIZE(faces) - 1])
            return font;
    }
    return FontHandle();
}

/// Writes the text, wrapped and centred, and returns the line below it.
int Write(const Canvas& canvas, int top, const std::wstring& text, int pixels, int weight, COLORREF colour)
{
    const FontHandle font = MakeFont(canvas.DC(), pixels, weight);
    const HGDIOBJ previous = SelectObject(canvas.DC(), font.Get());
    SetBkMode(canvas.DC(), TRANSPARENT);
    SetTextColor(canvas.DC(), colour);
    const int left = (canvas.Width() - g_columnWidth) / 2;
    RECT area = {left, top, left + g_columnWidth, canvas.Height()};
    const int height =
        DrawTextW(canvas.DC(), text.c_str(), -1, &area, DT_CENTER | DT_TOP | DT_WORDBREAK | DT_NOPREFIX);
    SelectObject(canvas.DC(), previous);
    return top + height;
}

int PaintBox(Canvas& canvas, int top, const TileField& field)
{
    const Shape box = {(canvas.Width() - g_boxWidth) / 2, top, g_boxWidth, g_boxHeight, 6};
    canvas.PaintPanel(box, g_boxFill, 0.45F, 0.25F);
    const bool secret = field.type == CPFT_PASSWORD_TEXT;
    const bool empty = field.text.empty();
    const std::wstring shown = empty    ? field.label
                               : secret ? std::wstring(field.text.size(), L'*')
                                        : field.text;
    Write(canvas, top + 9, shown, 18, FW_NORMAL, empty ? g_faint : g_bright);
    return top + g_boxHeight + 10;
}

int PaintImageField(Canvas& canvas, int top, const TileField& field)
{
    const int size = std::clamp(canvas.Height() * 27 / 100, 96, 266);
    const Shape frame = {(canvas.Width() - size) / 2, top, size, size, static_cast<float>(size) * 0.16F};
    Shape shadow = frame;
    shadow.top += size / 24;
    canvas.PaintShadow(shadow, static_cast<float>(size) * 0.22F, 0.5F);
    if (field.bitmap)
        canvas.PaintImage(frame, field.bitmap.Get());
    else
        canvas.PaintPanel(frame, g_boxFill, 0.45F, 0.25F);
    return top + size + size / 7;
}

int PaintField(Canvas& canvas, int top, const TileField& field)
{
    switch (field.type) {
    case CPFT_TILE_IMAGE:
        return PaintImageField(canvas, top, field);
    case CPFT_LARGE_TEXT:
        return Write(canvas, top, field.text, 36, FW_LIGHT, g_bright) + 12;
    case CPFT_SMALL_TEXT:
        return Write(canvas, top, field.text, 18, FW_NORMAL, g_soft) + 10;
    case CPFT_COMMAND_LINK:
        return Write(canvas, top, field.text, 17, FW_NORMAL, g_good) + 10;
    case CPFT_CHECKBOX:
        return Write(canvas, top, L"\u25A1  " + field.text, 17, FW_NORMAL, g_soft) + 10;
    case CPFT_EDIT_TEXT:
    case CPFT_PASSWORD_TEXT:
    case CPFT_COMBOBOX:
        return PaintBox(canvas, top, field);
    default:
        return top; // a submit button belongs to the field it stands beside
    }
}

COLORREF MessageColour(ScreenContent::Phase phase)
{
    switch (phase) {
    case ScreenContent::Phase::LoggedOn:
        return g_good;
    case ScreenContent::Phase::Refused:
        return g_bad;
    default:
        return g_soft;
    }
}

} // namespace

void PaintScreen(Canvas& canvas, const ScreenContent& content)
{
    canvas.PaintBackdrop();
    int top = canvas.Height() * 24 / 100;
    if (content.tile != nullptr)
        for (const TileField& field : content.tile->fields)
            if (field.IsShown())
                top = PaintField(canvas, top, field);
    if (!content.message.empty())
        Write(canvas, top + 6, content.message, 20, FW_NORMAL, MessageColour(content.phase));
    Write(canvas, canvas.Height() - 52,
          content.unlock ? L"Workstation locked  \u00B7  simulated logon screen  \u00B7  Esc ends it"
                         : L"Logon  \u00B7  simulated logon screen  \u00B7  Esc ends it",
          18, FW_NORMAL, g_faint);
}
