// The floor: each ordered call of Windows and of the service, raw, and nothing between them.
#include "Life.h"

#include "PlainAnswers.h"
#include "VexaFP.h"
#include "vcsWavePba.h"

#include <cfgmgr32.h>
#include <objbase.h>
#include <oleauto.h>
#include <setupapi.h>
#include <shlwapi.h>
#include <wtsapi32.h>

#include <objidl.h>

#include <gdiplus.h>

#include <cstdio>
#include <cstring>
#include <cwchar>
#include <io.h>

namespace {

namespace Flat = Gdiplus::DllExports;

constexpr UINT WM_MATCH = WM_USER + 1;
constexpr UINT WM_SHOW_PROMPT = WM_USER + 2;
constexpr UINT WM_END = WM_USER + 3;
constexpr wchar_t ClassName[] = L"BareWindow";
constexpr int Side = 400;
constexpr COLORREF ColorKey = RGB(0xFF, 0x00, 0xFF);
constexpr wchar_t Ini[] = LR"(C:\Users\Public\VEXA\FingerPrint\config.ini)";
constexpr char ServiceEvent[] = "Global\\{D3368B8A-2EA4-49d7-A2B0-6F711BAD3DB9}";
constexpr char LogFolder[] = "C:\\CPLog";
constexpr char Step1Event[] = "Global\\{689E254C-9110-4F0B-AB84-002C3CB331B6}";

class BareLife final : public Life {
public:
    BareLife(Signals& signals, const LogTexts* texts, bool stopApart)
        : m_signals(signals), m_texts(texts), m_stopApart(stopApart)
    {
    }

    void Create() override;
    void Start() override;
    void Serialize() override;
    void LogLine() override { Write(m_texts->single); }
    void Release() override;
    void AwaitEnd() override { WaitForSingleObject(m_windowThread.Get(), INFINITE); }
    HWND Window() const override { return m_window; }

private:
    static void Write(const std::wstring& line);
    static void Bind();
    static void FindSensor();
    static void QueryService(const wchar_t* name);
    static void CheckAccount(const wchar_t* domain);

