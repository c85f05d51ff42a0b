// The logon that came out of the provider: taken apart, checked, and judged by the LSA.
#pragma once

#include "Findings.h"
#include "Options.h"

/// What came of one GetSerialization.
struct LogonOutcome {
    bool cameOut = false; ///< false when the provider failed or returned no credential
    std::wstring account; ///< "DOMAIN\user" as it stands in the block
    NTSTATUS status = 0;
    NTSTATUS substatus = 0;

    bool Accepted() const { return cameOut && status >= 0; }
};

class LogonReport {
public:
    LogonReport(const Options& options, Transcript& transcript, Findings& findings)
        : m_options(options), m_transcript(transcript), m_findings(findings)
    {
    }

    LogonOutcome Examine(const CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION& serialization);

private:
    void WriteTable(const byte* block, size_t bytes);
    void WriteString(const byte* block, size_t bytes, size_t field, const wchar_t* name, bool secret);

    const Options& m_options;
    Transcript& m_transcript;
    Findings& m_findings;
};
