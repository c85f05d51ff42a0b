#include "Filter.h"

static LONG Note(const EXCEPTION_POINTERS* exception, BOOL goOn, struct Raised* raised)
{
    ++raised->times;
    raised->record = *exception->ExceptionRecord;
    return goOn ? EXCEPTION_CONTINUE_EXECUTION : EXCEPTION_EXECUTE_HANDLER;
}

long CallUnderFilter(long (*call)(void* context), void* context, BOOL goOn, struct Raised* raised)
{
    long result = -1;
    __try {
        result = call(context);
    } __except (Note(GetExceptionInformation(), goOn, raised)) {
    }
    return result;
}
