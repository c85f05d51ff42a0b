#include "Traces.h"

#include "Handle.h"

#include <filesystem>

namespace fs = std::filesystem;

namespace {

using Traces = std::vector<std::wstring>;

void WalkKey(HKEY root, const std::wstring& path, REGSAM view, Traces& traces)
{
    RegistryKey key;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ | view, key.Put()) != ERROR_SUCCESS)
        return;
    DWORD keys = 0;
    DWORD values = 0;
    ULARGE_INTEGER time{};
    RegQueryInfoKeyW(key.Get(), nullptr, nullptr, nullptr, &keys, nullptr, nullptr, &values, nullptr, nullptr,
                     nullptr, reinterpret_cast<FILETIME*>(&time));
    traces.push_back(path + L' ' + std::to_wstring(keys) + L' ' + std::to_wstring(values) + L' ' +
                     std::to_wstring(time.QuadPart));
    for (DWORD index = 0; index < keys; ++index) {
        wchar_t name[256] = L"";
        RegEnumKeyW(key.Get(), index, name, ARRAYSIZE(name));
        WalkKey(root, path + L'\\' + name, view, traces);
    }
}

} // namespace

Traces TakeTraces()
{
    Traces traces;
    for (const REGSAM view : {KEY_WOW64_32KEY, KEY_WOW64_64KEY}) {
        for (const wchar_t* path :
             {LR"(SOFTWARE\VEXA)", LR"(SOFTWARE\Classes\CLSID)", LR"(System\CurrentControlSet)",
              LR"(SOFTWARE\Microsoft\Windows\CurrentVersion\Authentication)",
              LR"(SOFTWARE\Fingerprint Simulator)"})
            WalkKey(HKEY_LOCAL_MACHINE, path, view, traces);
    }
    for (const wchar_t* folder : {L"C:\\", L"C:\\CPLog", L"c:\\FPLog", LR"(C:\Users\Public)"}) {
        std::error_code error;
        for (const fs::directory_entry& entry : fs::directory_iterator(folder, error))
            traces.push_back(entry.path().wstring());
    }
    return traces;
}
