// One end of the control pipe. Every transfer ends in bounded time, or as soon as the owner is told to stop.
#pragma once

#include "base/Handle.h"

#include <optional>
#include <string>
#include <string_view>

namespace ServiceClient {

struct PipeHandlePolicy {
    using Type = HANDLE;
    static Type Invalid() { return INVALID_HANDLE_VALUE; }
    static void Close(Type handle) { CloseHandle(handle); }
};
using PipeHandle = UniqueResource<PipeHandlePolicy>;

/// The service listens here; a request is one line, the reply is all that follows until the service closes.
constexpr wchar_t kControlPipeName[] = L"\\\\.\\pipe\\VexaFPServiceControl";

class PipeConnection {
public:
    /// The pipe was opened for overlapped transfers. `stop` is an event that the caller owns, or null.
    PipeConnection(PipeHandle pipe, HANDLE stop);

    /// The line without its end; nothing when it does not come in time or is longer than any command.
    std::optional<std::string> ReadLine(DWORD milliseconds);
    /// All text until the other end closes; nothing when it does not close in time.
    std::optional<std::string> ReadToEnd(DWORD milliseconds);
    bool Write(std::string_view text, DWORD milliseconds);

private:
    enum class Outcome { Done, Closed, Failed };
    Outcome Receive(ULONGLONG deadline, std::string& received);
    Outcome Finish(bool started, OVERLAPPED& overlapped, ULONGLONG deadline, DWORD& count);

    PipeHandle m_pipe;
    HANDLE m_stop;
    KernelHandle m_done;
};

/// What is left until a moment of GetTickCount64, as a wait's argument.
DWORD Remaining(ULONGLONG deadline);

} // namespace ServiceClient
