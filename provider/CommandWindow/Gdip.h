// Owners for the objects of GDI+'s flat interface.
#pragma once

#include "Handle.h"

#include <windows.h>

#include <objidl.h>

#include <gdiplus.h>

namespace Gdip {

template <class Object, Gdiplus::GpStatus(WINGDIPAPI* Delete)(Object*)>
struct Policy {
    using Type = Object*;
    static Type Invalid() { return nullptr; }
    static void Close(Type object) { Delete(object); }
};

namespace Flat = Gdiplus::DllExports;

inline Gdiplus::GpStatus WINGDIPAPI DeleteBitmap(Gdiplus::GpBitmap* bitmap)
{
    return Flat::GdipDisposeImage(bitmap);
}

inline Gdiplus::GpStatus WINGDIPAPI DeleteSolidFill(Gdiplus::GpSolidFill* brush)
{
    return Flat::GdipDeleteBrush(brush);
}

using Bitmap = UniqueResource<Policy<Gdiplus::GpBitmap, DeleteBitmap>>;
using Font = UniqueResource<Policy<Gdiplus::GpFont, Flat::GdipDeleteFont>>;
using FontFamily = UniqueResource<Policy<Gdiplus::GpFontFamily, Flat::GdipDeleteFontFamily>>;
using Graphics = UniqueResource<Policy<Gdiplus::GpGraphics, Flat::GdipDeleteGraphics>>;
using Path = UniqueResource<Policy<Gdiplus::GpPath, Flat::GdipDeletePath>>;
using SolidFill = UniqueResource<Policy<Gdiplus::GpSolidFill, DeleteSolidFill>>;
using StringFormat = UniqueResource<Policy<Gdiplus::GpStringFormat, Flat::GdipDeleteStringFormat>>;

} // namespace Gdip
