#include "ServiceState.h"

#include "ServiceClient/ServiceControl.h"

#include <algorithm>
#include <numeric>

[[clang::no_destroy]] ServiceState g_state;

ScriptedState::ScriptedState()
    : enrolled{*MakeRecord(L"DOMAIN", L"enrolled-user", L"enrolled-password")}, backup(16)
{
    std::iota(backup.begin(), backup.end(), BYTE{0xB0});
    results[FindProcedure(L"IsPbaEnable").value()] = 1; // there is a sensor, and it is enabled
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

void WaitForQuit()
{
    Locked state;
    state.Wait([&] { return state->quit; });
}
