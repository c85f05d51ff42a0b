// Calls of the generated client stubs.
#pragma once

#include "VexaFP.h"

/// Calls a stub. Without a binding it raises RPC_S_INVALID_BINDING: not every RPC runtime notices a null
/// implicit handle by itself.
template <class Result, class... Parameters, class... Arguments>
Result CallStub(Result(__cdecl* stub)(Parameters...), Arguments... arguments)
{
    if (g_hFPBinding == nullptr)
        RaiseException(RPC_S_INVALID_BINDING, EXCEPTION_NONCONTINUABLE, 0, nullptr);
    return stub(arguments...);
}
