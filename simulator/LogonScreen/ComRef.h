// An owned COM reference, and the memory that COM methods hand out.
#pragma once

#include "base/Handle.h"

#include <objbase.h>
#include <unknwn.h>

template <class Interface>
struct ComRefPolicy {
    using Type = Interface*;
    static Type Invalid() { return nullptr; }
    static void Close(Type reference) { reference->Release(); }
};
template <class Interface>
using ComRef = UniqueResource<ComRefPolicy<Interface>>;

template <class Element>
struct TaskMemoryPolicy {
    using Type = Element*;
    static Type Invalid() { return nullptr; }
    static void Close(Type memory) { CoTaskMemFree(memory); }
};
template <class Element>
using TaskMemory = UniqueResource<TaskMemoryPolicy<Element>>;
