#include "ServiceClient/PipeConnection.h"

#include <algorithm>

namespace ServiceClient {
namespace {

constexpr size_t kLongestLine = 65536;

} // namespace

DWORD Remaining(ULONGLONG deadline)
{
    ULONGLONG now = GetTickCount64();
    return now < deadline ? static_cast<DWORD>(deadline - now) : 0;
}

PipeConnection::PipeConnection(PipeHandle pipe, HANDLE stop)
    : m_pipe(std::move(pipe)), m_stop(stop), m_done(CreateEventW(nullptr, TRUE, FALSE, nullptr))
{
}

PipeConnection::Outcome PipeConnection::Finish(bool started, OVERLAPPED& overlapped, ULONGLONG deadline,
                                               DWORD& count)
{
    if (!started && GetLastError() == ERROR_IO_PENDING) {
        HANDLE events[] = {m_done.Get(), m_stop};
        if (WaitForMultipleObjects(m_stop ? 2 : 1, events, FALSE, Remaining(deadline)) != WAIT_OBJECT_0)
            CancelIoEx(m_pipe.Get(), &overlapped);
    } else if (!started) {
        return Outcome::Closed;
    }
    // Waits for a cancelled transfer too: the system owns buffer and OVERLAPPED until it is over.
    if (GetOverlappedResult(m_pipe.Get(), &overlapped, &count, TRUE))
        return Outcome::Done;
    return GetLastError() == ERROR_OPERATION_ABORTED ? Outcome::Failed : Outcome::Closed;
}

PipeConnection::Outcome PipeConnection::Receive(ULONGLONG deadline, std::string& received)
{
    char buffer[4096];
    DWORD count = 0;
    OVERLAPPED overlapped = {};
    overlapped.hEvent = m_done.Get();
    bool started = ReadFile(m_pipe.Get(), buffer, sizeof(buffer), nullptr, &overlapped);
    Outcome outcome = Finish(started, overlapped, deadline, count);
    if (outcome == Outcome::Done)
        received.append(buffer, count);
    return outcome;
}

std::optional<std::string> PipeConnection::ReadLine(DWORD milliseconds)
{
    ULONGLONG deadline = GetTickCount64() + milliseconds;
    std::string text;
    while (text.size() <= kLongestLine) {
        size_t end = text.find('\n');
        if (end != std::string::npos) {
            text.resize(end);
            if (!text.empty() && text.back() == '\r')
                text.pop_back();
            return text;
        }
        if (Receive(deadline, text) != Outcome::Done)
            return std::nullopt;
    }
    return std::nullopt;
}

std::optional<std::string> PipeConnection::ReadToEnd(DWORD milliseconds)
{
    ULONGLONG deadline = GetTickCount64() + milliseconds;
    std::string text;
    Outcome outcome;
    do
        outcome = Receive(deadline, text);
    while (outcome == Outcome::Done);
    if (outcome != Outcome::Closed)
        return std::nullopt;
    return text;
}

bool PipeConnection::Write(std::string_view text, DWORD milliseconds)
{
    ULONGLONG deadline = GetTickCount64() + milliseconds;
    while (!text.empty()) {
        OVERLAPPED overlapped = {};
        overlapped.hEvent = m_done.Get();
        DWORD count = static_cast<DWORD>(std::min<size_t>(text.size(), 4096));
        bool started = WriteFile(m_pipe.Get(), text.data(), count, nullptr, &overlapped);
        if (Finish(started, overlapped, deadline, count) != Outcome::Done)
            return false;
        text.remove_prefix(count);
    }
    return true;
}

} // namespace ServiceClient
