#include "CommandWindow.h"

#include "Binding.h"
#include "BoundedCall.h"
#include "FPStub.h"
#include "LogFile.h"
#include "Resource.h"
#include "Result.h"
#include "SehGuard.h"
#include "VexaFPProvider.h"
#include "Workers.h"

#include <cwchar>

namespace {

constexpr char LogSource[] = "CommandWindow.cpp";

constexpr DWORD StopLimit = 5000;    // ms
constexpr DWORD DetachLimit = 1000;  // ms
constexpr DWORD CaptureLimit = 2000; // ms; a service that hangs must not hold LogonUI

/// Calls of CaptureStop that have come back, of all windows.
std::atomic<unsigned> g_stopsReturned = 0;

/// Makes a blocked IdentifyEnroll return; false when the call raised.
bool StopCapture()
{
    const bool raised = Guarded([] { CallStub(Stub_CaptureStop); }).raised;
    ++g_stopsReturned;
    return !raised;
}

/// The same when another provider has meanwhile taken the binding away.
bool BindAndStopCapture()
{
    if (g_hFPBinding == nullptr && BindFPService() != RPC_S_OK)
        return false;
    return StopCapture();
}

} // namespace

std::atomic<CCommandWindow*> g_pCommandWindow = nullptr;
std::atomic<HWND> g_hEventWindow = nullptr;
FPData g_FPData = {};

CCommandWindow::CCommandWindow()
{
    constexpr char label[] = "CCommandWindow::CCommandWindow";
    FP_LOG(label, L"Start");
    m_art.CreateFormat();
    g_bExit.Clear();
    m_lcid = GetSystemDefaultLCID();
    SelectMessages(m_lcid);
    g_pCommandWindow = this;
    m_art.Start();
    std::wcscpy(m_wszPrompt, g_Messages[MSG_LOADING]);
    m_art.LoadImageResource(IDR_PROMPT_IMAGE, L"PNG");
    FP_LOG(label, L"End");
}

HRESULT CCommandWindow::Initialize(CVexaFPProvider* provider)
{
    m_pProvider = provider;
    m_hThread = StartThread<ThreadProc>();
    return m_hThread ? S_OK : HresultFromLastError();
}

void CCommandWindow::DetachOwner()
{
    // Whoever is inside longer waits in LogonUI's own CredentialsChanged, perhaps for this very thread.
    m_owner.Close(DetachLimit);
}

void CCommandWindow::Destroy()
{
    constexpr char label[] = "CCommandWindow::~CCommandWindow";
    DetachOwner();
    g_bExit.Set();
    FP_LOG(label, L"RPCCaptureStop");
    const unsigned returnedBefore = g_stopsReturned;
    const ULONGLONG start = GetTickCount64();
    if (CallWithin<StopCapture>(CaptureLimit) == false)
        FP_LOG(label, L"RPCCaptureStop Fail");
    const ULONGLONG waited = GetTickCount64() - start;
    const bool stopped = WaitForWatchdog(StopLimit);

    g_bExit.Close(m_closed);
    const HWND window = m_hWnd;
    if (window != nullptr) {
        const BOOL posted = PostMessageW(window, WM_EXIT_THREAD, 0, 0);
        FP_LOG(label, L"PostMessage  %d", posted);
        if (!posted)
            SendNotifyMessageW(window, WM_EXIT_THREAD, 0, 0);
        m_hWnd = nullptr;
    }
    // An identification that began just after the stop, or whose thread missed the flag because the watchdog
    // had taken it already, would keep its thread, and so the module, until somebody places a finger. A first
    // call that is still out does the same when it arrives. Both are waited for once.
    if (!stopped && g_stopsReturned != returnedBefore)
        CallWithin<BindAndStopCapture>(waited < CaptureLimit ? CaptureLimit - static_cast<DWORD>(waited) : 0);
    if (m_painting.Close(DetachLimit))
        m_art.Shutdown();
    if (m_pProvider != nullptr)
        m_pProvider->Release();
    Release();
}

void CCommandWindow::StartWatchdog()
{
    // Under the lock: a stop that comes right now is to find the handle of a thread that runs.
    AcquireSRWLockExclusive(&m_watchdogLock);
    m_hDeamonThread = StartThread<DeamonThread>();
    ReleaseSRWLockExclusive(&m_watchdogLock);
}

bool CCommandWindow::HasWatchdogEnded()
{
    AcquireSRWLockExclusive(&m_watchdogLock);
    const bool ended = m_hDeamonThread && WaitForSingleObject(m_hDeamonThread.Get(), 0) == WAIT_OBJECT_0;
    ReleaseSRWLockExclusive(&m_watchdogLock);
    return ended;
}

bool CCommandWindow::WaitForWatchdog(DWORD timeout)
{
    AcquireSRWLockExclusive(&m_watchdogLock);
    const KernelHandle thread = std::move(m_hDeamonThread);
    ReleaseSRWLockExclusive(&m_watchdogLock);
    return !thread || WaitForSingleObject(thread.Get(), timeout) == WAIT_OBJECT_0;
}

void CCommandWindow::Release()
{
    if (InterlockedDecrement(&m_refCount) == 0)
        delete this;
}

bool CCommandWindow::LoadUser(FPData& data)
{
    return g_bExit.WhileOpen(m_closed, [&] { data = g_FPData; });
}

bool CCommandWindow::StoreUser(FPData& data)
{
    data.Terminate();
    const bool stored = g_bExit.WhileOpen(m_closed, [&] { g_FPData = data; });
    SecureZeroMemory(&data, sizeof data);
    return stored;
}

void CCommandWindow::ShowPrompt(MessageRole role)
{
    std::wcscpy(m_wszPrompt, g_Messages[role]);
    SendMessageW(m_hWnd, WM_PROMPT, 0, 0);
}
