// The floor: what the DLL's calls of Windows and of the service cost by themselves.
#include "Life.h"

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
#include <io.h>

namespace {

namespace Flat = Gdiplus::DllExports;

constexpr UINT WM_MATCH = WM_USER + 1;
constexpr UINT WM_SHOW_PROMPT = WM_USER + 2;
constexpr UINT WM_END = WM_USER + 3;
constexpr wchar_t ClassName[] = L"BareWindow";
constexpr int Side = 400;
constexpr COLORREF ColorKey = RGB(0xFF, 0x00, 0xFF);
constexpr char LogFolder[] = "C:\\CPLog";
constexpr wchar_t Ini[] = LR"(C:\Users\Public\VEXA\FingerPrint\config.ini)";
constexpr char ServiceEvent[] = "Global\\{D3368B8A-2EA4-49d7-A2B0-6F711BAD3DB9}";
constexpr char Step1Event[] = "Global\\{689E254C-9110-4F0B-AB84-002C3CB331B6}";

Direction* g_direction = nullptr;
HANDLE g_serviceEvent = nullptr;
RPC_WSTR g_stringBinding = nullptr;
std::atomic<HWND> g_window = nullptr;
std::atomic<bool> g_stop = false;
KernelHandle g_windowThread;
KernelHandle g_watchdog;
const wchar_t* g_prompt = L"";
ULONG_PTR g_gdiplus = 0;
Gdiplus::GpStringFormat* g_format = nullptr;
Gdiplus::GpFont* g_font = nullptr;
Gdiplus::GpBitmap* g_image = nullptr;

union { // what the service fills in
    byte bytes[386];
    struct {
        wchar_t user[66];
        wchar_t password[94];
        wchar_t domain[33];
    };
} g_record = {};

template <void (*Body)()>
KernelHandle StartThread()
{
    const auto entry = [](void*) -> DWORD {
        Body();
        return 0;
    };
    return KernelHandle(CreateThread(nullptr, 0, entry, nullptr, 0, nullptr));
}

// The folder is looked for, and the file opened again, for each line, as the DLL has to.
void Write(const std::wstring& line)
{
    _access(LogFolder, 0);
    FILE* const file = std::fopen("C:\\CPLog\\bare.txt", "ab");
    Require(file != nullptr, "the log can't be opened");
    std::fwrite(line.data(), sizeof(wchar_t), line.size(), file);
    std::fflush(file);
    std::fclose(file);
}

// What was bound before leaks, as it does in the DLL: deliberate.
void Bind()
{
    RpcStringBindingComposeW(nullptr, RPC_WSTR(L"ncalrpc"), nullptr, RPC_WSTR(L"VexaFP"), nullptr,
                             &g_stringBinding);
    RpcBindingFromStringBindingW(g_stringBinding, &g_hFPBinding);
}

void FindSensor()
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

template <class Function>
Function Find(HMODULE library, const char* name)
{
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

void Create(Direction& direction)
{
    g_direction = &direction;
    g_stop = false;
    OutputDebugStringA("VEXACredential Provider CreateInstance");
    g_serviceEvent = CreateEventA(nullptr, FALSE, FALSE, ServiceEvent);
    FindSensor();
    PathFileExistsW(LR"(c:\windows\system32\vcsWavePba.dll)");
    HKEY key = nullptr;
    DWORD enable = 0;
    DWORD bytes = sizeof enable;
    RegOpenKeyExW(HKEY_LOCAL_MACHINE, LR"(SOFTWARE\VEXA\FingerPrint)", 0, KEY_READ | KEY_WOW64_32KEY, &key);
    RegQueryValueExW(key, L"Enable", nullptr, nullptr, reinterpret_cast<BYTE*>(&enable), &bytes);
    RegCloseKey(key);
    const HMODULE library = LoadLibraryA("vcsWavePba.dll");
    const auto open = Find<decltype(&vcsWavPbaOpen)>(library, "vcsWavPbaOpen");
    const auto isEnabled = Find<decltype(&vcsWavIsPbaEnabled)>(library, "vcsWavIsPbaEnabled");
    const auto close = Find<decltype(&vcsWavPbaClose)>(library, "vcsWavPbaClose");
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

void Paint(HWND window)
{
    Gdiplus::GpFontFamily* family = nullptr;
    Gdiplus::GpPath* path = nullptr;
    Gdiplus::GpGraphics* graphics = nullptr;
    Gdiplus::GpSolidFill* brush = nullptr;
    Gdiplus::REAL size = 0;
    INT style = 0;
    Gdiplus::RectF bounds;
    Gdiplus::RectF place;
    Flat::GdipGetFamily(g_font, &family);
    Flat::GdipGetFontSize(g_font, &size);
    Flat::GdipGetFontStyle(g_font, &style);
    Flat::GdipCreatePath(Gdiplus::FillModeAlternate, &path);
    Flat::GdipAddPathString(path, g_prompt, -1, family, style, size, &place, g_format);
    Flat::GdipGetPathWorldBounds(path, &bounds, nullptr, nullptr);
    Flat::GdipDeletePath(path);
    Flat::GdipDeleteFontFamily(family);

    PAINTSTRUCT paint;
    Flat::GdipCreateFromHDC(BeginPaint(window, &paint), &graphics);
    Flat::GdipDrawImageRectI(graphics, g_image, 280, 10, 80, 80);
    Flat::GdipSetTextRenderingHint(graphics, Gdiplus::TextRenderingHintSingleBitPerPixelGridFit);
    Flat::GdipCreateSolidFill(0xFFFFFFFF, &brush);
    place.X = 390.0F - bounds.Width;
    place.Y = 100.0F;
    Flat::GdipDrawString(graphics, g_prompt, -1, g_font, &place, g_format, brush);
    Flat::GdipDeleteBrush(brush);
    Flat::GdipDeleteGraphics(graphics);
    EndPaint(window, &paint);
    g_direction->painted.Raise();
}

void CheckAccount(const wchar_t* domain)
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

void Announce()
{
    CheckAccount(g_record.domain);
    PlainLogonUserExW(g_record.user, g_record.domain, g_record.password, LOGON32_LOGON_INTERACTIVE, 0,
                      nullptr, nullptr, nullptr, nullptr, nullptr);
    ShowWindow(g_window, SW_HIDE);
    for (std::size_t line = 1; line < g_direction->match.size(); ++line)
        Write(g_direction->match[line]);
    g_direction->announced.Raise();
}

LRESULT CALLBACK Handle(HWND window, UINT message, WPARAM wParam, LPARAM lParam)
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

void QueryService(const wchar_t* name)
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

void RunIdentification()
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
    vcsWavPbaGetAuthUserCreds(g_record.bytes, &size);
    vcsWavPbaClose();
    long value = 0;
    long count = 0;
    Stub_ListEnroll(nullptr, &value, &count);
    g_prompt = L"Please scan a finger";
    SendMessageW(g_window, WM_SHOW_PROMPT, 0, 0);
    for (;;) {
        Stub_IdentifyEnroll(g_record.bytes);
        if (g_stop)
            break;
        if (!g_direction->match.empty())
            Write(g_direction->match.front());
        SendMessageW(g_window, WM_MATCH, 0, 0);
        GetPrivateProfileIntW(L"Public", L"LockCount", 0, Ini);
        GetPrivateProfileIntW(L"Public", L"LockEnable", 0, Ini);
        Sleep(100);
    }
    ShowWindow(g_window, SW_HIDE);
}

void RunWatchdog()
{
    QueryService(L"vcsFPService");
    QueryService(L"VexaFPService");
    const KernelHandle thread = StartThread<RunIdentification>();
    while (WaitForSingleObject(thread.Get(), 5000) == WAIT_TIMEOUT) {
    }
}

void RunWindow()
{
    const HINSTANCE instance = GetModuleHandleW(nullptr);
    WNDCLASSEXW windowClass{};
    windowClass.cbSize = sizeof windowClass;
    windowClass.style = CS_HREDRAW | CS_VREDRAW;
    windowClass.lpfnWndProc = Handle;
    windowClass.hInstance = instance;
    windowClass.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    windowClass.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_WINDOW + 1);
    windowClass.lpszClassName = ClassName;
    RegisterClassExW(&windowClass);
    const HWND window = CreateWindowExW(WS_EX_NOACTIVATE | WS_EX_LAYERED | WS_EX_TOPMOST, ClassName,
                                        L"Window", WS_POPUP | WS_VISIBLE, CW_USEDEFAULT, CW_USEDEFAULT, Side,
                                        Side, nullptr, nullptr, instance, nullptr);
    g_window = window;
    ShowWindow(window, SW_HIDE);
    SetLayeredWindowAttributes(window, ColorKey, 0, LWA_COLORKEY);
    MoveWindow(window, GetSystemMetrics(SM_CXSCREEN) - Side, 0, Side, Side, FALSE);
    ShowWindow(window, SW_SHOWNORMAL);
    g_watchdog = StartThread<RunWatchdog>();
    MSG message;
    do {
        GetMessageW(&message, window, 0, 0);
        TranslateMessage(&message);
        DispatchMessageW(&message);
    } while (message.message != WM_END);
    DestroyWindow(window);
    UnregisterClassW(ClassName, instance);
}

void Start()
{
    g_prompt = L"Loading\x2026";
    constexpr int promptImage = 103;
    Flat::GdipCreateStringFormat(0, LANG_NEUTRAL, &g_format);
    GetSystemDefaultLCID();
    const Gdiplus::GdiplusStartupInput input;
    Gdiplus::GdiplusStartup(&g_gdiplus, &input, nullptr);
    if (g_format == nullptr)
        Flat::GdipCreateStringFormat(0, LANG_NEUTRAL, &g_format);
    Flat::GdipSetStringFormatAlign(g_format, Gdiplus::StringAlignmentNear);
    Flat::GdipSetStringFormatLineAlign(g_format, Gdiplus::StringAlignmentNear);
    Gdiplus::GpFontFamily* family = nullptr;
    Flat::GdipCreateFontFamilyFromName(L"Arial", nullptr, &family);
    Flat::GdipCreateFont(family, 12.0F, Gdiplus::FontStyleBold, Gdiplus::UnitPixel, &g_font);
    Flat::GdipDeleteFontFamily(family);

    const HMODULE module = GetModuleHandleW(L"VexaFPCredentialProvider.DLL");
    const HRSRC resource = FindResourceW(module, MAKEINTRESOURCEW(promptImage), L"PNG");
    const HGLOBAL loaded = LoadResource(module, resource);
    const DWORD size = SizeofResource(module, resource);
    const HGLOBAL block = GlobalAlloc(GMEM_FIXED, size); // leaks too: deliberate
    std::memcpy(block, LockResource(loaded), size);
    IStream* stream = nullptr;
    CreateStreamOnHGlobal(block, FALSE, &stream);
    Flat::GdipCreateBitmapFromStream(stream, &g_image);
    stream->Release();
    FreeResource(loaded);
    g_windowThread = StartThread<RunWindow>();
}

void Serialize()
{
    wchar_t computer[MAX_COMPUTERNAME_LENGTH + 1];
    DWORD computerUnits = std::size(computer);
    GetComputerNameW(computer, &computerUnits);
    CRED_PROTECTION_TYPE protection = CredUnprotected;
    PlainCredIsProtectedW(g_record.password, &protection);
    DWORD protectedUnits = 0;
    const DWORD units = DWORD(std::wcslen(g_record.password)) + 1;
    PlainCredProtectW(FALSE, g_record.password, units, nullptr, &protectedUnits, nullptr);
    auto* const protectedText = static_cast<wchar_t*>(CoTaskMemAlloc(protectedUnits * sizeof(wchar_t)));
    PlainCredProtectW(FALSE, g_record.password, units, protectedText, &protectedUnits, nullptr);
    void* const packed = CoTaskMemAlloc(64 + sizeof g_record);
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

void LogLine()
{
    Write(g_direction->line);
}

void StopCapture()
{
    Stub_CaptureStop();
}

void Release()
{
    g_stop = true;
    if (g_direction->stopApart)
        WaitForSingleObject(StartThread<StopCapture>().Get(), INFINITE);
    else
        StopCapture();
    WaitForSingleObject(g_watchdog.Get(), INFINITE);
    PostMessageW(g_window, WM_END, 0, 0);
    Flat::GdipDisposeImage(g_image);
    Flat::GdipDeleteFont(g_font);
    Flat::GdipDeleteStringFormat(g_format);
    Gdiplus::GdiplusShutdown(g_gdiplus);
    SetEvent(g_serviceEvent);
    CloseHandle(g_serviceEvent);
}

void AwaitEnd()
{
    WaitForSingleObject(g_windowThread.Get(), INFINITE);
}

} // namespace

const Life g_bareLife = {Create, Start, Serialize, LogLine, Release, AwaitEnd};
