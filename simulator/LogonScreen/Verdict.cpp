#include "Verdict.h"
#include "Names.h"

namespace {

/// Empty when the logons are what was asked for.
std::wstring ExpectationMissed(const Options& options, const std::vector<LogonOutcome>& logons)
{
    const LogonOutcome* accepted = nullptr;
    for (const LogonOutcome& logon : logons)
        if (logon.Accepted())
            accepted = &logon;
    if (accepted != nullptr && options.ExpectsNoLogon())
        return L"a logon of " + accepted->account + L" was accepted where none was expected";
    if (accepted != nullptr && !options.expect.empty() && accepted->account != options.expect)
        return L"the logon is that of " + accepted->account + L", not of " + options.expect;
    // A refused logon leaves the screen up, so it is no matter as long as another one follows.
    const bool wanted = options.expect.empty() ? options.untilPrompt.empty() : !options.ExpectsNoLogon();
    if (accepted != nullptr || !wanted)
        return std::wstring();
    if (logons.empty() || !logons.back().cameOut)
        return L"no logon came out";
    return L"the logon of " + logons.back().account + L" was refused: " + StatusName(logons.back().status);
}

} // namespace

ExitStatus Judge(const Options& options, const LifeResult& life, const Findings& found, std::wstring& why)
{
    using End = LifeResult::End;
    if (life.end == End::NotLoaded || life.end == End::NoTile) {
        why = life.end == End::NoTile ? L"the provider refused" : L"the DLL can't be loaded";
        return ExitStatus::NoTile;
    }
    why = ExpectationMissed(options, life.logons);
    // Where no logon is expected, and no prompt, there is nothing but the time limit.
    const bool inTime =
        life.end != End::TimeLimit || (options.ExpectsNoLogon() && options.untilPrompt.empty());
    if (!inTime && (why.empty() || life.logons.empty())) {
        why = L"the time limit came before what was to end the life";
        return ExitStatus::TimeLimit;
    }
    if (why.empty() && life.end == End::Closed)
        why = L"the logon screen was closed by hand";
    if (why.empty() && found.violations != 0)
        why = Format(L"%ld violation(s)", found.violations);
    if (!why.empty())
        return ExitStatus::OtherOutcome;
    if (found.leftBehind != 0) {
        why = L"something of the provider was left behind";
        return ExitStatus::LeftBehind;
    }
    return ExitStatus::Expected;
}

const wchar_t* ExitText(ExitStatus status)
{
    static const wchar_t* const texts[] = {
        L"expected outcome", L"another outcome", L"bad command line", L"no tile",
        L"time limit",       L"left behind",     L"crashed",
    };
    return texts[static_cast<int>(status)];
}
