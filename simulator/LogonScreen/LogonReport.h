// The logon that came out of the provider: taken apart, checked, and judged by the LSA.
#pragma once

#include "Options.h"
#include "Transcript.h"

/// What came of one GetSerialization.
struct LogonOutcome {
    bool cameOut = false; ///< false when the provider failed or returned no credential
    std::wstring account; ///< "DOMAIN\user" as it stands in the block
    NTSTATUS status = 0;
    NTSTATUS substatus = 0;

    bool Accepted() const { return cameOut && status >= 0; }
};

/// Writes the block field by field. On the system as it is no logon is attempted, and whatever came out
/// counts as accepted.
LogonOutcome Examine(const Options& options, Transcript& log,
                     const CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION& serialization);
