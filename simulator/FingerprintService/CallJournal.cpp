#include "CallJournal.h"

#include "Guard.h"
#include "ServiceClient/ServiceControl.h"

CallJournal::Id CallJournal::Begin(int opnum, std::wstring arguments)
{
    long long arrived = ServiceClient::Now();
    Guard guard(m_lock);
    m_entries.push_back({opnum, std::move(arguments), arrived, 0, std::nullopt, {}});
    ++m_received[opnum];
    ++m_pending;
    WakeAllConditionVariable(&m_changed);
    return m_firstId + m_entries.size() - 1;
}

void CallJournal::End(Id id, std::optional<long> result, std::wstring note)
{
    Guard guard(m_lock);
    --m_pending;
    WakeAllConditionVariable(&m_changed);
    // A call that was under way while the journal was cleared is forgotten.
    if (id < m_firstId)
        return;
    Entry& entry = m_entries[id - m_firstId];
    entry.answered = ServiceClient::Now();
    entry.result = result;
    entry.note = std::move(note);
}

void CallJournal::Clear()
{
    Guard guard(m_lock);
    m_firstId += m_entries.size();
    m_entries.clear();
    m_received = {};
}

std::wstring CallJournal::Lines(size_t& count) const
{
    Guard guard(m_lock);
    std::wstring lines;
    for (const Entry& entry : m_entries) {
        lines += std::to_wstring(entry.arrived) + L' ' + std::to_wstring(entry.answered) + L' ' +
                 std::to_wstring(entry.opnum) + L' ';
        lines += kProcedures[entry.opnum].name;
        lines += L'(' + entry.arguments + L") = ";
        if (entry.answered == 0)
            lines += L"pending";
        else
            lines += entry.result ? std::to_wstring(*entry.result) : L"void";
        if (!entry.note.empty())
            lines += L' ' + entry.note;
        lines += L'\n';
    }
    count = m_entries.size();
    return lines;
}

unsigned CallJournal::WaitForCalls(int opnum, unsigned count, DWORD milliseconds)
{
    Guard guard(m_lock);
    guard.WaitFor(m_changed, milliseconds, [&] { return m_closed || m_received[opnum] >= count; });
    return m_received[opnum];
}

bool CallJournal::WaitForIdle(DWORD milliseconds)
{
    Guard guard(m_lock);
    return guard.WaitFor(m_changed, milliseconds, [&] { return m_pending == 0; });
}

void CallJournal::Close()
{
    Guard guard(m_lock);
    m_closed = true;
    WakeAllConditionVariable(&m_changed);
}
