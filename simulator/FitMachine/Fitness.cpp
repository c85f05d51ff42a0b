#include "Fitness.h"

#include "PreBootLibrary/Script.h"

#include <filesystem>

namespace fs = std::filesystem;

namespace FitMachine {

namespace {

constexpr std::wstring_view Vendor = L"VID_138A&PID_";
constexpr wchar_t UsbDevices[] = LR"(System\CurrentControlSet\Enum\USB)";
constexpr wchar_t Instance[] = LR"(\Simulated)";
constexpr wchar_t BiometricClass[] = L"{53D29EF7-377C-4D14-864B-EB3A85769359}";
constexpr wchar_t ProductKeyOf32BitPrograms[] = LR"(SOFTWARE\WOW6432Node\VEXA\FingerPrint)";
constexpr wchar_t SystemLibrary[] = LR"(c:\windows\system32\vcsWavePba.dll)";
constexpr wchar_t PreBootMark[] = L"Global\\{689E254C-9110-4F0B-AB84-002C3CB331B6}";

std::wstring DeviceKey(const std::wstring& device)
{
    return std::wstring(UsbDevices) + L'\\' + device;
}

bool SetText(const std::wstring& key, const wchar_t* name, DWORD type, const std::wstring& text)
{
    return RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, type, text.c_str(),
                           DWORD((text.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS;
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
    const std::wstring device = std::wstring(Vendor) + product;
    const std::wstring key = DeviceKey(device) + Instance;
    // A list of texts ends with an empty one.
    const std::wstring ids = L"USB\\" + device + std::wstring(1, L'\0');
    return SetText(key, L"ClassGUID", REG_SZ, BiometricClass) &&
           SetText(key, L"Driver", REG_SZ, std::wstring(BiometricClass) + L"\\0000") &&
           SetText(key, L"HardwareID", REG_MULTI_SZ, ids);
}

void PullOut()
{
    RegistryKey usb;
    RegOpenKeyExW(HKEY_LOCAL_MACHINE, UsbDevices, 0, KEY_READ, usb.Put());
    wchar_t name[256];
    std::vector<std::wstring> devices;
    for (DWORD index = 0; RegEnumKeyW(usb.Get(), index, name, std::size(name)) == ERROR_SUCCESS; ++index) {
        if (std::wstring_view(name).starts_with(Vendor))
            devices.emplace_back(name);
    }
    for (const std::wstring& device : devices) {
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, (DeviceKey(device) + Instance).c_str());
        // The device's own key goes when nobody else has an instance of it.
        RegDeleteKeyW(HKEY_LOCAL_MACHINE, DeviceKey(device).c_str());
    }
}

bool SetSwitch(std::optional<DWORD> enable)
{
    if (enable)
        return RegSetKeyValueW(HKEY_LOCAL_MACHINE, ProductKeyOf32BitPrograms, L"Enable", REG_DWORD, &*enable,
                               sizeof *enable) == ERROR_SUCCESS;
    const LSTATUS status = RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, ProductKeyOf32BitPrograms, L"Enable");
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
    : m_fit(PlugIn(SecondModel) && SetSwitch(1) && InstallPreBootLibrary() && PreBootLibrary::Clear()),
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
