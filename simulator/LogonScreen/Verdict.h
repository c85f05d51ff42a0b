// What a run comes to.
#pragma once

#include "LogonReport.h"

enum class ExitStatus {
    Expected = 0,
    OtherOutcome = 1,
    Usage = 2,
    NoTile = 3,
    TimeLimit = 4,
    LeftBehind = 5,
    Crashed = 6,
};

/// How one life ended, and what came of it.
struct LifeResult {
    enum class End { NotLoaded, NoTile, Reached, TimeLimit, Closed };
    End end = End::NotLoaded;
    std::vector<LogonOutcome> logons;
};

/// The verdict over one life, with what was found in it. `why` gets the reason.
ExitStatus Judge(const Options& options, const LifeResult& life, const Findings& found, std::wstring& why);

const wchar_t* ExitText(ExitStatus status);
