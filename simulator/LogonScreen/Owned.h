// Owners of what COM, GDI and the loader hand out.
#pragma once

#include "base/Handle.h"

#include <objbase.h>

#include <functional>

template <class Value, auto CloseValue>
struct ClosedBy {
    using Type = Value;
    static Type Invalid() { return nullptr; }
    static void Close(Type value) { std::invoke(CloseValue, value); }
};
template <class Value, auto CloseValue>
using Owned = UniqueResource<ClosedBy<Value, CloseValue>>;

template <class Interface>
using ComRef = Owned<Interface*, &IUnknown::Release>;
template <class Element>
using TaskMemory = Owned<Element*, CoTaskMemFree>;
using ModuleHandle = Owned<HMODULE, FreeLibrary>;
using BitmapHandle = Owned<HBITMAP, DeleteObject>;
using FontHandle = Owned<HFONT, DeleteObject>;
using MemoryDC = Owned<HDC, DeleteDC>;
