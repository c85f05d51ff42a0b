// What one check found, and what it means for the tile.
#pragma once

#include "Status.h"

#include <string>

enum class Outcome {
    Pass,      ///< In order.
    Note,      ///< Neither for nor against the tile.
    Attention, ///< The tile appears, but a logon with it may not succeed.
    Unknown,   ///< Can't be told without changing something.
    Refusal,   ///< No tile.
    Skipped,   ///< Does not come into play as things stand.
};

struct Finding {
    Outcome outcome;
    std::wstring text;
    /// What to do about it; empty when there is nothing to do.
    std::wstring advice;
    /// Other than Offered for a Refusal and for Unknown.
    Status status = Status::Offered;
};

inline Finding Pass(std::wstring text)
{
    return {Outcome::Pass, std::move(text), {}};
}

inline Finding Note(std::wstring text, std::wstring advice = {})
{
    return {Outcome::Note, std::move(text), std::move(advice)};
}

inline Finding Attention(std::wstring text, std::wstring advice)
{
    return {Outcome::Attention, std::move(text), std::move(advice)};
}

inline Finding Skip(std::wstring text)
{
    return {Outcome::Skipped, std::move(text), {}};
}

inline Finding Refuse(Status status, std::wstring text, std::wstring advice)
{
    return {Outcome::Refusal, std::move(text), std::move(advice), status};
}
