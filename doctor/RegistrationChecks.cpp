#include "Doctor.h"
#include "Handle.h"
#include "Text.h"

#include <shlwapi.h>

#include <cwchar>
#include <optional>

namespace {

#define CLASS_TEXT L"{0CE326A8-C767-433F-82B9-601B2A27321E}"

constexpr wchar_t ClassText[] = CLASS_TEXT;
constexpr wchar_t ServerKey[] = LR"(SOFTWARE\Classes\CLSID\)" CLASS_TEXT LR"(\InprocServer32)";
constexpr wchar_t ListKey[] =
    LR"(SOFTWARE\Microsoft\Windows\CurrentVersion\Authentication\Credential Providers\)" CLASS_TEXT;
constexpr wchar_t FilterKey[] =
    LR"(SOFTWARE\Microsoft\Windows\CurrentVersion\Authentication\Credential Provider Filters)";
/// Comes with Windows.
constexpr wchar_t GenericFilter[] = L"{DDC0EED2-ADBE-40B6-A217-EDE16A79A0DE}";
constexpr const wchar_t* PolicyKeys[] = {LR"(SOFTWARE\Microsoft\Windows\CurrentVersion\Policies\System)",
                                         LR"(SOFTWARE\Policies\Microsoft\Windows\System)"};
/// The prompt looks its image up in the module of this name.
constexpr wchar_t FileName[] = L"VexaFPCredentialProvider.dll";

constexpr DWORD ThisView = RRF_SUBKEY_WOW6464KEY;
constexpr DWORD OtherView = RRF_SUBKEY_WOW6432KEY;

/// An expandable text comes expanded.
std::optional<std::wstring> ReadText(HKEY root, const wchar_t* key, const wchar_t* value, DWORD view)
{
    // A policy's list of classes may be long.
    std::wstring text(64 * 1024, L'\0');
    auto bytes = static_cast<DWORD>(text.size() * sizeof(wchar_t));
    if (RegGetValueW(root, key, value, RRF_RT_REG_SZ | view, nullptr, text.data(), &bytes) != ERROR_SUCCESS)
        return std::nullopt;
    text.resize(std::wcslen(text.c_str()));
    return text;
}

bool IsListed(REGSAM view)
{
    RegistryKey key;
    return RegOpenKeyExW(HKEY_LOCAL_MACHINE, ListKey, 0, KEY_QUERY_VALUE | view, key.Put()) == ERROR_SUCCESS;
}

bool IsFile(const std::wstring& path)
{
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

/// Where the logon screen would find the DLL: a name without a folder stands for one in the system folder.
std::wstring Locate(std::wstring path)
{
    PathUnquoteSpacesW(path.data());
    path.resize(wcslen(path.c_str()));
    if (path.find_first_of(L"\\/") != std::wstring::npos)
        return path;
    wchar_t found[MAX_PATH] = L"";
    const DWORD units = SearchPathW(nullptr, path.c_str(), L".dll", MAX_PATH, found, nullptr);
    return units > 0 && units < MAX_PATH ? found : path;
}

constexpr wchar_t Reinstall[] = L"Install the product again, or run its registration as administrator.";

} // namespace

DllFile LookIntoDll(const std::wstring& path, std::initializer_list<const char*> functions)
{
    const HMODULE module = LoadLibraryExW(path.c_str(), nullptr, DONT_RESOLVE_DLL_REFERENCES);
    if (module == nullptr)
        return {L"can't be loaded by a 64-bit program: " + ErrorText(GetLastError())};
    const auto* base = reinterpret_cast<const BYTE*>(module);
    const IMAGE_FILE_HEADER header = reinterpret_cast<const IMAGE_NT_HEADERS64*>(
                                         base + reinterpret_cast<const IMAGE_DOS_HEADER*>(base)->e_lfanew)
                                         ->FileHeader;
    DllFile file;
    if (header.Machine != IMAGE_FILE_MACHINE_AMD64)
        file.unfit = Format(L"is made for another processor (machine 0x%04X)", header.Machine);
    else if ((header.Characteristics & IMAGE_FILE_DLL) == 0)
        file.unfit = L"is a program, not a DLL";
    for (const char* name : functions) {
        if (file.lacking == nullptr && GetProcAddress(module, name) == nullptr)
            file.lacking = name;
    }
    FreeLibrary(module);
    return file;
}

Finding CheckClass(Examination& examination)
{
    const auto path = ReadText(HKEY_LOCAL_MACHINE, ServerKey, nullptr, ThisView);
    if (path && !path->empty()) {
        examination.dll = Locate(*path);
        return {Outcome::Pass, Format(L"%s is registered as \"%s\"", ClassText, path->c_str())};
    }
    std::wstring where = L" has no InprocServer32 in HKLM\\SOFTWARE\\Classes";
    if (ReadText(HKEY_CURRENT_USER, ServerKey, nullptr, ThisView))
        where = L" is registered for the current user only, whom the logon screen does not know";
    else if (ReadText(HKEY_LOCAL_MACHINE, ServerKey, nullptr, OtherView))
        where = L" is registered in the 32-bit view only; the logon screen is a 64-bit program";
    return Refuse(Status::ClassMissing, ClassText + where, Reinstall);
}

Finding CheckThreadingModel(Examination& examination)
{
    if (examination.dll.empty())
        return {Outcome::Skipped, L"there is no class to look at"};
    const std::wstring model =
        ReadText(HKEY_LOCAL_MACHINE, ServerKey, L"ThreadingModel", ThisView).value_or(L"");
    if (_wcsicmp(model.c_str(), L"Apartment") == 0 || _wcsicmp(model.c_str(), L"Both") == 0)
        return {Outcome::Pass, model};
    // The provider's interfaces can't be called from another apartment: nobody marshals them.
    return Refuse(Status::ThreadingModel,
                  model.empty() ? L"the value ThreadingModel is missing"
                                : L"\"" + model + L"\", and only \"Apartment\" and \"Both\" fit",
                  L"Set ThreadingModel under the class's InprocServer32 to \"Apartment\".");
}

Finding CheckProviderList(Examination&)
{
    if (!IsListed(KEY_WOW64_64KEY))
        return Refuse(Status::ProviderNotListed,
                      IsListed(KEY_WOW64_32KEY) ? L"in the 32-bit view's list of credential providers only"
                                                : L"not in the list of credential providers",
                      Reinstall);
    DWORD disabled = 0;
    DWORD bytes = sizeof disabled;
    if (RegGetValueW(HKEY_LOCAL_MACHINE, ListKey, L"Disabled", RRF_RT_REG_DWORD | ThisView, nullptr,
                     &disabled, &bytes) == ERROR_SUCCESS &&
        disabled != 0)
        return Refuse(Status::ProviderDisabled, L"listed, and disabled by the value \"Disabled\" there",
                      Format(L"Delete \"Disabled\" under HKLM\\%s.", ListKey));
    return {Outcome::Pass, L"in the list of credential providers"};
}

Finding CheckPolicy(Examination&)
{
    for (const wchar_t* key : PolicyKeys) {
        const auto excluded =
            ReadText(HKEY_LOCAL_MACHINE, key, L"ExcludedCredentialProviders", ThisView).value_or(L"");
        if (StrStrIW(excluded.c_str(), ClassText) != nullptr)
            return Refuse(Status::ProviderExcluded,
                          L"the policy \"Exclude credential providers\" names the provider",
                          Format(L"Take the provider's class out of that policy "
                                 L"(ExcludedCredentialProviders under HKLM\\%s).",
                                 key));
    }
    return {Outcome::Pass, L"no policy excludes the provider"};
}

Finding CheckFilters(Examination&)
{
    RegistryKey key;
    const LSTATUS status =
        RegOpenKeyExW(HKEY_LOCAL_MACHINE, FilterKey, 0, KEY_READ | KEY_WOW64_64KEY, key.Put());
    if (status != ERROR_SUCCESS && status != ERROR_FILE_NOT_FOUND)
        return CantTell(static_cast<DWORD>(status));
    std::wstring filters;
    wchar_t filter[256] = L"";
    for (DWORD index = 0; key && RegEnumKeyW(key.Get(), index, filter, ARRAYSIZE(filter)) == ERROR_SUCCESS;
         ++index) {
        if (_wcsicmp(filter, GenericFilter) != 0)
            filters += (filters.empty() ? L"" : L", ") + Quoted(filter) + L' ' +
                       Quoted(ReadText(key.Get(), filter, nullptr, ThisView).value_or(L""));
    }
    if (filters.empty())
        return {Outcome::Pass, L"none but Windows' own"};
    return {Outcome::Attention, L"may hide the tile: " + filters,
            L"See in the settings of the product that brought the filter which providers it lets through."};
}

Finding CheckDll(Examination& examination)
{
    const std::wstring& path = examination.dll;
    if (path.empty())
        return {Outcome::Skipped, L"there is no class that names it"};
    if (!IsFile(path))
        return Refuse(Status::DllMissing, Format(L"there is no file \"%s\"", path.c_str()), Reinstall);
    const DllFile file = LookIntoDll(path, {"DllGetClassObject", "DllCanUnloadNow"});
    if (!file.unfit.empty())
        return Refuse(Status::DllUnfit, L"\"" + path + L"\" " + file.unfit,
                      L"Install the 64-bit product again.");
    if (file.lacking != nullptr)
        return Refuse(Status::DllUnfit, Format(L"\"%s\" is no COM server", path.c_str()), Reinstall);
    if (_wcsicmp(PathFindFileNameW(path.c_str()), FileName) != 0)
        return {Outcome::Warning, L"\"" + path + L"\" is renamed: the prompt finds no image",
                Format(L"Give the file its name %s back, there and in the registration.", FileName)};
    return {Outcome::Pass, Format(L"64-bit DLL at \"%s\"", path.c_str())};
}
