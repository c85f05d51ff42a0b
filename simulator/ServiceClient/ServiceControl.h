// Scripts the simulated fingerprint service from another program. The commands are those of the service's
// own `help`.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ServiceClient {

/// The service listens here. A command is one message of UTF-8, the reply all that follows until the service
/// closes.
constexpr wchar_t ControlPipeName[] = LR"(\\.\pipe\VexaFPServiceControl)";

constexpr DWORD DefaultPatience = 3000;

/// Sends one command line and gives the whole reply. A service that is just starting is waited for, as long
/// as `patience` milliseconds; nothing, and the last error, when none answers or it ends before it has.
std::optional<std::wstring> Tell(std::wstring_view command, DWORD patience = DefaultPatience);

/// The reply says that the command was carried out: its first word is "ok".
bool IsOk(std::wstring_view reply);

/// Tell, reduced to whether the command was carried out.
bool TellOk(std::wstring_view command, DWORD patience = DefaultPatience);

/// One call that the service received.
struct ReportedCall {
    long long answered; ///< as of Now(); 0 while the call is being served
    int opnum;
    std::wstring name;
    std::wstring arguments;
    std::wstring result; ///< a number, "void" or "pending"
};

/// The calls since the last `clear`, in order of arrival; nothing when no service answers.
std::optional<std::vector<ReportedCall>> Report(DWORD patience = DefaultPatience);

/// The performance counter in units of 100 ns: the time of the service's report, common to all processes.
long long Now();

} // namespace ServiceClient
