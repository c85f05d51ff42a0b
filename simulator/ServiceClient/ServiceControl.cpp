#include "ServiceClient/ServiceControl.h"

#include "Text.h"
#include "base/Handle.h"

#include <cstdint>

namespace ServiceClient {
namespace {

constexpr DWORD RetryPause = 20;
constexpr size_t LongestFullHex = 16;

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
    call.arrived = wcstoll(Take(line, L" ").c_str(), nullptr, 10);
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
    call.note = line;
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

std::wstring QuotedText(const wchar_t* text)
{
    return text ? Quoted(text) : L"null";
}

std::wstring QuotedText(const char* text)
{
    const std::basic_string_view<unsigned char> bytes(reinterpret_cast<const unsigned char*>(text),
                                                      text ? strlen(text) : 0);
    return text ? Quoted(std::wstring(bytes.begin(), bytes.end())) : L"null";
}

std::wstring BytesText(const void* data, size_t size)
{
    if (!data)
        return L"null";
    const auto* const bytes = static_cast<const uint8_t*>(data);
    std::wstring text = Format(L"%Iu bytes ", size);
    uint64_t hash = 0xcbf29ce484222325;
    for (size_t i = 0; i < size; ++i) {
        hash = (hash ^ bytes[i]) * 0x100000001b3;
        if (size <= LongestFullHex)
            text += Format(L"%02x", bytes[i]);
    }
    return size <= LongestFullHex ? text : text + Format(L"fnv1a=%016I64x", hash);
}

} // namespace ServiceClient
