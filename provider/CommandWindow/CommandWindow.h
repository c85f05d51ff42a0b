// The prompt window with its own thread, on which the workers report what happened.
//
// Threads (ThreadFP and DeamonThread: Workers.h)
//   The provider's thread constructs the window, calls Initialize, DetachOwner and Destroy.
//   The window thread, started by Initialize, runs the message loop; it alone calls the provider's
//   StatusChanged and fills the credential, both under m_owner. WM_EXIT_THREAD ends it. Exit code: 0, or the
//   HRESULT that stopped it.
// A thread can outlive the window, in a wait or a call that takes its time. Each therefore holds a reference
// to this object, and the module; what it finds when it wakes is m_closed set, m_hWnd null, m_owner and
// m_painting closed.
#pragma once

#include "FPData.h"
#include "Messages.h"
#include "ModuleThread.h"
#include "PromptArt.h"
#include "Rundown.h"
#include "StopFlag.h"

#include <windows.h>

#include <atomic>

class CVexaFPCredential;
class CVexaFPProvider;

/// wParam 0: g_FPData holds an identified user; 1: credentials are withdrawn.
inline constexpr UINT WM_FINGERPRINT = WM_USER + 1;
/// wParam 1: wrong-password prompt; other: redraw the prompt.
inline constexpr UINT WM_PROMPT = WM_USER + 2;
/// Ends the message loop.
inline constexpr UINT WM_EXIT_THREAD = WM_USER + 3;

class CCommandWindow {
public:
    CCommandWindow();
    CCommandWindow(const CCommandWindow&) = delete;
    CCommandWindow& operator=(const CCommandWindow&) = delete;

    /// Not owned; set right after construction.
    void SetCredential(CVexaFPCredential* credential) { m_pCredential = credential; }

    /// Starts the window thread. The provider is released by Destroy, without a reference having been added:
    /// deliberate.
    HRESULT Initialize(CVexaFPProvider* provider);

    /// From its return on, no thread touches provider or credential. Waits for one that is inside either:
    /// usually not at all. One that is still inside after 1000 ms has called LogonUI and touches neither
    /// afterwards.
    void DetachOwner();

    /// Stops workers and window in order, and gives up the owner's hold: what others would do in a
    /// destructor, but the memory stays until the last thread has left it. Waits for DeamonThread, 5000 ms at
    /// most, and for the service's answer to each CaptureStop, 2000 ms at most.
    void Destroy();

    // What follows is for the window's own threads.

    StopState ReadStop() const { return g_bExit.Read(m_closed); }
    StopState TakeStop() { return g_bExit.Take(m_closed); }
    bool IsClosed() const { return ReadStop() == StopState::Closed; }

    /// Makes `data` the identified user, and wipes it where it was. False, and nothing stored, when the
    /// window is closed: the record may serve a newer window by then.
    bool StoreUser(FPData& data);
    /// Copies the identified user. False, and nothing copied, when the window is closed.
    bool LoadUser(FPData& data);

    /// Has the window check and submit the identified user; returns when it has.
    void SendFingerprint() const { SendMessageW(m_hWnd, WM_FINGERPRINT, 0, 0); }

    /// Shows the text of a role; returns when it is drawn.
    void ShowPrompt(MessageRole role);

    void Hide() const { ShowWindow(m_hWnd, SW_HIDE); }

    /// Counts a match and returns the number of them so far.
    DWORD CountIdentification() { return ++m_identificationCount; }

    /// Starts Body(this window) on a thread that holds module and window until it has ended.
    template <DWORD (*Body)(void* window)>
    KernelHandle StartThread()
    {
        AddRef();
        KernelHandle thread = ModuleThread::Start<&RunThread<Body>>(this);
        if (!thread) {
            const DWORD error = GetLastError();
            Release();
            SetLastError(error);
        }
        return thread;
    }

private:
    ~CCommandWindow() = default;

    void AddRef() { InterlockedIncrement(&m_refCount); }
    void Release();

    template <DWORD (*Body)(void* window)>
    static DWORD RunThread(void* window)
    {
        const DWORD exitCode = Body(window);
        static_cast<CCommandWindow*>(window)->Release();
        return exitCode;
    }

    void StartWatchdog();
    /// True when there was a watchdog and it has ended.
    bool HasWatchdogEnded();
    /// Gives the handle up after the wait, `timeout` ms at most. False when the watchdog has not ended.
    bool WaitForWatchdog(DWORD timeout);

    static DWORD ThreadProc(void* window);
    HRESULT RunWindow();
    HRESULT InitInstance(HWND* created);
    void RunMessageLoop(HWND window);
    void EndWindow(HWND window);

    static LRESULT CALLBACK WndProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    void OnFingerprint(HWND window, WPARAM wParam);
    /// Copies the identified user, and hands it to the credential. False when window or provider are going.
    bool SubmitUser(FPData& user);
    void OnPrompt(HWND window, WPARAM wParam);
    void OnPowerBroadcast(HWND window, WPARAM wParam);
    void OnPaint(HWND window);
    void ShowWrongPassword();
    void ReportStatus(DWORD connectStatus);

    static constexpr int PromptUnits = 256;

    LCID m_lcid = 0; // the system's default locale
    std::atomic<HWND> m_hWnd = nullptr;
    HINSTANCE m_hInstance = nullptr;
    PromptArt m_art;
    KernelHandle m_hThread;
    DWORD m_identificationCount = 0;
    WCHAR m_wszPrompt[PromptUnits] = {};
    CVexaFPProvider* m_pProvider = nullptr;
    CVexaFPCredential* m_pCredential = nullptr;

    SRWLOCK m_watchdogLock = SRWLOCK_INIT;
    KernelHandle m_hDeamonThread; // of this window's own watchdog
    LONG m_refCount = 1;          // the owner and every running thread
    bool m_closed = false;        // guarded by g_bExit's lock
    Rundown m_owner;              // provider and credential
    Rundown m_painting;           // m_art
};

/// The latest window constructed; not reset when it goes. Only its presence is looked at.
extern std::atomic<CCommandWindow*> g_pCommandWindow;

/// The window's handle for the credential, which hides it.
extern std::atomic<HWND> g_hEventWindow;
