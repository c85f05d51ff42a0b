#include "Registry.h"

#include "Handle.h"
#include "WideText.h"

#include <algorithm>
#include <cwchar>
#include <memory>
#include <new>
#include <optional>

namespace {

constexpr wchar_t ProductKey[] = LR"(SOFTWARE\VEXA\FingerPrint)";
constexpr wchar_t EnableValue[] = L"Enable";

constexpr REGSAM ReadAccess = KEY_READ | KEY_WOW64_32KEY;
constexpr REGSAM WriteAccess = KEY_ALL_ACCESS | KEY_WOW64_32KEY;

/// Texts are exchanged through buffers of this many units, terminator included.
constexpr std::size_t TextUnits = 256;

LSTATUS OpenKey(const wchar_t* subkey, REGSAM access, RegistryKey& key)
{
    return RegOpenKeyExW(HKEY_LOCAL_MACHINE, subkey, 0, access, key.Put());
}

LSTATUS CreateKey(const wchar_t* subkey, RegistryKey& key)
{
    return RegCreateKeyExW(HKEY_LOCAL_MACHINE, subkey, 0, nullptr, 0, WriteAccess, nullptr, key.Put(),
                           nullptr);
}

/// A number of four bytes; any other kind or size is no answer.
std::optional<std::uint32_t> QueryDword(const RegistryKey& key, const wchar_t* name)
{
    DWORD value = 0;
    DWORD bytes = sizeof value;
    DWORD type = REG_NONE;
    const LSTATUS status =
        RegQueryValueExW(key.Get(), name, nullptr, &type, reinterpret_cast<BYTE*>(&value), &bytes);
    if (status != ERROR_SUCCESS || bytes != sizeof value || (type != REG_DWORD && type != REG_BINARY))
        return std::nullopt;
    return value;
}

LSTATUS StoreDword(const RegistryKey& key, const wchar_t* name, std::uint32_t value)
{
    const DWORD data = value;
    return RegSetValueExW(key.Get(), name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&data), sizeof data);
}

/// Whoever wrote the value may have left out its terminator, stopped in mid-unit or written at great length.
std::wstring QueryText(const RegistryKey& key, const wchar_t* name)
{
    DWORD type = REG_NONE;
    DWORD bytes = 0;
    if (RegQueryValueExW(key.Get(), name, nullptr, &type, nullptr, &bytes) != ERROR_SUCCESS)
        return {};
    if (type != REG_SZ && type != REG_EXPAND_SZ)
        return {};

    // An over-long value has to be fetched whole in order to be cut.
    wchar_t buffer[TextUnits] = {};
    std::unique_ptr<wchar_t[]> larger;
    wchar_t* data = buffer;
    if (bytes > sizeof buffer) {
        larger.reset(new (std::nothrow) wchar_t[bytes / sizeof(wchar_t) + 1]{});
        data = larger.get();
    } else {
        bytes = sizeof buffer;
    }
    if (data == nullptr || RegQueryValueExW(key.Get(), name, nullptr, &type, reinterpret_cast<BYTE*>(data),
                                            &bytes) != ERROR_SUCCESS)
        return {};
    return CopyWideText(data, std::min<std::size_t>(bytes / sizeof(wchar_t), TextUnits - 1));
}

std::wstring ReadText(const wchar_t* subkey, const wchar_t* name)
{
    RegistryKey key;
    if (OpenKey(subkey, ReadAccess, key) != ERROR_SUCCESS)
        return {};
    return QueryText(key, name);
}

LSTATUS WriteText(const wchar_t* subkey, const wchar_t* createdKey, const wchar_t* name, const wchar_t* text)
{
    RegistryKey key;
    if (OpenKey(subkey, WriteAccess, key) != ERROR_SUCCESS) {
        if (const LSTATUS status = CreateKey(createdKey, key); status != ERROR_SUCCESS)
            return status;
        // Deliberate: a key that had to be created gets the name alone, its text comes with the next write.
        text = nullptr;
    }
    if (text == nullptr)
        text = L"";
    const DWORD bytes = static_cast<DWORD>(std::wcslen(text) * sizeof(wchar_t));
    return RegSetValueExW(key.Get(), name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text), bytes);
}

} // namespace

bool GetFPEnable()
{
    RegistryKey key;
    if (OpenKey(ProductKey, ReadAccess, key) != ERROR_SUCCESS)
        return false;
    if (const auto value = QueryDword(key, EnableValue))
        return *value > 0;
    // Deliberate, although the handle can't write: a missing value stays missing.
    StoreDword(key, EnableValue, 0);
    return false;
}

void SetFPEnable(std::uint32_t value)
{
    RegWriteFPDword(EnableValue, value);
}

std::uint32_t RegReadFPDword(const wchar_t* name)
{
    constexpr std::uint32_t Unreadable = 0xFFFFFFFF;
    RegistryKey key;
    if (OpenKey(ProductKey, ReadAccess, key) != ERROR_SUCCESS)
        return Unreadable;
    return QueryDword(key, name).value_or(Unreadable);
}

LSTATUS RegWriteFPDword(const wchar_t* name, std::uint32_t value)
{
    RegistryKey key;
    if (OpenKey(ProductKey, WriteAccess, key) != ERROR_SUCCESS) {
        if (const LSTATUS status = CreateKey(ProductKey, key); status != ERROR_SUCCESS)
            return status;
    }
    return StoreDword(key, name, value);
}

std::wstring RegReadFPString(const wchar_t* name)
{
    return ReadText(ProductKey, name);
}

LSTATUS RegWriteFPString(const wchar_t* name, const wchar_t* text)
{
    return WriteText(ProductKey, ProductKey, name, text);
}

std::wstring RegReadString(const wchar_t* subkey, const wchar_t* name)
{
    return ReadText(subkey, name);
}

LSTATUS RegWriteString(const wchar_t* subkey, const wchar_t* name, const wchar_t* text)
{
    // Deliberate: the created key carries the value's name.
    return WriteText(subkey, name, name, text);
}
