#include "PreBootAuth.h"

#include <windows.h>

long GetAuthUserCreds(void* /*record*/)
{
    // There is no pre-boot library to ask yet, so nobody has been authenticated before boot.
    return ERROR_NOT_SUPPORTED;
}
