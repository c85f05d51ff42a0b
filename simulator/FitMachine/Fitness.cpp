#include "Fitness.h"

#include "PreBootLibrary/Script.h"

#include <filesystem>

namespace fs = std::filesystem;

namespace FitMachine {

namespace {

constexpr wchar_t UsbDevices[] = LR"(System\CurrentControlSet\Enum\USB)";
constexpr wchar_t Instance[] = L"Simulated";
constexpr wchar_t BiometricClass[] = L"{53D29EF7-377C-4D14-864B-EB3A85769359}";
constexpr wchar_t ProductKey[] = LR"(SOFTWARE\VEXA\FingerPrint)";
constexpr wchar_t SystemLibrary[] = LR"(c:\windows\system32\vcsWavePba.dll)";
constexpr wchar_t PreBootMark[] = L"Global\\{689E254C-9110-4F0B-AB84-002C3CB331B6}";

bool SetText(const RegistryKey& key, const wchar_t* name, DWORD type, const std::wstring& text)
{
    return RegSetValueExW(key.Get(), name, 0, type, reinterpret_cast<const BYTE*>(text.c_str()),
                          DWORD((text.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS;
}

std::wstring DeviceId(const std::wstring& product)
{
    return L"VID_138A&PID_" + product;
}

bool Remove(const std::wstring& product)
{
    const std::wstring device = std::wstring(UsbDevices) + L'\\' + DeviceId(product);
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, (device + L'\\' + Instance).c_str());
    // The device's own key goes when nobody else has an instance of it.
    return RegDeleteKeyExW(HKEY_LOCAL_MACHINE, device.c_str(), KEY_WOW64_64KEY, 0) == ERROR_SUCCESS;
}

fs::path BuildFolder()
{
    wchar_t program[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    return fs::path(program).parent_path();
}

} // namespace

bool PlugIn(const std::wstring& product)
{
    RegistryKey key;
    const std::wstring path = std::wstring(UsbDevices) + L'\\' + DeviceId(product) + L'\\' + Instance;
    // A list of texts ends with an empty one.
    const std::wstring ids = L"USB\\" + DeviceId(product) + std::wstring(1, L'\0');
    return RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS | KEY_WOW64_64KEY,
                           nullptr, key.Put(), nullptr) == ERROR_SUCCESS &&
           SetText(key, L"ClassGUID", REG_SZ, BiometricClass) &&
           SetText(key, L"Driver", REG_SZ, std::wstring(BiometricClass) + L"\\0000") &&
           SetText(key, L"HardwareID", REG_MULTI_SZ, ids);
}

void PullOut()
{
    RegistryKey usb;
    RegOpenKeyExW(HKEY_LOCAL_MACHINE, UsbDevices, 0, KEY_READ, usb.Put());
    const std::wstring vendor = DeviceId(L"");
    std::vector<std::wstring> products;
    wchar_t name[256];
    DWORD units = std::size(name);
    for (DWORD index = 0;
         RegEnumKeyExW(usb.Get(), index, name, &units, nullptr, nullptr, nullptr, nullptr) == ERROR_SUCCESS;
         ++index, units = std::size(name)) {
        if (const std::wstring device = name; device.starts_with(vendor))
            products.push_back(device.substr(vendor.size()));
    }
    for (const std::wstring& product : products)
        Remove(product);
}

bool SetSwitch(std::optional<DWORD> enable)
{
    RegistryKey key;
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, ProductKey, 0, nullptr, 0, KEY_ALL_ACCESS | KEY_WOW64_32KEY,
                        nullptr, key.Put(), nullptr) != ERROR_SUCCESS)
        return false;
    if (enable)
        return RegSetValueExW(key.Get(), L"Enable", 0, REG_DWORD, reinterpret_cast<const BYTE*>(&*enable),
                              sizeof *enable) == ERROR_SUCCESS;
    const LSTATUS status = RegDeleteValueW(key.Get(), L"Enable");
    return status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND;
}

bool InstallPreBootLibrary(const std::wstring& lacking)
{
    // A loaded library is the one that was installed before, and its file cannot be written.
    if (GetModuleHandleW(L"vcsWavePba.dll") != nullptr)
        return lacking.empty();
    const std::wstring file =
        lacking.empty() ? L"vcsWavePba.dll" : L"vcsWavePba-without-" + lacking + L".dll";
    const std::wstring source = (BuildFolder() / L"PreBootLibrary" / file).wstring();
    return CopyFileW(source.c_str(), SystemLibrary, FALSE);
}

bool RemovePreBootLibrary()
{
    return DeleteFileW(SystemLibrary) || GetLastError() == ERROR_FILE_NOT_FOUND;
}

KernelHandle OpenPreBootMark()
{
    return KernelHandle(CreateEventW(nullptr, TRUE, FALSE, PreBootMark));
}

Scope::Scope()
    : m_fit(PlugIn(kSecondModel) && SetSwitch(1) && InstallPreBootLibrary() && PreBootLibrary::Clear()),
      m_mark(OpenPreBootMark())
{
    ForgetCheck();
}

Scope::~Scope()
{
    PullOut();
    SetSwitch(std::nullopt);
    PreBootLibrary::Clear();
}

} // namespace FitMachine
