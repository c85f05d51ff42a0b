#include "Fitness.h"

#include "IniFile.h"
#include "PreBootLibrary/Script.h"

namespace fs = std::filesystem;

namespace FitMachine {

namespace {

// The second of the two sensors that the system knows.
constexpr wchar_t HardwareId[] = LR"(USB\VID_138A&PID_0010)";
constexpr wchar_t DeviceKey[] = LR"(System\CurrentControlSet\Enum\USB\VID_138A&PID_0010)";
constexpr wchar_t InstanceKey[] = LR"(System\CurrentControlSet\Enum\USB\VID_138A&PID_0010\Simulated)";
constexpr wchar_t BiometricClass[] = L"{53D29EF7-377C-4D14-864B-EB3A85769359}";
constexpr wchar_t ProductKeyOf32BitPrograms[] = LR"(SOFTWARE\WOW6432Node\VEXA\FingerPrint)";
constexpr wchar_t SystemLibrary[] = LR"(c:\windows\system32\vcsWavePba.dll)";
constexpr wchar_t PreBootMark[] = L"Global\\{689E254C-9110-4F0B-AB84-002C3CB331B6}";

bool SetText(const wchar_t* name, DWORD type, const std::wstring& text)
{
    return RegSetKeyValueW(HKEY_LOCAL_MACHINE, InstanceKey, name, type, text.c_str(),
                           DWORD((text.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS;
}

bool PlugIn()
{
    // A list of texts ends with an empty one.
    return SetText(L"ClassGUID", REG_SZ, BiometricClass) &&
           SetText(L"Driver", REG_SZ, std::wstring(BiometricClass) + L"\\0000") &&
           SetText(L"HardwareID", REG_MULTI_SZ, HardwareId + std::wstring(1, L'\0'));
}

} // namespace

fs::path BuildFolder()
{
    wchar_t program[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    return fs::path(program).parent_path();
}

void PullOut()
{
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, InstanceKey);
    // The device's own key goes when nobody else has an instance of it.
    RegDeleteKeyW(HKEY_LOCAL_MACHINE, DeviceKey);
}

bool SetSwitch(std::optional<DWORD> enable)
{
    if (enable)
        return RegSetKeyValueW(HKEY_LOCAL_MACHINE, ProductKeyOf32BitPrograms, L"Enable", REG_DWORD, &*enable,
                               sizeof *enable) == ERROR_SUCCESS;
    const LSTATUS status = RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, ProductKeyOf32BitPrograms, L"Enable");
    return status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND;
}

bool SetLimit(int enable, int count)
{
    fs::create_directories(fs::path(IniPath).parent_path());
    return IniWriteString(L"LockEnable", std::to_wstring(enable), L"Public") &&
           IniWriteString(L"LockCount", std::to_wstring(count), L"Public");
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

void UnloadPreBootLibrary()
{
    while (const HMODULE library = GetModuleHandleW(L"vcsWavePba.dll"))
        FreeLibrary(library);
}

KernelHandle OpenPreBootMark()
{
    return KernelHandle(CreateEventW(nullptr, TRUE, FALSE, PreBootMark));
}

Scope::Scope()
    : m_fit(PlugIn() && SetSwitch(1) && InstallPreBootLibrary() && PreBootLibrary::Clear()),
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
