#include "Checks.h"
#include "Handle.h"
#include "PeFile.h"
#include "Text.h"

#include <shlwapi.h>

#include <optional>

namespace {

#define CLASS_TEXT L"{0CE326A8-C767-433F-82B9-601B2A27321E}"

constexpr wchar_t ClassText[] = CLASS_TEXT;
constexpr wchar_t ServerKey[] = LR"(SOFTWARE\Classes\CLSID\)" CLASS_TEXT LR"(\InprocServer32)";
constexpr wchar_t ListKey[] =
    LR"(SOFTWARE\Microsoft\Windows\CurrentVersion\Authentication\Credential Providers\)" CLASS_TEXT;
constexpr wchar_t PolicyKey[] = LR"(SOFTWARE\Microsoft\Windows\CurrentVersion\Policies\System)";

constexpr DWORD ThisView = RRF_SUBKEY_WOW6464KEY;
constexpr DWORD OtherView = RRF_SUBKEY_WOW6432KEY;

/// An expandable text comes expanded.
std::optional<std::wstring> ReadText(HKEY root, const wchar_t* key, const wchar_t* value, DWORD view)
{
    wchar_t text[4096] = L"";
    DWORD bytes = sizeof text;
    if (RegGetValueW(root, key, value, RRF_RT_REG_SZ | view, nullptr, text, &bytes) != ERROR_SUCCESS)
        return std::nullopt;
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

Finding CheckClass(Examination& examination)
{
    const auto path = ReadText(HKEY_LOCAL_MACHINE, ServerKey, nullptr, ThisView);
    if (path && !path->empty()) {
        examination.dll = Locate(*path);
        return Pass(Format(L"%s is registered as \"%s\"", ClassText, path->c_str()));
    }
    if (ReadText(HKEY_CURRENT_USER, ServerKey, nullptr, ThisView))
        return Refuse(
            Status::ClassMissing,
            Format(L"%s is registered for the current user only, whom the logon screen does not know",
                   ClassText),
            Reinstall);
    if (ReadText(HKEY_LOCAL_MACHINE, ServerKey, nullptr, OtherView))
        return Refuse(
            Status::ClassMissing,
            Format(L"%s is registered in the 32-bit view only; the logon screen is a 64-bit program",
                   ClassText),
            Reinstall);
    return Refuse(Status::ClassMissing,
                  Format(L"%s has no InprocServer32 in HKLM\\SOFTWARE\\Classes", ClassText), Reinstall);
}

Finding CheckThreadingModel(Examination& examination)
{
    if (examination.dll.empty())
        return Skip(L"there is no class to look at");
    const std::wstring model =
        ReadText(HKEY_LOCAL_MACHINE, ServerKey, L"ThreadingModel", ThisView).value_or(L"");
    if (_wcsicmp(model.c_str(), L"Apartment") == 0 || _wcsicmp(model.c_str(), L"Both") == 0)
        return Pass(model);
    // The provider's interfaces can't be called from another apartment: nobody marshals them.
    return Refuse(Status::ThreadingModel,
                  model.empty() ? L"the value ThreadingModel is missing" : L"\"" + model + L"\"",
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
    return Pass(L"in the list of credential providers");
}

Finding CheckPolicy(Examination&)
{
    const auto excluded =
        ReadText(HKEY_LOCAL_MACHINE, PolicyKey, L"ExcludedCredentialProviders", ThisView).value_or(L"");
    if (StrStrIW(excluded.c_str(), ClassText) != nullptr)
        return Refuse(Status::ProviderExcluded, L"the policy \"Exclude credential providers\" names it",
                      L"Take the provider's class out of that policy.");
    return Pass(L"no policy excludes the provider");
}

Finding CheckDll(Examination& examination)
{
    const std::wstring& path = examination.dll;
    if (path.empty())
        return Skip(L"there is no class that names it");
    if (!IsFile(path))
        return Refuse(Status::DllMissing, Format(L"there is no file \"%s\"", path.c_str()), Reinstall);
    const PeFile file(path);
    if (!file.Is64BitDll())
        return Refuse(Status::DllUnfit,
                      file.IsExecutable()
                          ? Format(L"\"%s\" is no 64-bit DLL (machine 0x%04X)", path.c_str(), file.Machine())
                          : Format(L"\"%s\" can't be read or is damaged", path.c_str()),
                      L"Install the 64-bit product again.");
    if (!file.Exports("DllGetClassObject") || !file.Exports("DllCanUnloadNow"))
        return Refuse(Status::DllUnfit, Format(L"\"%s\" is no COM server", path.c_str()), Reinstall);
    return Pass(Format(L"64-bit DLL at \"%s\"", path.c_str()));
}
