#include "Doctor.h"

#include <algorithm>

Diagnosis Diagnose(const Choices& choices)
{
    Diagnosis diagnosis;
    Examination examination(choices);
    for (const Check& check : AllChecks())
        diagnosis.findings.push_back(check.look(examination));

    const auto& findings = diagnosis.findings;
    for (const Outcome outcome : {Outcome::Refusal, Outcome::Unknown}) {
        const auto found = std::ranges::find(findings, outcome, &Finding::outcome);
        if (found == findings.end())
            continue;
        diagnosis.decisive = static_cast<size_t>(found - findings.begin());
        diagnosis.status = found->status;
        break;
    }
    return diagnosis;
}
