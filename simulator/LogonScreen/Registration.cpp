#include "Registration.h"
#include "base/Handle.h"
#include "Names.h"
#include "Text.h"

namespace Registration {

namespace {

constexpr wchar_t g_providerName[] = L"FingerPrint";
constexpr wchar_t g_providerList[] =
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\Credential Providers\\";

std::wstring ClassKey(const GUID& clsid)
{
    return L"CLSID\\" + GuidText(clsid);
}

std::wstring ServerKey(const GUID& clsid)
{
    return ClassKey(clsid) + L"\\InprocServer32";
}

std::wstring ListKey(const GUID& clsid)
{
    return g_providerList + GuidText(clsid);
}

LSTATUS WriteText(HKEY root, const std::wstring& key, const wchar_t* value, const std::wstring& text)
{
    return RegSetKeyValueW(root, key.c_str(), value, REG_SZ, text.c_str(),
                           static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

std::wstring ReadText(HKEY root, const std::wstring& key, const wchar_t* value)
{
    wchar_t text[MAX_PATH * 2] = L"";
    DWORD bytes = sizeof(text);
    // An expandable path comes back expanded.
    if (RegGetValueW(root, key.c_str(), value, RRF_RT_REG_SZ, nullptr, text, &bytes) != ERROR_SUCCESS)
        return std::wstring();
    return text;
}

} // namespace

LSTATUS Write(const GUID& clsid, const std::wstring& dll)
{
    wchar_t full[MAX_PATH * 2] = L"";
    if (GetFullPathNameW(dll.c_str(), ARRAYSIZE(full), full, nullptr) == 0)
        return static_cast<LSTATUS>(GetLastError());

    LSTATUS error = WriteText(HKEY_CLASSES_ROOT, ClassKey(clsid), nullptr, g_providerName);
    if (error == ERROR_SUCCESS)
        error = WriteText(HKEY_CLASSES_ROOT, ServerKey(clsid), nullptr, full);
    if (error == ERROR_SUCCESS)
        error = WriteText(HKEY_CLASSES_ROOT, ServerKey(clsid), L"ThreadingModel", L"Apartment");
    // Last, so that LogonUI is never pointed at a class that is only half there.
    if (error == ERROR_SUCCESS)
        error = WriteText(HKEY_LOCAL_MACHINE, ListKey(clsid), nullptr, g_providerName);
    return error;
}

LSTATUS Remove(const GUID& clsid)
{
    const LSTATUS listed = RegDeleteTreeW(HKEY_LOCAL_MACHINE, ListKey(clsid).c_str());
    const LSTATUS registered = RegDeleteTreeW(HKEY_CLASSES_ROOT, ClassKey(clsid).c_str());
    return listed != ERROR_SUCCESS && listed != ERROR_FILE_NOT_FOUND ? listed : registered;
}

std::wstring ServerPath(const GUID& clsid)
{
    return ReadText(HKEY_CLASSES_ROOT, ServerKey(clsid), nullptr);
}

std::wstring ThreadingModel(const GUID& clsid)
{
    return ReadText(HKEY_CLASSES_ROOT, ServerKey(clsid), L"ThreadingModel");
}

bool IsListed(const GUID& clsid)
{
    RegistryKey key;
    return RegOpenKeyExW(HKEY_LOCAL_MACHINE, ListKey(clsid).c_str(), 0, KEY_READ, key.Put()) == ERROR_SUCCESS;
}

} // namespace Registration
