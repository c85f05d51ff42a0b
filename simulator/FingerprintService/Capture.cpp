#include "Capture.h"

#include "Guard.h"

void Capture::EndProcessNow() const
{
    if (m_lastWords)
        m_lastWords();
    TerminateProcess(GetCurrentProcess(), ERROR_PROCESS_ABORTED);
    // Termination of the own process may be carried out a moment later; nothing may be answered until then.
    while (true)
        Sleep(INFINITE);
}

void Capture::Enter(Ticket& ticket)
{
    Guard guard(m_lock);
    if (m_dieAtNext)
        EndProcessNow();
    m_blocked.push_back(&ticket);
    if (m_closed)
        AnswerAll({kServiceStopping, {}, false, {}});
    else
        Match();
}

CaptureAnswer Capture::Await(Ticket& ticket)
{
    Guard guard(m_lock);
    while (!ticket.m_answered)
        guard.Wait(m_matched);
    return ticket.m_answer;
}

void Capture::Match()
{
    while (!m_answers.empty() && !m_blocked.empty()) {
        CaptureAnswer& answer = m_answers.front();
        if (answer.forever && m_answers.size() > 1) {
            m_answers.pop_front();
            continue;
        }
        m_blocked.front()->m_answer = answer;
        m_blocked.front()->m_answered = true;
        m_blocked.pop_front();
        if (!answer.forever)
            m_answers.pop_front();
    }
    WakeAllConditionVariable(&m_matched);
}

void Capture::AnswerAll(const CaptureAnswer& answer)
{
    for (Ticket* ticket : m_blocked) {
        ticket->m_answer = answer;
        ticket->m_answered = true;
    }
    m_blocked.clear();
    WakeAllConditionVariable(&m_matched);
}

void Capture::Script(const CaptureAnswer& answer, unsigned times)
{
    Guard guard(m_lock);
    m_answers.insert(m_answers.end(), times, answer);
    Match();
}

void Capture::Block()
{
    Guard guard(m_lock);
    m_answers.clear();
    m_dieAtNext = false;
}

void Capture::Stop()
{
    Guard guard(m_lock);
    if (!m_ignoreStop)
        AnswerAll({kCaptureStopped, {}, false, {}});
}

void Capture::SetIgnoreStop(bool ignore)
{
    Guard guard(m_lock);
    m_ignoreStop = ignore;
}

void Capture::Close()
{
    Guard guard(m_lock);
    m_closed = true;
    AnswerAll({kServiceStopping, {}, false, {}});
}

void Capture::Die()
{
    Guard guard(m_lock);
    if (!m_blocked.empty())
        EndProcessNow();
    m_dieAtNext = true;
}

void Capture::OnDeath(void (*lastWords)())
{
    Guard guard(m_lock);
    m_lastWords = lastWords;
}

void Capture::Reset()
{
    Guard guard(m_lock);
    m_answers.clear();
    m_dieAtNext = false;
    m_ignoreStop = false;
}

std::wstring Capture::State() const
{
    Guard guard(m_lock);
    std::wstring text = L"blocked " + std::to_wstring(m_blocked.size());
    text += m_ignoreStop ? L"\nignore-stop on" : L"\nignore-stop off";
    text += m_dieAtNext ? L"\ndie at the next IdentifyEnroll\n" : L"\n";
    for (const CaptureAnswer& answer : m_answers) {
        text += L"queued " + std::to_wstring(answer.code) + (answer.forever ? L" forever" : L"");
        text += (answer.note.empty() ? L"" : L" " + answer.note) + L"\n";
    }
    return text;
}
