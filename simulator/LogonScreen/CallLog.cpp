#include "CallLog.h"
#include "Names.h"

#include <utility>

std::wstring CallLog::Current()
{
    CriticalSectionScope scope(m_lock);
    return m_current;
}

void CallLog::SetCurrent(const std::wstring& name)
{
    CriticalSectionScope scope(m_lock);
    m_current = name;
}

Call::Call(CallLog& log, std::wstring name) : m_log(log), m_name(std::move(name))
{
    m_log.SetCurrent(m_name);
    m_entered = m_log.m_transcript.ElapsedMs();
}

Call::~Call()
{
    m_log.SetCurrent(std::wstring());
}

HRESULT Call::Took(HRESULT result)
{
    m_took = m_log.m_transcript.ElapsedMs() - m_entered;
    return result;
}

HRESULT Call::Returned(HRESULT result, const std::wstring& details)
{
    const std::wstring name = HresultName(result);
    ReturnedText(details.empty() ? name : name + L", " + details);
    return result;
}

void Call::ReturnedText(const std::wstring& result)
{
    if (m_took < 0)
        Took(S_OK);
    if (m_log.m_news)
        m_log.m_news();
    m_log.m_transcript.Line(L"call", L"%s = %s  [%.1f ms]", m_name.c_str(), result.c_str(), m_took);
}
