#include "Report.h"

#include "Text.h"

namespace {

struct OutcomeText {
    Outcome outcome;
    const wchar_t* mark;
    const wchar_t* word;
};

// clang-format off
constexpr OutcomeText OutcomeTexts[] = {
    {Outcome::Pass,      L"ok  ", L"pass"},
    {Outcome::Note,      L"    ", L"note"},
    {Outcome::Attention, L"!   ", L"attention"},
    {Outcome::Unknown,   L"?   ", L"unknown"},
    {Outcome::Refusal,   L"NO  ", L"refusal"},
    {Outcome::Skipped,   L"-   ", L"skipped"},
};
// clang-format on

const OutcomeText& TextOf(Outcome outcome)
{
    const OutcomeText* entry = OutcomeTexts;
    while (entry->outcome != outcome)
        ++entry;
    return *entry;
}

const wchar_t* Verdict(const Diagnosis& diagnosis)
{
    if (!diagnosis.decisive)
        return L"offered";
    return diagnosis.findings[*diagnosis.decisive].outcome == Outcome::Unknown ? L"unknown" : L"refused";
}

std::wstring Quoted(const std::wstring& text)
{
    std::wstring quoted = L"\"";
    for (const wchar_t unit : text) {
        if (unit == L'"' || unit == L'\\')
            quoted += L'\\';
        // What is no whole character would not survive the way into UTF-8.
        if (unit < L' ' || (unit >= 0xD800 && unit < 0xE000))
            quoted += Format(L"\\u%04x", unsigned{unit});
        else
            quoted += unit;
    }
    return quoted + L"\"";
}

std::wstring Member(const wchar_t* key, const std::wstring& text)
{
    return Quoted(key) + L":" + Quoted(text);
}

std::wstring Hresult(Status status)
{
    return Format(L"0x%08lX", static_cast<unsigned long>(Describe(status).result));
}

std::wstring Conclusion(const Diagnosis& diagnosis)
{
    const StatusInfo& info = Describe(diagnosis.status);
    if (!diagnosis.decisive)
        return L"A tile would be offered.\n";
    const Finding& finding = diagnosis.findings[*diagnosis.decisive];
    const bool refused = finding.outcome == Outcome::Refusal;
    std::wstring text = std::wstring(refused ? L"No tile: " : L"") + info.meaning;
    if (FAILED(info.result))
        text += L" (the logon screen is told " + Hresult(diagnosis.status) + L")";
    return text + L".\nWhat to do: " + finding.advice + L"\n";
}

} // namespace

std::wstring AsText(const Diagnosis& diagnosis)
{
    std::wstring text;
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
    std::wstring json = L"{" + Member(L"verdict", Verdict(diagnosis)) +
                        Format(L",\"status\":%d,", static_cast<int>(info.status)) +
                        Member(L"reason", info.key) + L",\"hresult\":" +
                        (FAILED(info.result) ? Quoted(Hresult(info.status)) : L"null") + L",\"checks\":[";
    for (size_t index = 0; index < diagnosis.findings.size(); ++index) {
        const Finding& finding = diagnosis.findings[index];
        json += (index == 0 ? L"{" : L",{") + Member(L"check", AllChecks()[index].key) + L"," +
                Member(L"outcome", TextOf(finding.outcome).word) + L"," + Member(L"text", finding.text) +
                L"," + Member(L"advice", finding.advice) + L"}";
    }
    return json + L"]}\n";
}
