// Calls into the provider: each is known by name while it runs and written with result and duration after it.
#pragma once

#include "Text.h"
#include "Transcript.h"

#include <functional>

class CallLog {
public:
    explicit CallLog(Transcript& transcript) : m_transcript(transcript) {}

    Transcript& Lines() { return m_transcript; }

    /// Called before a call's line is written, for what happened during the call.
    void SetNews(std::function<void()> news) { m_news = std::move(news); }

    /// The call that has not returned yet; empty between calls. Asked for by the watchdog, from its own
    /// thread.
    std::wstring Current();

private:
    friend class Call;
    void SetCurrent(const std::wstring& name);

    Transcript& m_transcript;
    std::function<void()> m_news;
    CriticalSection m_lock;
    std::wstring m_current;
};

class Call {
public:
    Call(CallLog& log, std::wstring name);
    ~Call();
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    /// Writes "<name> = <HRESULT>, <details>" and gives the result back.
    HRESULT Returned(HRESULT result, const std::wstring& details = std::wstring());
    /// For calls that answer something else than an HRESULT.
    void ReturnedText(const std::wstring& result);

    /// To be taken right behind the call: what is gathered for the line afterwards is not the provider's
    /// time.
    HRESULT Took(HRESULT result);

private:
    CallLog& m_log;
    std::wstring m_name;
    double m_entered;
    double m_took = -1;
};

/// Calls Release on a reference given up by its owner; writes and returns the count that is left.
template <class Interface>
ULONG LoggedRelease(CallLog& log, const wchar_t* name, Interface* reference)
{
    Call call(log, Format(L"%s::Release()", name));
    const ULONG left = reference->Release();
    call.ReturnedText(Format(L"%ld", static_cast<long>(left)));
    return left;
}
