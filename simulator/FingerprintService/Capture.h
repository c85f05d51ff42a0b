// The sensor as IdentifyEnroll sees it: scripted answers on one side, calls that wait for one on the other.
// Answer and call are matched in order the moment both are there, under one lock, so that a stop that comes
// after a finger never takes the finger away, nor the other way round.
#pragma once

#include "UserRecord.h"

#include <winerror.h>

#include <deque>
#include <string>

/// What IdentifyEnroll returns ...
constexpr long kIdentified = 0;
constexpr long kSensorBusy = 501;                             // ... while another program uses the sensor,
constexpr long kCaptureStopped = ERROR_CANCELLED;             // ... after CaptureStop,
constexpr long kServiceStopping = ERROR_SHUTDOWN_IN_PROGRESS; // ... when the service ends meanwhile.

struct CaptureAnswer {
    long code = kIdentified;
    UserRecord record = {};
    bool forever = false; ///< given again and again until another answer is scripted behind it
    std::wstring note;    ///< for the report
};

class Capture {
public:
    /// One IdentifyEnroll call; lives on its stack.
    class Ticket {
        friend Capture;
        bool m_answered = false;
        CaptureAnswer m_answer;
    };

    /// Joins the queue: from here on the call is blocked and can be stopped.
    void Enter(Ticket& ticket);
    CaptureAnswer Await(Ticket& ticket);

    void Script(const CaptureAnswer& answer, unsigned times = 1);
    /// Drops what is scripted, so that calls block.
    void Block();
    /// CaptureStop: ends the calls that block now, and has no effect on later ones.
    void Stop();
    void SetIgnoreStop(bool ignore);
    /// Ends the calls that block now and refuses all later ones.
    void Close();

    /// Ends the process without any clean-up if a call blocks now, else in the next call.
    void Die();
    /// `lastWords` runs right before that end.
    void OnDeath(void (*lastWords)());

    void Reset();
    std::wstring State() const;

private:
    [[noreturn]] void EndProcessNow() const;
    void Match();
    void AnswerAll(const CaptureAnswer& answer);

    mutable SRWLOCK m_lock = SRWLOCK_INIT;
    CONDITION_VARIABLE m_matched = CONDITION_VARIABLE_INIT;
    std::deque<CaptureAnswer> m_answers;
    std::deque<Ticket*> m_blocked;
    bool m_ignoreStop = false;
    bool m_dieAtNext = false;
    bool m_closed = false;
    void (*m_lastWords)() = nullptr;
};