    void RunWindow();
    void RunWatchdog();
    void RunIdentification();
    void StopCapture() { Stub_CaptureStop(); }
    void Announce();
    void Paint(HWND window);
    LRESULT Handle(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

    template <void (BareLife::*Body)()>
    static DWORD WINAPI Thread(void* life)
    {
        (static_cast<BareLife*>(life)->*Body)();
        return 0;
    }
    template <void (BareLife::*Body)()>
    KernelHandle StartThread()
    {
        return KernelHandle(CreateThread(nullptr, 0, Thread<Body>, this, 0, nullptr));
    }

    Signals& m_signals;
    const LogTexts* const m_texts;
    const bool m_stopApart;
    HANDLE m_serviceEvent = nullptr;
    std::atomic<HWND> m_window = nullptr;
    std::atomic<bool> m_stop = false;
    KernelHandle m_windowThread;
    KernelHandle m_watchdog;
    const wchar_t* m_prompt = L"Loading\x2026";
    byte m_record[386] = {};
    ULONG_PTR m_gdiplus = 0;
    Gdiplus::GpStringFormat* m_format = nullptr;
    Gdiplus::GpFont* m_font = nullptr;
    Gdiplus::GpBitmap* m_image = nullptr;
};

// As ordered: the folder is looked for, and the file opened again, for each line.
void BareLife::Write(const std::wstring& line)
{
    _access(LogFolder, 0);
    FILE* const file = std::fopen("C:\\CPLog\\bare.txt", "ab");
    std::fwrite(line.data(), sizeof(wchar_t), line.size(), file);
    std::fflush(file);
    std::fclose(file);
}

RPC_WSTR g_stringBinding = nullptr;

// What was bound before leaks, as ordered.
void BareLife::Bind()
{
    RpcStringBindingComposeW(nullptr, RPC_WSTR(L"ncalrpc"), nullptr, RPC_WSTR(L"VexaFP"), nullptr,
                             &g_stringBinding);
    RpcBindingFromStringBindingW(g_stringBinding, &g_hFPBinding);
}

void BareLife::FindSensor()
{
    constexpr GUID biometric = {0x53D29EF7, 0x377C, 0x4D14, {0x86, 0x4B, 0xEB, 0x3A, 0x85, 0x76, 0x93, 0x59}};
    const HDEVINFO devices =
        SetupDiGetClassDevsW(&biometric, nullptr, nullptr, DIGCF_PRESENT | DIGCF_ALLCLASSES);
    SP_DEVINFO_DATA device{};
    device.cbSize = sizeof device;
    for (DWORD index = 0; SetupDiEnumDeviceInfo(devices, index, &device); ++index) {
        wchar_t id[257] = {};
        DWORD bytes = 512;
        auto* const data = reinterpret_cast<BYTE*>(id);
        if (!SetupDiGetDeviceRegistryPropertyW(devices, &device, SPDRP_DRIVER, nullptr, data, 512, nullptr) ||
            !SetupDiGetDeviceRegistryPropertyW(devices, &device, SPDRP_HARDWAREID, nullptr, data, 512,
                                               &bytes))
            continue;
        CharUpperW(id);
        if (std::wcsstr(id, LR"(USB\VID_138A)") == nullptr)
            continue;
        ULONG status = 0;
        ULONG problem = 0;
        CM_Get_DevNode_Status(&status, &problem, device.DevInst, 0);
        break;
    }
    SetupDiDestroyDeviceInfoList(devices);
}

void BareLife::Create()
{
    OutputDebugStringA("VEXACredential Provider CreateInstance");
    m_serviceEvent = CreateEventA(nullptr, FALSE, FALSE, ServiceEvent);
    FindSensor();
    PathFileExistsW(LR"(c:\windows\system32\vcsWavePba.dll)");
    HKEY key = nullptr;
    DWORD enable = 0;
    DWORD bytes = sizeof enable;
    RegOpenKeyExW(HKEY_LOCAL_MACHINE, LR"(SOFTWARE\VEXA\FingerPrint)", 0, KEY_READ | KEY_WOW64_32KEY, &key);
    RegQueryValueExW(key, L"Enable", nullptr, nullptr, reinterpret_cast<BYTE*>(&enable), &bytes);
    RegCloseKey(key);
    const HMODULE library = LoadLibraryA("vcsWavePba.dll");
    const auto open = reinterpret_cast<decltype(&vcsWavPbaOpen)>(
        reinterpret_cast<void*>(GetProcAddress(library, "vcsWavPbaOpen")));
    const auto isEnabled = reinterpret_cast<decltype(&vcsWavIsPbaEnabled)>(
        reinterpret_cast<void*>(GetProcAddress(library, "vcsWavIsPbaEnabled")));
    const auto close = reinterpret_cast<decltype(&vcsWavPbaClose)>(
        reinterpret_cast<void*>(GetProcAddress(library, "vcsWavPbaClose")));
    const HANDLE step1 = OpenEventA(EVENT_ALL_ACCESS, FALSE, Step1Event);
    WaitForSingleObject(step1, 0);
    unsigned char flag = 0;
    open(2);
    isEnabled(&flag);
    close();
    SetEvent(step1);
    PathFileExistsW(L"c:\\FPLog");
    if (g_stringBinding != nullptr) {
        RpcStringFreeW(&g_stringBinding);
        RpcBindingFree(&g_hFPBinding);
        g_stringBinding = nullptr;
    }
}

void BareLife::Start()
{
    constexpr int promptImage = 103;
    Flat::GdipCreateStringFormat(0, LANG_NEUTRAL, &m_format);
    GetSystemDefaultLCID();
    const Gdiplus::GdiplusStartupInput input;
    Gdiplus::GdiplusStartup(&m_gdiplus, &input, nullptr);
    if (m_format == nullptr)
        Flat::GdipCreateStringFormat(0, LANG_NEUTRAL, &m_format);
    Flat::GdipSetStringFormatAlign(m_format, Gdiplus::StringAlignmentNear);
    Flat::GdipSetStringFormatLineAlign(m_format, Gdiplus::StringAlignmentNear);
    Gdiplus::GpFontFamily* family = nullptr;
    Flat::GdipCreateFontFamilyFromName(L"Arial", nullptr, &family);
    Flat::GdipCreateFont(family, 12.0F, Gdiplus::FontStyleBold, Gdiplus::UnitPixel, &m_font);
    Flat::GdipDeleteFontFamily(family);

    const HMODULE module = GetModuleHandleW(L"VexaFPCredentialProvider.DLL");
    const HRSRC resource = FindResourceW(module, MAKEINTRESOURCEW(promptImage), L"PNG");
    const HGLOBAL loaded = LoadResource(module, resource);
    const DWORD size = SizeofResource(module, resource);
    const HGLOBAL block = GlobalAlloc(GMEM_FIXED, size); // leaks, as ordered
    std::memcpy(block, LockResource(loaded), size);
    IStream* stream = nullptr;
    CreateStreamOnHGlobal(block, FALSE, &stream);
    Flat::GdipCreateBitmapFromStream(stream, &m_image);
    stream->Release();
    FreeResource(loaded);
    m_windowThread = StartThread<&BareLife::RunWindow>();
}

void BareLife::RunWindow()
{
    const HINSTANCE instance = GetModuleHandleW(nullptr);
    WNDCLASSEXW windowClass{};
    windowClass.cbSize = sizeof windowClass;
    windowClass.style = CS_HREDRAW | CS_VREDRAW;
    windowClass.lpfnWndProc = [](HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
        if (message == WM_NCCREATE)
            SetWindowLongPtrW(
                window, GWLP_USERDATA,
                reinterpret_cast<LONG_PTR>(reinterpret_cast<CREATESTRUCTW*>(lParam)->lpCreateParams));
        auto* const self = reinterpret_cast<BareLife*>(GetWindowLongPtrW(window, GWLP_USERDATA));
        return self != nullptr ? self->Handle(window, message, wParam, lParam)
                               : DefWindowProcW(window, message, wParam, lParam);
    };
    windowClass.hInstance = instance;
    windowClass.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    windowClass.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_WINDOW + 1);
    windowClass.lpszClassName = ClassName;
    RegisterClassExW(&windowClass);
    const HWND window = CreateWindowExW(WS_EX_NOACTIVATE | WS_EX_LAYERED | WS_EX_TOPMOST, ClassName,
                                        L"Window", WS_POPUP | WS_VISIBLE, CW_USEDEFAULT, CW_USEDEFAULT, Side,
                                        Side, nullptr, nullptr, instance, this);
    m_window = window;
    ShowWindow(window, SW_HIDE);
    SetLayeredWindowAttributes(window, ColorKey, 0, LWA_COLORKEY);
    MoveWindow(window, GetSystemMetrics(SM_CXSCREEN) - Side, 0, Side, Side, FALSE);
    ShowWindow(window, SW_SHOWNORMAL);
    m_watchdog = StartThread<&BareLife::RunWatchdog>();
    MSG message;
    do {
        GetMessageW(&message, window, 0, 0);
        TranslateMessage(&message);
        DispatchMessageW(&message);
    } while (message.message != WM_END);
    DestroyWindow(window);
    UnregisterClassW(ClassName, instance);
}

LRESULT BareLife::Handle(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
{
    switch (message) {
    case WM_MATCH:
        Announce();
        break;
    case WM_SHOW_PROMPT:
        InvalidateRect(window, nullptr, TRUE);
        ShowWindow(window, SW_SHOW);
        UpdateWindow(window);
        break;
    case WM_WINDOWPOSCHANGING:
        reinterpret_cast<WINDOWPOS*>(lParam)->flags |= SWP_NOACTIVATE;
        break;
    case WM_PAINT:
        Paint(window);
        break;
    case WM_ERASEBKGND: {
        const RECT whole{0, 0, Side, Side};
        SetDCBrushColor(reinterpret_cast<HDC>(wParam), ColorKey);
        FillRect(reinterpret_cast<HDC>(wParam), &whole, static_cast<HBRUSH>(GetStockObject(DC_BRUSH)));
        return 0;
    }
    default:
        break;
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

void BareLife::Paint(HWND window)
{
    Gdiplus::GpFontFamily* family = nullptr;
    Gdiplus::GpPath* path = nullptr;
    Gdiplus::GpGraphics* graphics = nullptr;
    Gdiplus::GpSolidFill* brush = nullptr;
    Gdiplus::REAL size = 0;
    INT style = 0;
    Gdiplus::RectF bounds;
    Gdiplus::RectF place;
    Flat::GdipGetFamily(m_font, &family);
    Flat::GdipGetFontSize(m_font, &size);
    Flat::GdipGetFontStyle(m_font, &style);
    Flat::GdipCreatePath(Gdiplus::FillModeAlternate, &path);
    Flat::GdipAddPathString(path, m_prompt, -1, family, style, size, &place, m_format);
    Flat::GdipGetPathWorldBounds(path, &bounds, nullptr, nullptr);
    Flat::GdipDeletePath(path);
    Flat::GdipDeleteFontFamily(family);

    PAINTSTRUCT paint;
    Flat::GdipCreateFromHDC(BeginPaint(window, &paint), &graphics);
    Flat::GdipDrawImageRectI(graphics, m_image, 280, 10, 80, 80);
    Flat::GdipSetTextRenderingHint(graphics, Gdiplus::TextRenderingHintSingleBitPerPixelGridFit);
    Flat::GdipCreateSolidFill(0xFFFFFFFF, &brush);
    place.X = 390.0F - bounds.Width;
    place.Y = 100.0F;
    Flat::GdipDrawString(graphics, m_prompt, -1, m_font, &place, m_format, brush);
    Flat::GdipDeleteBrush(brush);
    Flat::GdipDeleteGraphics(graphics);
    EndPaint(window, &paint);
    m_signals.painted.Raise();
}

void BareLife::QueryService(const wchar_t* name)
{
    const SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, GENERIC_READ);
    const SC_HANDLE service = OpenServiceW(manager, name, SERVICE_QUERY_STATUS);
    SERVICE_STATUS status{};
    QueryServiceStatus(service, &status);
    Sleep(status.dwWaitHint);
    QueryServiceStatus(service, &status);
    CloseServiceHandle(service);
    CloseServiceHandle(manager);
}

void BareLife::RunWatchdog()
{
    QueryService(L"vcsFPService");
    QueryService(L"VexaFPService");
    const KernelHandle thread = StartThread<&BareLife::RunIdentification>();
    while (WaitForSingleObject(thread.Get(), 5000) == WAIT_TIMEOUT) {
    }
}

void BareLife::RunIdentification()
{
    Bind();
    Stub_Probe();
    Stub_CaptureStop();
    Bind();
    Stub_Probe();
    Stub_IsPbaEnable();
    long size = 0;
    vcsWavPbaOpen(2);
    vcsWavPbaGetAuthUserCreds(nullptr, &size);
    vcsWavPbaGetAuthUserCreds(m_record, &size);
    vcsWavPbaClose();
    long value = 0;
    long count = 0;
    Stub_ListEnroll(nullptr, &value, &count);
    m_prompt = L"Please scan a finger";
    SendMessageW(m_window, WM_SHOW_PROMPT, 0, 0);
    for (;;) {
        Stub_IdentifyEnroll(m_record);
        if (m_stop)
            break;
        if (m_texts != nullptr)
            Write(m_texts->match.front());
        SendMessageW(m_window, WM_MATCH, 0, 0);
        GetPrivateProfileIntW(L"Public", L"LockCount", 0, Ini);
        GetPrivateProfileIntW(L"Public", L"LockEnable", 0, Ini);
        Sleep(100);
    }
    ShowWindow(m_window, SW_HIDE);
}

void BareLife::CheckAccount(const wchar_t* domain)
{
    const BSTR lowered = SysAllocString(domain);
    CharLowerBuffW(lowered, SysStringLen(lowered));
    wchar_t computer[256] = {};
    DWORD units = std::size(computer);
    GetComputerNameW(computer, &units);
    const BSTR own = SysAllocString(computer);
    CharLowerBuffW(own, SysStringLen(own));
    VarBstrCmp(own, lowered, LOCALE_USER_DEFAULT, 0);
    SysFreeString(own);
    SysFreeString(lowered);
    wchar_t* state = nullptr;
    DWORD bytes = 0;
    if (WTSQuerySessionInformationW(WTS_CURRENT_SERVER_HANDLE, WTS_CURRENT_SESSION, WTSConnectState, &state,
                                    &bytes))
        WTSFreeMemory(state);
}

void BareLife::Announce()
{
    const auto* const user = reinterpret_cast<const wchar_t*>(m_record);
    CheckAccount(user + 160);
    PlainLogonUserExW(user, user + 160, user + 66, LOGON32_LOGON_INTERACTIVE, 0, nullptr, nullptr, nullptr,
                      nullptr, nullptr);
    ShowWindow(m_window, SW_HIDE);
    for (std::size_t line = 1; m_texts != nullptr && line < m_texts->match.size(); ++line)
        Write(m_texts->match[line]);
    m_signals.announced.Raise();
}

void BareLife::Serialize()
{
    wchar_t computer[MAX_COMPUTERNAME_LENGTH + 1];
    DWORD units = std::size(computer);
    GetComputerNameW(computer, &units);
    auto* const user = reinterpret_cast<wchar_t*>(m_record);
    CRED_PROTECTION_TYPE protection = CredUnprotected;
    PlainCredIsProtectedW(user + 66, &protection);
    DWORD protectedUnits = 0;
    const DWORD passwordUnits = DWORD(std::wcslen(user + 66)) + 1;
    PlainCredProtectW(FALSE, user + 66, passwordUnits, nullptr, &protectedUnits, nullptr);
    auto* const protectedText = static_cast<wchar_t*>(CoTaskMemAlloc(protectedUnits * sizeof(wchar_t)));
    PlainCredProtectW(FALSE, user + 66, passwordUnits, protectedText, &protectedUnits, nullptr);
    void* const packed = CoTaskMemAlloc(64 + sizeof m_record);
    HANDLE lsa = nullptr;
    LsaConnectUntrusted(&lsa);
    char name[] = "Negotiate";
    LSA_STRING negotiate{sizeof name - 1, sizeof name, name};
    ULONG package = 0;
    PlainLsaLookupAuthenticationPackage(lsa, &negotiate, &package);
    LsaDeregisterLogonProcess(lsa);
    _access(LogFolder, 0); // each line of a log looks whether there is to be one
    CoTaskMemFree(protectedText);
    CoTaskMemFree(packed);
}

void BareLife::Release()
{
    m_stop = true;
    if (m_stopApart)
        WaitForSingleObject(StartThread<&BareLife::StopCapture>().Get(), INFINITE);
    else
        StopCapture();
    WaitForSingleObject(m_watchdog.Get(), INFINITE);
    PostMessageW(m_window, WM_END, 0, 0);
    Flat::GdipDisposeImage(m_image);
    Flat::GdipDeleteFont(m_font);
    Flat::GdipDeleteStringFormat(m_format);
    Gdiplus::GdiplusShutdown(m_gdiplus);
    SetEvent(m_serviceEvent);
    CloseHandle(m_serviceEvent);
}

} // namespace

Life* MakeBareLife(Signals& signals, const LogTexts* texts, bool stopApart)
{
    return new BareLife(signals, texts, stopApart);
}
