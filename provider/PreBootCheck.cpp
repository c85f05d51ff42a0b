#include "PreBootCheck.h"

#include "Binding.h"
#include "BoundedCall.h"
#include "EventLog.h"
#include "Events.h"
#include "LogFile.h"
#include "PreBootLibrary.h"
#include "RPCAPI.h"
#include "SehGuard.h"

namespace {

constexpr char LogSource[] = "VexaFPProvider.cpp";
constexpr char Label[] = "CheckPBA";

decltype(&vcsWavPbaOpen) g_vcsWavPbaOpen = nullptr;
decltype(&vcsWavIsPbaEnabled) g_vcsWavIsPbaEnabled = nullptr;
decltype(&vcsWavPbaClose) g_vcsWavPbaClose = nullptr;

template <class Function>
bool BindFunction(HMODULE library, const char* name, Function& function)
{
    function = reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
    return function != nullptr;
}

/// Not to be closed: the mark lasts while a process holds a handle.
HANDLE OpenStep1Event()
{
    const HANDLE event = OpenEventA(EVENT_ALL_ACCESS, FALSE, STR_CREDENTIAL_STEP1);
    if (event != nullptr)
        return event;
    SECURITY_ATTRIBUTES everyone = GetSecurityEveryOne();
    return CreateEventA(&everyone, TRUE, FALSE, STR_CREDENTIAL_STEP1);
}

/// 1 when the service says so; anything else is a no.
long AskIsPbaEnable()
{
    long enabled = 0;
    return Guarded([&] { enabled = RPCAPI::IsPbaEnable(); }).raised ? 0 : enabled;
}

bool AskService()
{
    constexpr DWORD patience = 2000; // ms; a service that hangs must not hold LogonUI
    std::optional<long> enabled = 0;
    if (BindFPService() == RPC_S_OK)
        enabled = CallWithin<AskIsPbaEnable>(patience);
    else if (g_hFPBinding != nullptr)
        return false; // not even a text was composed: what is there is another thread's
    if (enabled)
        UnbindFPService();
    else
        ForgetFPService(); // the late call is still on it
    return enabled == 1;
}

bool AskLibrary()
{
    if (g_vcsWavPbaOpen(PreBootLibraryUse) != 0) {
        ReportFPEvent(L"vcsWavPbaOpen fail");
        OutputDebugStringA("vcsWavPbaOpen Fail");
        return false;
    }
    unsigned char flag = 0;
    const bool enabled = g_vcsWavIsPbaEnabled(&flag) == 0 && flag != 0;
    if (!enabled) {
        ReportFPEvent(L"vcsWavIsPbaEnabled fail");
        OutputDebugStringA("vcsWavIsPbaEnabled Fail");
    }
    g_vcsWavPbaClose();
    return enabled;
}

} // namespace

bool LoadvcsWavePbaFun()
{
    const HMODULE library = LoadLibraryA("vcsWavePba.dll");
    if (library == nullptr)
        return false;
    const bool open = BindFunction(library, "vcsWavPbaOpen", g_vcsWavPbaOpen);
    const bool enabled = BindFunction(library, "vcsWavIsPbaEnabled", g_vcsWavIsPbaEnabled);
    const bool close = BindFunction(library, "vcsWavPbaClose", g_vcsWavPbaClose);
    return open && enabled && close;
}

bool CheckPBA()
{
    FP_LOG(Label, L" start");
    if (!LoadvcsWavePbaFun()) {
        ReportFPEvent(L"LoadvcsWavePbaFun fail");
        return false;
    }
    const HANDLE event = OpenStep1Event();
    bool passed = false;
    // Without an event this wait fails rather than times out, and the service is asked: deliberate.
    if (WaitForSingleObject(event, 0) == WAIT_TIMEOUT) {
        FP_LOG(Label, L" STR_CREDENTIAL_STEP1 not signaled yet");
        passed = AskLibrary();
    } else {
        FP_LOG(Label, L" STR_CREDENTIAL_STEP1 signaled");
        passed = AskService();
    }
    if (event != nullptr)
        SetEvent(event);
    return passed;
}
