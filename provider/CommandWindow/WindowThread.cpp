// The window thread: the window's creation, its message loop and its messages.
#include "CommandWindow.h"

#include "Account.h"
#include "EventWindowClass.h"
#include "LogFile.h"
#include "PromptLayout.h"
#include "Result.h"
#include "SehGuard.h"
#include "VexaFPCredential.h"
#include "VexaFPProvider.h"

namespace {

constexpr char LogSource[] = "CommandWindow.cpp";

constexpr COLORREF ColorKey = RGB(0xFF, 0x00, 0xFF);
constexpr DWORD WrongPasswordPause = 1000; // ms

/// CheckUserAndPwd raises a structured exception when memory is short. Nobody is above this thread to catch
/// it, and an account that can't be checked is not accepted.
int CheckUser(const FPData& user)
{
    int accepted = 0;
    const SehResult guarded =
        Guarded([&] { accepted = CheckUserAndPwd(user.userName, user.password, user.domain); });
    return guarded.raised ? 0 : accepted;
}

/// In the screen's top right corner, whatever size the screen has right now.
void Place(HWND window, int screenWidth)
{
    MoveWindow(window, screenWidth - WindowSize, 0, WindowSize, WindowSize, FALSE);
}

/// A process whose default layout runs from right to left would get a mirrored window, with its text mirrored
/// in it.
void TakeMirroringOff(HWND window)
{
    const LONG style = GetWindowLongW(window, GWL_EXSTYLE);
    if ((style & WS_EX_LAYOUTRTL) != 0)
        SetWindowLongW(window, GWL_EXSTYLE, style & ~WS_EX_LAYOUTRTL);
}

void FillWithColorKey(HDC context)
{
    const RECT whole{0, 0, WindowSize, WindowSize};
    SetDCBrushColor(context, ColorKey);
    FillRect(context, &whole, static_cast<HBRUSH>(GetStockObject(DC_BRUSH)));
}

} // namespace

DWORD CCommandWindow::ThreadProc(void* window)
{
    return static_cast<DWORD>(static_cast<CCommandWindow*>(window)->RunWindow());
}

HRESULT CCommandWindow::RunWindow()
{
    m_hInstance = GetModuleHandleW(nullptr);
    if (m_hInstance == nullptr)
        return HresultFromLastError();
    if (IsClosed())
        return S_OK;
    const HRESULT registered = EventWindowClass::Register(*this, m_hInstance, WndProc);
    // Not read back from m_hWnd: a stop that comes right now has cleared it, and the window is still to go.
    HWND window = nullptr;
    const HRESULT created = SUCCEEDED(registered) ? InitInstance(&window) : registered;

    // Closed before the window was known, there is no WM_EXIT_THREAD to come.
    if (!IsClosed()) {
        const int width = GetSystemMetrics(SM_CXSCREEN);
        const int height = GetSystemMetrics(SM_CYSCREEN);
        FP_LOG("CCommandWindow::ThreadProc", L"nWidth %d ,nHeight %d", width, height);
        Place(window, width);
        ShowWindow(window, SW_SHOWNORMAL);
        // Also without a window: the watchdog has its own business.
        StartWatchdog();
        // Windows may refuse a window without an error to tell.
        if (window != nullptr)
            RunMessageLoop(window);
    }
    EndWindow(window);
    if (SUCCEEDED(registered))
        EventWindowClass::Leave(*this, m_hInstance);
    return created;
}

HRESULT CCommandWindow::InitInstance(HWND* created)
{
    const HWND window =
        CreateWindowExW(WS_EX_NOACTIVATE | WS_EX_LAYERED | WS_EX_TOPMOST, EventWindowClass::Name, L"Window",
                        WS_POPUP | WS_VISIBLE, CW_USEDEFAULT, CW_USEDEFAULT, WindowSize, WindowSize, nullptr,
                        nullptr, m_hInstance, this);
    const HRESULT result = window != nullptr ? S_OK : HresultFromLastError();
    TakeMirroringOff(window);
    *created = window;
    m_hWnd = window;
    ShowWindow(window, SW_HIDE);
    g_hEventWindow = window;
    if (window == nullptr)
        FP_LOG("CCommandWindow::InitInstance", L"CreateWindowExW Return is NULL");
    SetLayeredWindowAttributes(window, ColorKey, 0, LWA_COLORKEY);
    return result;
}

void CCommandWindow::RunMessageLoop(HWND window)
{
    for (;;) {
        MSG message;
        const BOOL got = GetMessageW(&message, window, 0, 0);
        if (got == -1)
            FP_LOG("CCommandWindow::ThreadProc", L"GetMessage -1");
        if (got == -1 || got == 0)
            return;
        TranslateMessage(&message);
        DispatchMessageW(&message);
        if (message.message == WM_EXIT_THREAD) {
            FP_LOG("CCommandWindow::ThreadProc", L"msg.message == WM_EXIT_THREAD");
            return;
        }
    }
}

void CCommandWindow::EndWindow(HWND window)
{
    m_hWnd = nullptr;
    HWND latest = window;
    g_hEventWindow.compare_exchange_strong(latest, nullptr);
    // Once more should it fail: a window left behind would keep its class, and the next window from being
    // made.
    if (window != nullptr && !DestroyWindow(window))
        DestroyWindow(window);
}

