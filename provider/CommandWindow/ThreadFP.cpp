// The identification thread: turns a finger on the sensor into a logon.
#include "Workers.h"

#include "Account.h"
#include "Binding.h"
#include "CommandWindow.h"
#include "Events.h"
#include "FPStub.h"
#include "IniFile.h"
#include "LogFile.h"
#include "PreBootAuth.h"
#include "Registry.h"
#include "SehGuard.h"

#include <cwchar>
#include <iterator>
#include <optional>

namespace {

constexpr char LogSource[] = "CommandWindow.cpp";
constexpr char Label[] = "ThreadFP";

constexpr DWORD Success = 0;
constexpr DWORD Failure = static_cast<DWORD>(-1);

constexpr long ServiceBusy = 501;

/// How a step ends the thread; nothing means: go on.
using ExitCode = std::optional<DWORD>;

ExitCode ConnectToService(const CCommandWindow& window)
{
    constexpr int attempts = 10;
    constexpr DWORD pause = 300; // ms
    for (int attempt = 0; attempt < attempts; ++attempt) {
        const int connected = ConnectFPService();
        if (window.IsClosed())
            return Success;
        if (connected == 1)
            return std::nullopt;
        Sleep(pause);
        if (window.IsClosed())
            return Success;
    }
    return Failure;
}

/// Ends a capture that an earlier instance may have left running.
ExitCode StopLeftCapture(const CCommandWindow& window)
{
    Guarded([] { CallStub(Stub_CaptureStop); });
    if (window.IsClosed())
        return Success;
    return std::nullopt;
}

ExitCode CheckDevice(const CCommandWindow& window)
{
    constexpr int attempts = 5;
    constexpr DWORD pause = 200; // ms
    for (int attempt = 0; attempt < attempts; ++attempt) {
        FP_LOG(Label, L"CheckDeviceIsEnable start");
        const long enabled = CheckDeviceIsEnable();
        if (window.IsClosed())
            return Success;
        if (enabled == 1)
            return std::nullopt;
        FP_LOG(Label, L"CheckDeviceIsEnable end");
        Sleep(pause);
        if (window.IsClosed())
            return Success;
    }
    const long enabled = CheckDeviceIsEnable();
    if (window.IsClosed())
        return Success;
    if (enabled == 0)
        SetFPEnable(0);
    window.Hide();
    FP_LOG(Label, L"CheckDeviceDisable");
    return static_cast<DWORD>(enabled);
}

bool DoesAutoLogonEventExist()
{
    const HANDLE event = OpenEventW(EVENT_ALL_ACCESS, FALSE, STR_CREDENTIAL_AUTOLOGON);
    if (event == nullptr || event == INVALID_HANDLE_VALUE)
        return false;
    CloseHandle(event);
    return true;
}

/// Submits the user whom the pre-boot library has authenticated, if there is one.
ExitCode TakeOverPreBootUser(CCommandWindow& window)
{
    FPData data{};
    if (!window.StoreUser(data))
        return Success;
    FP_LOG(Label, L"GetAuthUserCreds Start");
    const long status = GetAuthUserCreds(&data);
    data.Terminate();
    wchar_t userName[std::size(data.userName)];
    std::wcscpy(userName, data.userName);
    if (!window.StoreUser(data))
        return Success;
    FP_LOG(Label, L"GetAuthUserCreds End");
    if (status != 0) {
        FP_LOG(Label, L"GetAuthUserCreds Fail Return code :%X", static_cast<unsigned>(status));
        return std::nullopt;
    }
    if (userName[0] == L'\0') {
        FP_LOG(Label, L"g_FPData is empty");
        return std::nullopt;
    }
    if (!DoesAutoLogonEventExist()) {
        FP_LOG(Label, L"hEvent != INVALID_HANDLE_VALUE && hEvent != NULL %s", userName);
    } else if (CheckSystemAutoLogon()) {
        FP_LOG(Label, L"CheckSystemAutoLogon");
        return std::nullopt;
    } else {
        FP_LOG(Label, L"CheckSystemAutoLogon %s", userName);
    }
    window.SendFingerprint();
    return Success;
}

ExitCode CheckEnrolment(CCommandWindow& window)
{
    long result = 0;
    long value = 0;
    long recordCount = 0;
    const SehResult guarded = Guarded(
        [&] { result = CallStub(Stub_ListEnroll, static_cast<byte*>(nullptr), &value, &recordCount); });
    if (window.IsClosed())
        return Success;
    if (guarded.raised) {
        FP_LOG(Label, L"RpcExcept");
        return Failure;
    }
    if (result == 0 && recordCount == 0) {
        // Nobody enrolled shows the sensor's failure, not a text of its own: deliberate.
        window.ShowPrompt(MSG_SENSOR_FAILED);
        return Failure;
    }
    window.ShowPrompt(MSG_SCAN_FINGER);
    return std::nullopt;
}

/// Counts a match, whether or not its password was accepted. True when that reaches the limit; a count
/// already past it never does: deliberate.
bool IsLockedOut(CCommandWindow& window)
{
    constexpr std::uint32_t unlimited = 32767;
    std::uint32_t lockCount = 0;
    std::uint32_t lockEnable = 0;
    IniReadSectionInt(L"LockCount", &lockCount, L"Public");
    IniReadSectionInt(L"LockEnable", &lockEnable, L"Public");
    const std::uint32_t limit = lockEnable != 0 ? lockCount : unlimited;
    const DWORD count = window.CountIdentification();
    return limit != 0 && count == limit;
}

ExitCode SubmitMatch(CCommandWindow& window)
{
    FP_LOG(Label, L"Credential Provider:SendMessage(pWin->m_hWnd,WM_FINGERPRINT,NULL,NULL); Start");
    window.SendFingerprint();
    if (window.IsClosed())
        return Success;
    if (IsLockedOut(window)) {
        window.ShowPrompt(MSG_MANUAL_LOGON);
        return Success;
    }
    FP_LOG(Label, L"Credential Provider:SendMessage(pWin->m_hWnd,WM_FINGERPRINT,NULL,NULL); End");
    return std::nullopt;
}

/// One identification; blocks in the service until a finger is placed or the capture is stopped.
ExitCode Identify(CCommandWindow& window)
{
    constexpr DWORD busyPause = 2000; // ms
    constexpr DWORD pause = 100;      // ms

    // The service fills a record of this call's own: a thread that outlived its window must not write into
    // the shared one, which by then serves another.
    FPData data{};
    if (!window.StoreUser(data))
        return Success;
    FP_LOG(Label, L"Credential Provider:RPCIdentifyEnroll Start");
    // The line may have taken its time. A call that begins after the last stop would wait for a finger.
    if (window.IsClosed())
        return Success;
    long result = 0;
    auto* record = reinterpret_cast<byte*>(&data);
    const SehResult guarded = Guarded([&] { result = CallStub(Stub_IdentifyEnroll, record); });
    const StopState stop = window.ReadStop();
    const bool matched = !guarded.raised && result == 0 && stop == StopState::Run;
    if (!matched)
        SecureZeroMemory(&data, sizeof data);
    if (stop == StopState::Closed)
        return Success;
    if (guarded.raised) {
        FP_LOG(Label, L"RpcExcept");
        return Failure;
    }
    if (result == ServiceBusy) {
        // The figure is always 1, and the stop flag is not looked at here: deliberate.
        FP_LOG(Label, L"retrytimes_ErrorCode501 %d times", 1);
        Sleep(busyPause);
        return std::nullopt;
    }
    if (stop == StopState::Stop) {
        FP_LOG(Label, L"g_bExit TRUE");
        window.Hide();
        FP_LOG(Label, L"ShowWindow(pWin->m_hWnd,SW_HIDE)");
        return Success;
    }
    if (result != 0) {
        FP_LOG(Label, L"Credential Provider:RPCIdentifyEnroll Error  %d:", static_cast<int>(result));
    } else {
        if (!window.StoreUser(data))
            return Success;
        if (const ExitCode end = SubmitMatch(window))
            return end;
    }
    FP_LOG(Label, L"Credential Provider:RPCIdentifyEnroll End");
    Sleep(pause);
    return std::nullopt;
}

ExitCode IdentifyForever(CCommandWindow& window)
{
    for (;;) {
        if (const ExitCode end = Identify(window))
            return end;
    }
}

} // namespace

DWORD ThreadFP(void* argument)
{
    auto& window = *static_cast<CCommandWindow*>(argument);
    FP_LOG(Label, L"ThreadFP(LPVOID lp) Start");
    ExitCode end = ConnectToService(window);
    if (!end)
        end = StopLeftCapture(window);
    if (!end)
        end = CheckDevice(window);
    if (!end)
        end = TakeOverPreBootUser(window);
    if (!end)
        end = CheckEnrolment(window);
    if (!end)
        end = IdentifyForever(window);
    return *end;
}
