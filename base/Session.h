// What Windows tells about the session this process runs in.
#pragma once

#include "Handle.h"

#include <wtsapi32.h>

template <class T>
struct WtsMemoryPolicy {
    using Type = T*;
    static Type Invalid() { return nullptr; }
    static void Close(Type memory) { WTSFreeMemory(memory); }
};

/// The current session's answer to `infoClass`; null when there is none or it is too short for a T.
template <class T>
UniqueResource<WtsMemoryPolicy<T>> QueryCurrentSession(WTS_INFO_CLASS infoClass)
{
    wchar_t* buffer = nullptr;
    DWORD bytes = 0;
    if (!WTSQuerySessionInformationW(WTS_CURRENT_SERVER_HANDLE, WTS_CURRENT_SESSION, infoClass, &buffer,
                                     &bytes))
        return {};
    UniqueResource<WtsMemoryPolicy<T>> answer(reinterpret_cast<T*>(buffer));
    if (bytes < sizeof(T))
        answer.Reset();
    return answer;
}
