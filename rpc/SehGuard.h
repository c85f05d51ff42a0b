// Calls across a structured-exception guard.
#pragma once

#include <windows.h>

#include <type_traits>

/// Calls call(context). Returns 0 when it came back, otherwise 1 with the code of the structured exception
/// that it raised. Destructors between the raise and the guard may not run: what is called should hold no
/// objects.
extern "C" int SehGuardedCall(void (*call)(void* context), void* context, DWORD* code);

struct SehResult {
    bool raised;
    DWORD code; // of the exception, when one was raised
};

/// Calls `call()` under the guard.
template <class Call>
SehResult Guarded(Call&& call)
{
    SehResult result{};
    result.raised =
        SehGuardedCall([](void* context) { (*static_cast<std::remove_reference_t<Call>*>(context))(); },
                       &call, &result.code) != 0;
    return result;
}
