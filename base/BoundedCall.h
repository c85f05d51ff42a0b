// Calls that may not come back: made on a thread of their own, and waited for only so long.
#pragma once

#include "ModuleThread.h"

#include <new>
#include <optional>

/// What Call() answered within `timeout` ms, or nothing when it has yet to come back. A late call is left to
/// itself: its thread holds the module, and what it answers is dropped. Where no thread can be had, the call
/// is made on this one.
template <auto Call>
auto CallWithin(DWORD timeout) -> std::optional<decltype(Call())>
{
    using Result = decltype(Call());
    struct Meeting {
        SRWLOCK lock = SRWLOCK_INIT;
        CONDITION_VARIABLE answered = CONDITION_VARIABLE_INIT;
        LONG sides = 2; // the caller and the thread; the last one out deletes this
        std::optional<Result> result;

        void Leave()
        {
            if (InterlockedDecrement(&sides) == 0)
                delete this;
        }
        static DWORD Answer(void* argument)
        {
            auto* const meeting = static_cast<Meeting*>(argument);
            const Result result = Call();
            AcquireSRWLockExclusive(&meeting->lock);
            meeting->result = result;
            ReleaseSRWLockExclusive(&meeting->lock);
            WakeAllConditionVariable(&meeting->answered);
            meeting->Leave();
            return 0;
        }
        std::optional<Result> Await(DWORD timeout)
        {
            const ULONGLONG end = GetTickCount64() + timeout;
            AcquireSRWLockExclusive(&lock);
            for (ULONGLONG now = GetTickCount64(); !result && now < end; now = GetTickCount64())
                SleepConditionVariableSRW(&answered, &lock, static_cast<DWORD>(end - now), 0);
            const std::optional<Result> answer = result;
            ReleaseSRWLockExclusive(&lock);
            Leave();
            return answer;
        }
    };

    auto* const meeting = new (std::nothrow) Meeting;
    if (meeting == nullptr)
        return Call();
    if (!ModuleThread::Start<&Meeting::Answer>(meeting)) {
        delete meeting;
        return Call();
    }
    return meeting->Await(timeout);
}
