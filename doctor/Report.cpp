#include "Doctor.h"
#include "Text.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace {

struct OutcomeText {
    const wchar_t* mark;
    const char* word;
};

/// In the order of Outcome.
constexpr OutcomeText OutcomeTexts[] = {
    {L"ok  ", "pass"},    {L"    ", "note"},    {L"*   ", "warning"}, {L"!   ", "attention"},
    {L"?   ", "unknown"}, {L"NO  ", "refusal"}, {L"-   ", "skipped"},
};

const OutcomeText& TextOf(Outcome outcome)
{
    return OutcomeTexts[static_cast<size_t>(outcome)];
}

std::string ResultText(const StatusInfo& info)
{
    return ToUtf8(Format(L"0x%08lX", static_cast<unsigned long>(info.result)));
}

/// The titles of the findings with that outcome, without the one that decides.
std::wstring Titles(const Diagnosis& diagnosis, Outcome outcome)
{
    std::wstring titles;
    for (size_t index = 0; index < diagnosis.findings.size(); ++index) {
        if (diagnosis.findings[index].outcome == outcome && diagnosis.decisive != index)
            titles += (titles.empty() ? L"" : L", ") + std::wstring(AllChecks()[index].title);
    }
    return titles;
}

std::wstring Conclusion(const Diagnosis& diagnosis)
{
    const StatusInfo& info = Describe(diagnosis.status);
    const auto blocks = std::ranges::count(diagnosis.findings, Outcome::Attention, &Finding::outcome);
    std::wstring text = L"A tile would be offered";
    if (diagnosis.decisive) {
        const Finding& finding = diagnosis.findings[*diagnosis.decisive];
        text = std::wstring(finding.outcome == Outcome::Refusal ? L"No tile: " : L"") + info.meaning;
        if (FAILED(info.result))
            text += L" (the logon screen is told " + FromUtf8(ResultText(info)) + L")";
        text += L".\nWhat to do: " + finding.advice + (blocks > 0 ? L"\nWith a tile" : L"\n");
    }
    if (blocks > 0)
        text +=
            Format(L", %s%d thing%s, a logon from succeeding: ", diagnosis.decisive ? L"" : L"but ",
                   static_cast<int>(blocks), blocks == 1 ? L" keeps, or may keep" : L"s keep, or may keep") +
            Titles(diagnosis, Outcome::Attention) + L".\n";
    else if (!diagnosis.decisive)
        text += L", and nothing was found that keeps a logon from succeeding.\n";
    if (const std::wstring titles = Titles(diagnosis, Outcome::Unknown); !titles.empty())
        text += L"Can't be told: " + titles + L".\n";
    if (const std::wstring titles = Titles(diagnosis, Outcome::Warning); !titles.empty())
        text += L"Not as it should be: " + titles + L".\n";
    return text;
}

} // namespace

std::wstring AsText(const Diagnosis& diagnosis)
{
    std::wstring text = L"Doctor " DOCTOR_VERSION L" on " + diagnosis.computer +
                        (diagnosis.elevated ? L", run as administrator\n\n"
                                            : L", not run as administrator: not everything can be told\n\n");
    for (size_t index = 0; index < diagnosis.findings.size(); ++index) {
        const Finding& finding = diagnosis.findings[index];
        const bool decisive = diagnosis.decisive == index;
        text += std::wstring(TextOf(finding.outcome).mark) + Format(L"%-20s ", AllChecks()[index].title) +
                finding.text + (decisive ? L"   <== here\n" : L"\n");
        if (!decisive && !finding.advice.empty())
            text += std::wstring(25, L' ') + finding.advice + L"\n";
    }
    return text + L"\n" + Conclusion(diagnosis);
}

std::wstring AsJson(const Diagnosis& diagnosis)
{
    const StatusInfo& info = Describe(diagnosis.status);
    const bool unknown =
        diagnosis.decisive && diagnosis.findings[*diagnosis.decisive].outcome == Outcome::Unknown;
    nlohmann::ordered_json json = {
        {"version", ToUtf8(DOCTOR_VERSION)},
        {"computer", ToUtf8(diagnosis.computer)},
        {"elevated", diagnosis.elevated},
        {"verdict", !diagnosis.decisive ? "offered"
                    : unknown           ? "unknown"
                                        : "refused"},
        {"status", static_cast<int>(info.status)},
        {"reason", ToUtf8(info.key)},
        {"hresult", nullptr},
        {"attention", std::ranges::count(diagnosis.findings, Outcome::Attention, &Finding::outcome)},
        {"warnings", std::ranges::count(diagnosis.findings, Outcome::Warning, &Finding::outcome)},
        {"checks", nlohmann::ordered_json::array()},
    };
    if (FAILED(info.result))
        json["hresult"] = ResultText(info);
    for (size_t index = 0; index < diagnosis.findings.size(); ++index) {
        const Finding& finding = diagnosis.findings[index];
        json["checks"].push_back({{"check", ToUtf8(AllChecks()[index].key)},
                                  {"outcome", TextOf(finding.outcome).word},
                                  {"text", ToUtf8(finding.text)},
                                  {"advice", ToUtf8(finding.advice)}});
    }
    return FromUtf8(json.dump()) + L"\n";
}
