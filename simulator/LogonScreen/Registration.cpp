#include "Registration.h"
#include "Names.h"
#include "Options.h"
#include "Provider.h"
#include "Text.h"

namespace Registration {

namespace {

constexpr wchar_t ProviderName[] = L"FingerPrint";
constexpr wchar_t ProviderList[] =
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Authentication\\Credential Providers\\";

std::wstring ClassKey()
{
    return L"CLSID\\" + GuidText(ProviderClass);
}

std::wstring ServerKey()
{
    return ClassKey() + L"\\InprocServer32";
}

std::wstring ListKey()
{
    return ProviderList + GuidText(ProviderClass);
}

LSTATUS WriteText(HKEY root, const std::wstring& key, const wchar_t* value, const std::wstring& text)
{
    return RegSetKeyValueW(root, key.c_str(), value, REG_SZ, text.c_str(),
                           static_cast<DWORD>((text.size() + 1) * sizeof(wchar_t)));
}

std::wstring ReadText(const std::wstring& key, const wchar_t* value)
{
    wchar_t text[MAX_PATH * 2] = L"";
    DWORD bytes = sizeof(text);
    // An expandable path comes back expanded.
    if (RegGetValueW(HKEY_CLASSES_ROOT, key.c_str(), value, RRF_RT_REG_SZ, nullptr, text, &bytes) !=
        ERROR_SUCCESS)
        return std::wstring();
    return text;
}

/// Why LogonUI could not use the file; empty when it could. Nothing of the file is run.
std::wstring Unfitness(const std::wstring& path)
{
    const ModuleHandle module(LoadLibraryExW(path.c_str(), nullptr, DONT_RESOLVE_DLL_REFERENCES));
    if (!module) {
        const DWORD error = GetLastError();
        return error == ERROR_BAD_EXE_FORMAT ? L"it is no 64-bit DLL" : ErrorText(error);
    }
    const auto* base = reinterpret_cast<const BYTE*>(module.Get());
    const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS64*>(
        base + reinterpret_cast<const IMAGE_DOS_HEADER*>(base)->e_lfanew);
    if (headers->FileHeader.Machine != IMAGE_FILE_MACHINE_AMD64 ||
        (headers->FileHeader.Characteristics & IMAGE_FILE_DLL) == 0)
        return L"it is no 64-bit DLL";
    for (const char* name : {"DllGetClassObject", "DllCanUnloadNow"})
        if (GetProcAddress(module.Get(), name) == nullptr)
            return L"it does not export " + FromUtf8(name);
    return std::wstring();
}

bool Succeeded(LSTATUS error, const wchar_t* what)
{
    if (error == ERROR_SUCCESS)
        return true;
    PrintError(Format(L"LogonScreen: %s: %s%s\n", what, ErrorText(static_cast<DWORD>(error)).c_str(),
                      error == ERROR_ACCESS_DENIED ? L"\nRun this as administrator." : L""));
    return false;
}

} // namespace

Entry Read()
{
    RegistryKey key;
    const bool listed =
        RegOpenKeyExW(HKEY_LOCAL_MACHINE, ListKey().c_str(), 0, KEY_READ, key.Put()) == ERROR_SUCCESS;
    return {ReadText(ServerKey(), nullptr), ReadText(ServerKey(), L"ThreadingModel"), listed};
}

bool Write(const std::wstring& dll)
{
    wchar_t full[MAX_PATH * 2] = L"";
    GetFullPathNameW(dll.c_str(), ARRAYSIZE(full), full, nullptr);
    if (const std::wstring why = Unfitness(full); !why.empty()) {
        PrintError(Format(L"LogonScreen: %s can't be registered: %s\n", full, why.c_str()));
        return false;
    }
    const std::wstring before = Read().dll;
    LSTATUS error = WriteText(HKEY_CLASSES_ROOT, ClassKey(), nullptr, ProviderName);
    if (error == ERROR_SUCCESS)
        error = WriteText(HKEY_CLASSES_ROOT, ServerKey(), nullptr, full);
    if (error == ERROR_SUCCESS)
        error = WriteText(HKEY_CLASSES_ROOT, ServerKey(), L"ThreadingModel", L"Apartment");
    // Last, so that LogonUI is never pointed at a class that is only half there.
    if (error == ERROR_SUCCESS)
        error = WriteText(HKEY_LOCAL_MACHINE, ListKey(), nullptr, ProviderName);
    if (!Succeeded(error, L"the registration could not be written"))
        return false;
    PrintOut(Format(L"%s registered: %s\n", GuidText(ProviderClass).c_str(), full));
    if (!before.empty() && lstrcmpiW(before.c_str(), full) != 0)
        PrintOut(L"It replaces " + before + L"\n");
    return true;
}

bool Remove()
{
    const Entry before = Read();
    // First, so that LogonUI is never pointed at a class that is only half there.
    LSTATUS error = RegDeleteTreeW(HKEY_LOCAL_MACHINE, ListKey().c_str());
    if (error == ERROR_SUCCESS || error == ERROR_FILE_NOT_FOUND)
        error = RegDeleteTreeW(HKEY_CLASSES_ROOT, ClassKey().c_str());
    if (error != ERROR_FILE_NOT_FOUND && !Succeeded(error, L"the registration could not be removed"))
        return false;
    PrintOut(GuidText(ProviderClass) + (before.IsThere() ? L" unregistered" : L" was not registered"));
    PrintOut(before.dll.empty() ? L"\n" : L": " + before.dll + L"\n");
    return true;
}

bool Tell()
{
    const Entry entry = Read();
    PrintOut(GuidText(ProviderClass) +
             (entry.dll.empty() ? L" is not registered as a COM class\n"
                                : L": " + entry.dll + L", threading model " + entry.threadingModel + L"\n"));
    PrintOut(entry.isListed ? L"LogonUI asks it: it is listed among the credential providers\n"
                            : L"LogonUI does not ask it: it is not listed among the credential providers\n");
    return !entry.dll.empty() && entry.isListed;
}

} // namespace Registration
