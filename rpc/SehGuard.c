/* The one place with __try. It is C: beside C++ objects and with libstdc++'s macros of that name it would not
   catch anything. */
#include <windows.h>

int SehGuardedCall(void (*call)(void* context), void* context, DWORD* code)
{
    DWORD caught = 0;
    __try {
        call(context);
    } __except (caught = GetExceptionCode(), EXCEPTION_EXECUTE_HANDLER) {
        *code = caught; /* taken in the filter: inside this block the code reads as 0 */
        return 1;
    }
    return 0;
}
