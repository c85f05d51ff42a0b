// The record of a run that a person can read and a script can wait on: one line per happening, in UTF-8, on
// the standard output and, if asked for, in a file as well. Calls into the provider go through it.
#pragma once

#include "Text.h"
#include "base/CriticalSection.h"
#include "base/Handle.h"
#include "ServiceClient/ServiceControl.h"

#include <functional>
#include <string>
#include <utility>

/// What a run found fault with.
struct Findings {
    LONG violations = 0; ///< of the rules of the interfaces, or of the packed logon
    LONG leftBehind = 0; ///< by the provider, when it should have been gone
};

/// Of ServiceClient::Now().
constexpr double UnitsPerMs = 10000;

class Transcript {
public:
    /// False, with the last error set, when the file can't be written.
    bool AlsoInto(const std::wstring& path);
    /// Called before a call's line is written, for what happened during the call.
    void SetNews(std::function<void()> news) { m_news = std::move(news); }

    /// "   12.3 ms  <kind> <text>": every line leaves at once and whole. Called from any thread.
    void Line(const wchar_t* kind, const wchar_t* format, ...);
    void Violation(const std::wstring& text);
    void LeftBehind(const std::wstring& text);
    const Findings& Found() const { return m_findings; }

    double ElapsedMs() const { return static_cast<double>(ServiceClient::Now() - m_start) / UnitsPerMs; }

    /// Makes a call that is known by name while it runs, and writes it with duration and what `text` makes of
    /// its result. The time it takes to gather that text is not the call's.
    template <class Function, class Text>
    auto Call(const std::wstring& name, Function call, Text text)
    {
        const double entered = Enter(name);
        const auto result = call();
        const double took = ElapsedMs() - entered;
        Leave(name, text(result), took);
        return result;
    }
    /// The same for a method of COM: its HRESULT, and details of what it gave out.
    template <class Function>
    HRESULT Ask(
        const std::wstring& name, Function call,
        const std::function<std::wstring()>& details = [] { return std::wstring(); })
    {
        return Call(name, call, [&](HRESULT result) { return ResultText(result, details()); });
    }
    /// Gives up a reference; writes how many are left.
    template <class Interface>
    void Release(const wchar_t* name, Interface* reference)
    {
        Call(
            Format(L"%s::Release()", name), [&] { return reference->Release(); },
            [](ULONG left) { return Format(L"%ld", static_cast<long>(left)); });
    }

    /// The call that has not returned yet; empty between calls. From any thread.
    std::wstring Current();

private:
    double Enter(const std::wstring& name);
    void Leave(const std::wstring& name, const std::wstring& result, double took);
    static std::wstring ResultText(HRESULT result, const std::wstring& details);

    CriticalSection m_lock;
    KernelHandle m_file;
    const long long m_start = ServiceClient::Now();
    std::function<void()> m_news;
    std::wstring m_current;
    Findings m_findings;
};
