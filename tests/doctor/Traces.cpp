#include "Traces.h"

#include "Handle.h"

#include <filesystem>

namespace fs = std::filesystem;

namespace {

using Traces = std::vector<std::wstring>;

/// The key and all below it.
void WalkKeys(const wchar_t* root, REGSAM view, Traces& traces)
{
    Traces paths{root};
    while (!paths.empty()) {
        const std::wstring path = paths.back();
        paths.pop_back();
        RegistryKey key;
        RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ | view, key.Put());
        DWORD keys = 0;
        DWORD values = 0;
        ULARGE_INTEGER time{};
        RegQueryInfoKeyW(key.Get(), nullptr, nullptr, nullptr, &keys, nullptr, nullptr, &values, nullptr,
                         nullptr, nullptr, reinterpret_cast<FILETIME*>(&time));
        traces.push_back(path + L' ' + std::to_wstring(keys) + L' ' + std::to_wstring(values) + L' ' +
                         std::to_wstring(time.QuadPart));
        wchar_t name[256] = L"";
        for (DWORD index = 0; RegEnumKeyW(key.Get(), index, name, ARRAYSIZE(name)) == ERROR_SUCCESS; ++index)
            paths.push_back(path + L'\\' + name);
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
            WalkKeys(path, view, traces);
    }
    for (const wchar_t* folder : {L"C:\\", L"C:\\CPLog", L"c:\\FPLog", LR"(C:\Users\Public)"}) {
        std::error_code error;
        for (const fs::directory_entry& entry : fs::directory_iterator(folder, error))
            traces.push_back(entry.path().wstring());
    }
    return traces;
}
