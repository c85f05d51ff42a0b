// What a run found fault with: written at once, counted for the verdict.
#pragma once

#include "Transcript.h"

class Findings {
public:
    explicit Findings(Transcript& transcript) : m_transcript(transcript) {}

    /// The provider broke a rule of the interfaces or of the packed logon.
    void Violation(const std::wstring& text)
    {
        InterlockedIncrement(&m_violations);
        m_transcript.Line(L"violation", L"%s", text.c_str());
    }
    /// The provider left something behind when it should have been gone.
    void LeftBehind(const std::wstring& text)
    {
        InterlockedIncrement(&m_leftBehind);
        m_transcript.Line(L"leftover", L"%s", text.c_str());
    }

    LONG Violations() const { return m_violations; }
    LONG Leftovers() const { return m_leftBehind; }

private:
    Transcript& m_transcript;
    LONG m_violations = 0;
    LONG m_leftBehind = 0;
};
