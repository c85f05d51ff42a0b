// What the fingerprint service answers to the questions that the provider asks it.
#pragma once

#include <windows.h>

struct ServiceAnswer {
    enum class Kind {
        Answered,
        Raised, ///< The first or second call ended in an exception: nobody listens, for example.
        Silent, ///< No answer in time.
    };
    Kind kind;
    /// Of the exception.
    DWORD code;
    /// 1: sensor present and enabled.
    long pbaEnabled;
    /// The enrolments could be counted: how many there are.
    bool counted;
    long enrolled;
};

/// Asks for nothing but answers; a service that is not running stays so.
ServiceAnswer AskService(DWORD milliseconds);
