// Functions that Windows answers as ever, and that are replaced only so that they are counted and can be made
// to fail.
#include "WindowsModel/Replacement.h"

#include <cfgmgr32.h>
#include <objbase.h>
#include <oleauto.h>
#include <rpc.h>
#include <rpcdce.h>
#include <setupapi.h>
#include <shlwapi.h>
#include <wincrypt.h>

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
    SIM_PASSED_AS(Failures, Status, GdiplusStartup, int(ULONG_PTR* token, const void* input, void* output)),
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

} // namespace

} // namespace WindowsModel
