#include "ServiceState.h"

#include "ServiceClient/ServiceControl.h"

#include <algorithm>
#include <numeric>

namespace {

constexpr long SensorEnabled = 1;

SRWLOCK g_lock = SRWLOCK_INIT;
CONDITION_VARIABLE g_changed = CONDITION_VARIABLE_INIT;

} // namespace

ScriptedState::ScriptedState()
    : enrolled{*MakeRecord(L"DOMAIN", L"enrolled-user", L"enrolled-password")}, backup(16)
{
    std::iota(backup.begin(), backup.end(), BYTE{0xB0});
    results[FindProcedure(L"IsPbaEnable").value()] = SensorEnabled;
}

std::shared_ptr<JournalEntry> ServiceState::Begin(int opnum, std::wstring arguments)
{
    ++callsUnderWay;
    return calls.emplace_back(
        std::make_shared<JournalEntry>(opnum, std::move(arguments), ServiceClient::Now()));
}

void ServiceState::End(JournalEntry& entry)
{
    --callsUnderWay;
    entry.answered = ServiceClient::Now();
}

size_t ServiceState::Received(int opnum) const
{
    return std::ranges::count_if(calls, [=](const auto& call) { return call->opnum == opnum; });
}

void ServiceState::MatchAnswers()
{
    while (!script.answers.empty() && !blocked.empty()) {
        const CaptureAnswer& answer = script.answers.front();
        if (answer.forever && script.answers.size() > 1) {
            script.answers.pop_front();
            continue;
        }
        *blocked.front() = answer;
        blocked.pop_front();
        if (!answer.forever)
            script.answers.pop_front();
    }
}

void ServiceState::AnswerBlocked(long code)
{
    for (std::optional<CaptureAnswer>* answer : blocked)
        answer->emplace().code = code;
    blocked.clear();
}

void Die()
{
    TerminateProcess(GetCurrentProcess(), ERROR_PROCESS_ABORTED);
    // Termination of the own process may be carried out a moment later; nothing may be answered until then.
    while (true)
        Sleep(INFINITE);
}

Locked::Locked()
{
    AcquireSRWLockExclusive(&g_lock);
}

Locked::~Locked()
{
    ReleaseSRWLockExclusive(&g_lock);
    WakeOthers();
}

ServiceState* Locked::operator->() const
{
    static ServiceState& state = *new ServiceState;
    return &state;
}

void Locked::WakeOthers()
{
    WakeAllConditionVariable(&g_changed);
}

void Locked::SleepUntilChange(DWORD milliseconds)
{
    SleepConditionVariableSRW(&g_changed, &g_lock, milliseconds, 0);
}

void WaitForQuit()
{
    Locked state;
    state.Wait([&] { return state->quit; });
}
