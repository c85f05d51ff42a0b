// What a caller's own exception filter gets to see.
#pragma once

#include <windows.h>

struct Raised {
    int times;
    EXCEPTION_RECORD record;
};

#ifdef __cplusplus
extern "C"
#endif
    /// Calls call(context) and returns its result. An exception is noted; with `goOn` execution continues
    /// behind the raise, otherwise the call is given up and the result is -1.
    long
    CallUnderFilter(long (*call)(void* context), void* context, BOOL goOn, struct Raised* raised);
