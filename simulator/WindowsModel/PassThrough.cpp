// Functions that Windows answers as ever, and that are replaced only so that they are counted and can be made
// to fail.
#include "WindowsModel/Replacement.h"
#include "vcsWavePba.h"

#include <cfgmgr32.h>
#include <objbase.h>
#include <oleauto.h>
#include <rpc.h>
#include <rpcdce.h>
#include <setupapi.h>
#include <shlwapi.h>
#include <wincrypt.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <cwchar>
#include <io.h>

namespace WindowsModel {

namespace {

const Replacement g_replacements[] = {
    // Memory and text
    SIM_PASSED(Failures, LastError, CoTaskMemAlloc),
    SIM_PASSED(Failures, Never, CoTaskMemFree),
    SIM_PASSED(Failures, LastError, GlobalAlloc),
    SIM_PASSED(Failures, LastError, LocalAlloc),
    SIM_PASSED(Failures, Status, SHStrDupW),
    SIM_PASSED(Failures, LastError, SysAllocString),

    // Modules and resources
    SIM_PASSED(Failures, LastError, GetModuleHandleW),
    SIM_PASSED(Failures, LastError, GetModuleHandleExW),
    SIM_PASSED(Failures, LastError, LoadLibraryA),
    SIM_PASSED(Failures, LastError, LoadLibraryW),
    SIM_PASSED(Failures, LastError, GetProcAddress),
    SIM_PASSED(Failures, LastError, FindResourceW),
    SIM_PASSED(Failures, LastError, LoadResource),
    SIM_PASSED(Failures, LastError, LockResource),
    SIM_PASSED(Failures, LastError, SizeofResource),
    SIM_PASSED(Failures, LastError, LoadBitmapW),

    // Threads and events
    SIM_PASSED(Failures, LastError, CreateThread),
    SIM_PASSED(Failures, LastError, GetExitCodeThread),
    SIM_PASSED(Failures, LastError, CreateEventA),
    SIM_PASSED(Failures, LastError, CreateEventW),
    SIM_PASSED(Failures, LastError, OpenEventA),
    SIM_PASSED(Failures, LastError, OpenEventW),
    SIM_PASSED(Failures, LastError, SetEvent),

    // Security
    SIM_PASSED(Failures, LastError, InitializeSecurityDescriptor),
    SIM_PASSED(Failures, LastError, SetSecurityDescriptorDacl),

    // Windows and drawing
    SIM_PASSED(Failures, LastError, RegisterClassExW),
    SIM_PASSED(Failures, LastError, CreateWindowExW),
    SIM_PASSED(Failures, Invalid, GetMessageW),
    SIM_PASSED(Failures, LastError, PostMessageW),
    SIM_PASSED(Failures, LastError, DestroyWindow),
    SIM_PASSED(Failures, LastError, UnregisterClassW),
    SIM_PASSED(Failures, LastError, ShowWindow),
    SIM_PASSED(Failures, LastError, MoveWindow),
    SIM_PASSED(Failures, LastError, SetLayeredWindowAttributes),
    SIM_PASSED(Failures, LastError, RedrawWindow),
    SIM_PASSED(Failures, LastError, BeginPaint),
    SIM_PASSED(Failures, Status, CreateStreamOnHGlobal),
    SIM_PASSED_AS(Failures, Status, GdipCreateFromHDC, int(HDC dc, void** graphics)),
    SIM_PASSED_AS(Failures, Status, GdipCreateBitmapFromStream, int(IStream* stream, void** bitmap)),
    SIM_PASSED_AS(Failures, Status, GdipCreateBitmapFromHBITMAP,
                  int(HBITMAP bitmap, HPALETTE palette, void** image)),
    SIM_PASSED_AS(Failures, Status, GdipCreateSolidFill, int(DWORD colour, void** brush)),
    SIM_PASSED_AS(Failures, Status, GdipCreatePath, int(int fillMode, void** path)),
    SIM_PASSED_AS(Failures, Status, GdipCreateFont,
                  int(const void* family, float size, int style, int unit, void** font)),
    SIM_PASSED_AS(Failures, Status, GdipCreateFontFamilyFromName,
                  int(const wchar_t* name, void* collection, void** family)),
    SIM_PASSED_AS(Failures, Status, GdipCreateStringFormat,
                  int(int attributes, LANGID language, void** format)),
    SIM_PASSED_AS(Failures, Status, GdipSetStringFormatAlign, int(void* format, int alignment)),
    SIM_PASSED_AS(Failures, Status, GdipSetStringFormatLineAlign, int(void* format, int alignment)),

    // Files and the registry
    SIM_PASSED(Failures, LastError, PathFileExistsW),
    SIM_PASSED(Failures, LastError, WritePrivateProfileStringW),
    SIM_PASSED(Failures, Status, RegOpenKeyExW),
    SIM_PASSED(Failures, Status, RegCreateKeyExW),
    SIM_PASSED(Failures, Status, RegQueryValueExW),
    SIM_PASSED(Failures, Status, RegSetValueExW),

    // Remote procedure calls
    SIM_PASSED(Failures, Status, RpcStringBindingComposeW),
    SIM_PASSED(Failures, Status, RpcBindingFromStringBindingW),
    SIM_PASSED(Failures, Status, RpcStringFreeW),
    SIM_PASSED(Failures, Status, RpcBindingFree),

    // Encryption
    SIM_PASSED(Failures, LastError, CryptAcquireContextW),
    SIM_PASSED(Failures, LastError, CryptCreateHash),
    SIM_PASSED(Failures, LastError, CryptHashData),
    SIM_PASSED(Failures, LastError, CryptDeriveKey),
    SIM_PASSED(Failures, LastError, CryptEncrypt),
    SIM_PASSED(Failures, LastError, CryptDecrypt),
    SIM_PASSED(Failures, LastError, CryptBinaryToStringW),
    SIM_PASSED(Failures, LastError, CryptStringToBinaryW),
};
const Table g_table(g_replacements);

// What fails so seldom that only a search through all faults lets it fail. Neither here nor above stands what
// has no way to fail.
using Call = void*(void*, void*, void*, void*, void*, void*, void*, void*, void*, void*, void*, void*);

const Replacement g_rare[] = {
    // Memory, text and the C runtime
    SIM_PASSED(Rare, LastError, malloc),
    SIM_PASSED(Rare, LastError, calloc),
    SIM_PASSED(Rare, LastError, realloc),
    SIM_PASSED(Rare, LastError, fopen),
    SIM_PASSED(Rare, LastError, fwrite),
    SIM_PASSED(Rare, Invalid, fputs),
    SIM_PASSED(Rare, Invalid, fputc),
    SIM_PASSED(Rare, Invalid, fflush),
    SIM_PASSED(Rare, Invalid, fclose),
    SIM_PASSED(Rare, Invalid, _access),
    SIM_PASSED(Rare, Invalid, _time64),
    SIM_PASSED(Rare, LastError, _localtime64),
    SIM_PASSED(Rare, LastError, strftime),
    SIM_PASSED(Rare, Invalid, _vsnwprintf),
    SIM_PASSED(Rare, LastError, CharLowerBuffW),
    SIM_PASSED(Rare, LastError, CharUpperW),
    SIM_PASSED(Rare, LastError, MultiByteToWideChar),
    SIM_PASSED(Rare, LastError, WideCharToMultiByte),
    SIM_PASSED(Rare, Status, VarBstrCmp),
    SIM_PASSED(Rare, Status, QISearch),

    // Modules, threads and handles
    SIM_PASSED(Rare, LastError, GetModuleFileNameW),
    SIM_PASSED(Rare, LastError, FreeLibrary),
    SIM_PASSED(Rare, LastError, CloseHandle),
    SIM_PASSED(Rare, LastError, CreateSemaphoreW),
    SIM_PASSED(Rare, LastError, ReleaseSemaphore),
    SIM_PASSED(Rare, LastError, SleepConditionVariableSRW),
    SIM_PASSED(Rare, LastError, EqualSid),
    SIM_PASSED(Rare, Invalid, TlsAlloc),
    SIM_PASSED(Rare, LastError, TlsSetValue),

    // Windows and drawing
    SIM_PASSED(Rare, LastError, DefWindowProcW),
    SIM_PASSED(Rare, LastError, SendMessageW),
    SIM_PASSED(Rare, LastError, SendNotifyMessageW),
    SIM_PASSED(Rare, LastError, GetWindowLongW),
    SIM_PASSED(Rare, LastError, SetWindowLongW),
    SIM_PASSED(Rare, LastError, GetWindowLongPtrW),
    SIM_PASSED(Rare, LastError, SetWindowLongPtrW),
    SIM_PASSED(Rare, LastError, LoadCursorW),
    SIM_PASSED(Rare, LastError, GetSystemMetrics),
    SIM_PASSED(Rare, LastError, InvalidateRect),
    SIM_PASSED(Rare, LastError, UpdateWindow),
    SIM_PASSED(Rare, LastError, EndPaint),
    SIM_PASSED(Rare, LastError, FillRect),
    SIM_PASSED(Rare, LastError, GetStockObject),
    SIM_PASSED(Rare, Invalid, SetDCBrushColor),
    SIM_PASSED(Rare, LastError, DeleteObject),
    SIM_PASSED_AS(Rare, Status, GdipAddPathString,
                  int(void* path, const wchar_t* text, int length, const void* family, int style, float size,
                      const void* layout, const void* format)),
    SIM_PASSED_AS(Rare, Status, GdipGetPathWorldBounds,
                  int(void* path, void* bounds, const void* matrix, const void* pen)),
    SIM_PASSED_AS(Rare, Status, GdipGetFamily, int(void* font, void** family)),
    SIM_PASSED_AS(Rare, Status, GdipGetFontSize, int(void* font, float* size)),
    SIM_PASSED_AS(Rare, Status, GdipGetFontStyle, int(void* font, int* style)),
    SIM_PASSED_AS(Rare, Status, GdipGetGenericFontFamilySansSerif, int(void** family)),
    SIM_PASSED_AS(Rare, Status, GdipSetTextRenderingHint, int(void* graphics, int hint)),
    SIM_PASSED_AS(Rare, Status, GdipDisposeImage, int(void* image)),
    SIM_PASSED_AS(Rare, Status, GdipDeleteBrush, int(void* brush)),
    SIM_PASSED_AS(Rare, Status, GdipDeleteFont, int(void* font)),
    SIM_PASSED_AS(Rare, Status, GdipDeleteFontFamily, int(void* family)),
    SIM_PASSED_AS(Rare, Status, GdipDeleteGraphics, int(void* graphics)),
    SIM_PASSED_AS(Rare, Status, GdipDeletePath, int(void* path)),
    SIM_PASSED_AS(Rare, Status, GdipDeleteStringFormat, int(void* format)),

    // Settings
    SIM_PASSED(Rare, LastError, GetPrivateProfileStringW),
    SIM_PASSED(Rare, Invalid, GetFileAttributesA),
    SIM_PASSED(Rare, Status, RegCloseKey),

    // The service and the pre-boot library. The former takes as many arguments as the procedure has.
    SIM_PASSED_AS(Rare, Raises, NdrClientCall2, Call),
    SIM_PASSED(Rare, Status, vcsWavPbaOpen),
    SIM_PASSED(Rare, Status, vcsWavPbaGetAuthUserCreds),
    SIM_PASSED(Rare, Status, vcsWavPbaClose),
};
const Table g_rareTable(g_rare);

} // namespace

} // namespace WindowsModel