LRESULT CALLBACK CCommandWindow::WndProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    constexpr char label[] = "CCommandWindow::WndProc";
    if (message == WM_NCCREATE) {
        const auto* create = reinterpret_cast<const CREATESTRUCTW*>(lParam);
        SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(create->lpCreateParams));
    }
    auto* self = reinterpret_cast<CCommandWindow*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (self == nullptr)
        return DefWindowProcW(window, message, wParam, lParam);

    switch (message) {
    case WM_FINGERPRINT:
        self->OnFingerprint(window, wParam);
        break;
    case WM_PROMPT:
        self->OnPrompt(window, wParam);
        break;
    case WM_EXIT_THREAD:
        FP_LOG(label, L"WM_CLOSE WM_EXIT_THREAD");
        // The loop ends with the message that it dispatched; one that was sent never comes by there.
        if (InSendMessageEx(nullptr) != ISMEX_NOSEND)
            PostQuitMessage(0);
        return 0;
    case WM_CLOSE:
        return 0; // the window goes with its provider, not with Alt+F4
    case WM_WINDOWPOSCHANGING:
        // SW_SHOW activates; whoever is typing a password must not lose a key to the prompt.
        reinterpret_cast<WINDOWPOS*>(lParam)->flags |= SWP_NOACTIVATE;
        break;
    case WM_DISPLAYCHANGE:
        Place(window, GetSystemMetrics(SM_CXSCREEN));
        break;
    case WM_POWERBROADCAST:
        self->OnPowerBroadcast(window, wParam);
        break;
    case WM_LBUTTONDOWN:
        FP_LOG(label, L"WM_LBUTTONDOWN");
        break;
    case WM_DESTROY:
        PostQuitMessage(0);
        break;
    case WM_PAINT:
        self->OnPaint(window);
        break;
    case WM_ERASEBKGND:
        FillWithColorKey(reinterpret_cast<HDC>(wParam));
        return 0;
    case WM_SHOWWINDOW:
        FP_LOG(label, L"wParam=%d", static_cast<int>(wParam));
        break;
    default:
        break;
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

void CCommandWindow::OnFingerprint(HWND window, WPARAM wParam)
{
    constexpr char label[] = "CCommandWindow::WndProc";
    if (wParam == 1)
        ReportStatus(0);
    if (wParam != 0)
        return;

    // A copy: by the time the check is over, this window may be closed and the shared record another's.
    FPData user{};
    if (SubmitUser(user)) {
        FP_LOG(label, L"CheckUserAndPwd Start");
        const int accepted = CheckUser(user);
        FP_LOG(label, L"CheckUserAndPwd End");
        if (accepted == 0) {
            FP_LOG(label, L"user %s", user.userName);
            ShowWrongPassword();
        } else {
            FP_LOG(label, L"CheckUserAndPwd return is %d", accepted);
            ShowWindow(window, SW_HIDE);
            ReportStatus(1);
        }
    }
    SecureZeroMemory(&user, sizeof user);
}

bool CCommandWindow::SubmitUser(FPData& user)
{
    const RundownScope owner(m_owner);
    if (!owner || !LoadUser(user))
        return false;
    m_pCredential->SetAccount(user.domain, user.userName, user.password);
    return true;
}

void CCommandWindow::ReportStatus(DWORD connectStatus)
{
    // Before the provider is held: a line may take its time on a slow disk, and nobody waits for it then.
    CVexaFPProvider::LogStatusChanged();
    if (const RundownScope owner(m_owner); owner)
        m_pProvider->StatusChanged(connectStatus, 1);
}

void CCommandWindow::OnPrompt(HWND window, WPARAM wParam)
{
    if (wParam == 1) {
        ShowWrongPassword();
        return;
    }
    FP_LOG("CCommandWindow::WndProc", L"WM_PROMPT");
    InvalidateRect(window, nullptr, TRUE);
    ShowWindow(window, SW_SHOW);
    UpdateWindow(window);
}

void CCommandWindow::ShowWrongPassword()
{
    if (g_pCommandWindow == nullptr || IsClosed())
        return;
    ShowPrompt(MSG_WRONG_PASSWORD);
    // Blocks this thread and ThreadFP, which waits for its message to be handled: that paces the next try.
    Sleep(WrongPasswordPause);
    ShowPrompt(MSG_SCAN_AGAIN);
}

void CCommandWindow::OnPowerBroadcast(HWND window, WPARAM wParam)
{
    constexpr char label[] = "CCommandWindow::WndProc";
    if (wParam != PBT_APMRESUMESUSPEND && wParam != PBT_APMSUSPEND)
        return;
    if (wParam == PBT_APMSUSPEND) {
        ShowWindow(window, SW_HIDE);
    } else {
        // A layered window may come back from suspend without its colour key.
        const LONG style = GetWindowLongW(window, GWL_EXSTYLE);
        SetWindowLongW(window, GWL_EXSTYLE, style & ~WS_EX_LAYERED);
        const LONG previous = SetWindowLongW(window, GWL_EXSTYLE, style | WS_EX_LAYERED);
        FP_LOG(label, L"SetWindowLong %d", static_cast<int>(previous));
        const BOOL keyed = SetLayeredWindowAttributes(window, ColorKey, 0, LWA_COLORKEY);
        const DWORD error = GetLastError();
        FP_LOG(label, L"SetLayeredWindowAttributes %d %d %d", keyed, HandleForLog(window),
               static_cast<int>(error));
        RedrawWindow(window, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_ALLCHILDREN | RDW_FRAME);
        ShowWindow(window, SW_SHOW);
        if (HasWatchdogEnded())
            StartWatchdog();
    }
    FP_LOG(label, L"WM_POWERBROADCAST %d", static_cast<int>(wParam));
}

void CCommandWindow::OnPaint(HWND window)
{
    if (const RundownScope painting(m_painting); painting)
        m_art.Paint(window, m_wszPrompt);
}
