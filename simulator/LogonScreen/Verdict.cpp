#include "Verdict.h"
#include "Names.h"
#include "Text.h"

namespace {

/// Empty when the logons are what was asked for.
std::wstring ExpectationMissed(const Options& options, const std::vector<LogonOutcome>& logons)
{
    size_t cameOut = 0;
    for (const LogonOutcome& logon : logons) {
        if (!logon.cameOut)
            continue;
        ++cameOut;
        if (options.ExpectsNoLogon())
            return L"a logon of " + logon.account + L" came out where none was expected";
        if (options.expect.empty())
            continue;
        if (logon.account != options.expect)
            return L"the logon is that of " + logon.account + L", not of " + options.expect;
        if (!logon.Accepted())
            return L"the logon of " + logon.account + L" was refused: " + StatusName(logon.status);
    }
    if (cameOut == 0 && !options.expect.empty() && !options.ExpectsNoLogon())
        return L"no logon came out";
    return std::wstring();
}

} // namespace

ExitStatus Judge(const Options& options, const LifeResult& life, LONG violations, LONG leftBehind,
                 std::wstring& why)
{
    if (life.end == LifeResult::End::NotLoaded || life.end == LifeResult::End::NoTile) {
        why = life.end == LifeResult::End::NoTile ? L"the provider refused" : L"the DLL can't be loaded";
        return ExitStatus::NoTile;
    }
    if (life.end == LifeResult::End::TimeLimit) {
        why = L"the time limit came before the end condition";
        return ExitStatus::TimeLimit;
    }
    why = ExpectationMissed(options, life.logons);
    if (why.empty() && life.end == LifeResult::End::Closed)
        why = L"the logon screen was closed by hand";
    if (why.empty() && violations != 0)
        why = Format(L"%ld violation(s)", violations);
    if (!why.empty())
        return ExitStatus::OtherOutcome;
    if (leftBehind != 0) {
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
