#include "ServiceClient/ServiceControl.h"

#include "ServiceClient/PipeConnection.h"
#include "Text.h"

#include <algorithm>

namespace ServiceClient {
namespace {

constexpr DWORD kRetryPause = 20;
constexpr DWORD kRequestLimit = 5000;
/// Longer than the longest `wait` that the service grants.
constexpr DWORD kReplyLimit = 630 * 1000;

PipeHandle Open(ULONGLONG deadline)
{
    while (true) {
        PipeHandle pipe(CreateFileW(kControlPipeName, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                    FILE_FLAG_OVERLAPPED, nullptr));
        if (pipe || Remaining(deadline) == 0)
            return pipe;
        // Busy for the moment between two clients, absent while the service starts: both pass.
        Sleep(std::min(kRetryPause, Remaining(deadline)));
    }
}

/// Takes the text up to `separator` off the front.
std::wstring Take(std::wstring_view& text, std::wstring_view separator)
{
    size_t end = text.find(separator);
    std::wstring taken(text.substr(0, end));
    text.remove_prefix(end == std::wstring_view::npos ? text.size() : end + separator.size());
    return taken;
}

ReportedCall ParseCall(std::wstring_view line)
{
    ReportedCall call;
    call.arrived = wcstoll(Take(line, L" ").c_str(), nullptr, 10);
    call.answered = wcstoll(Take(line, L" ").c_str(), nullptr, 10);
    call.opnum = static_cast<int>(wcstol(Take(line, L" ").c_str(), nullptr, 10));
    call.name = Take(line, L"(");
    // A string argument may look like the end of the list. Only a call without arguments has a note, which
    // may do so too.
    constexpr std::wstring_view kEnd = L") = ";
    size_t end = line.starts_with(kEnd) ? 0 : line.rfind(kEnd);
    call.arguments = line.substr(0, end);
    line.remove_prefix(std::min(line.size(), end + kEnd.size()));
    call.result = Take(line, L" ");
    call.note = line;
    return call;
}

} // namespace

std::optional<std::wstring> Tell(std::wstring_view command, DWORD patience)
{
    ULONGLONG deadline = GetTickCount64() + patience;
    std::string request = ToUtf8(command) + '\n';
    do {
        PipeHandle pipe = Open(deadline);
        if (!pipe)
            return std::nullopt;
        PipeConnection connection(std::move(pipe), nullptr);
        // Once the request is out it may have been carried out, so it is not sent a second time.
        if (connection.Write(request, kRequestLimit)) {
            std::optional<std::string> reply = connection.ReadToEnd(kReplyLimit);
            if (!reply || reply->empty())
                return std::nullopt;
            return FromUtf8(*reply);
        }
    } while (Remaining(deadline) > 0);
    return std::nullopt;
}

bool IsOk(std::wstring_view reply)
{
    return reply.starts_with(L"ok") && (reply.size() == 2 || reply[2] == L' ' || reply[2] == L'\n');
}

bool TellOk(std::wstring_view command, DWORD patience)
{
    std::optional<std::wstring> reply = Tell(command, patience);
    return reply && IsOk(*reply);
}

std::optional<std::vector<ReportedCall>> Report(DWORD patience)
{
    std::optional<std::wstring> reply = Tell(L"report", patience);
    if (!reply || !IsOk(*reply))
        return std::nullopt;
    std::vector<ReportedCall> calls;
    std::wstring_view rest = *reply;
    Take(rest, L"\n");
    while (!rest.empty())
        calls.push_back(ParseCall(Take(rest, L"\n")));
    return calls;
}

long long Now()
{
    constexpr long long kUnitsPerSecond = 10'000'000;
    LARGE_INTEGER frequency;
    LARGE_INTEGER counter;
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&counter);
    long long seconds = counter.QuadPart / frequency.QuadPart;
    long long rest = counter.QuadPart % frequency.QuadPart;
    return seconds * kUnitsPerSecond + rest * kUnitsPerSecond / frequency.QuadPart;
}

} // namespace ServiceClient
