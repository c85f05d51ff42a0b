#include "ServiceClient/ServiceControl.h"

#include "Text.h"
#include "base/Handle.h"

namespace ServiceClient {
namespace {

constexpr DWORD RetryPause = 20;

KernelHandle Open(DWORD patience)
{
    const ULONGLONG deadline = GetTickCount64() + patience;
    while (true) {
        const HANDLE pipe =
            CreateFileW(ControlPipeName, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr);
        if (pipe != INVALID_HANDLE_VALUE)
            return KernelHandle(pipe);
        // Absent while the service starts, busy for the moment between two clients: both pass.
        if (GetTickCount64() >= deadline)
            return {};
        Sleep(RetryPause);
    }
}

/// Takes the text up to `separator` off the front.
std::wstring Take(std::wstring_view& text, std::wstring_view separator)
{
    const size_t end = text.find(separator);
    std::wstring taken(text.substr(0, end));
    text.remove_prefix(end == std::wstring_view::npos ? text.size() : end + separator.size());
    return taken;
}

ReportedCall ParseCall(std::wstring_view line)
{
    ReportedCall call;
    Take(line, L" "); // when it came in
    call.answered = wcstoll(Take(line, L" ").c_str(), nullptr, 10);
    call.opnum = static_cast<int>(wcstol(Take(line, L" ").c_str(), nullptr, 10));
    call.name = Take(line, L"(");
    // A string argument may look like the end of the list. Only a call without arguments has a note, which
    // may do so too.
    constexpr std::wstring_view end = L") = ";
    if (const size_t arguments = line.starts_with(end) ? 0 : line.rfind(end);
        arguments != std::wstring_view::npos) {
        call.arguments = line.substr(0, arguments);
        line.remove_prefix(arguments + end.size());
    }
    call.result = Take(line, L" ");
    return call;
}

} // namespace

std::optional<std::wstring> Tell(std::wstring_view command, DWORD patience)
{
    const KernelHandle pipe = Open(patience);
    const std::string request = ToUtf8(command);
    DWORD count = 0;
    // Once the request is out it may have been carried out, so it is not sent a second time.
    if (!pipe || !WriteFile(pipe.Get(), request.data(), static_cast<DWORD>(request.size()), &count, nullptr))
        return std::nullopt;
    std::string reply;
    char part[4096];
    while (ReadFile(pipe.Get(), part, sizeof(part), &count, nullptr))
        reply.append(part, count);
    if (reply.empty())
        return std::nullopt;
    return FromUtf8(reply);
}

bool IsOk(std::wstring_view reply)
{
    return reply.starts_with(L"ok ") || reply.starts_with(L"ok\n");
}

bool TellOk(std::wstring_view command, DWORD patience)
{
    const std::optional<std::wstring> reply = Tell(command, patience);
    return reply && IsOk(*reply);
}

std::optional<std::vector<ReportedCall>> Report(DWORD patience)
{
    const std::optional<std::wstring> reply = Tell(L"report", patience);
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
    constexpr long long unitsPerSecond = 10'000'000;
    LARGE_INTEGER frequency;
    LARGE_INTEGER counter;
    QueryPerformanceFrequency(&frequency);
    QueryPerformanceCounter(&counter);
    const long long seconds = counter.QuadPart / frequency.QuadPart;
    const long long rest = counter.QuadPart % frequency.QuadPart;
    return seconds * unitsPerSecond + rest * unitsPerSecond / frequency.QuadPart;
}

} // namespace ServiceClient
