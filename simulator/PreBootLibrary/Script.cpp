#include "Script.h"

#include "base/Handle.h"

#include <algorithm>
#include <cstring>
#include <cwchar>

namespace PreBootLibrary {

namespace {

constexpr REGSAM View = KEY_WOW64_64KEY;

RegistryKey Open(const wchar_t* path)
{
    RegistryKey key;
    RegOpenKeyExW(HKEY_LOCAL_MACHINE, path, 0, KEY_READ | View, key.Put());
    return key;
}

RegistryKey Create(const wchar_t* path)
{
    RegistryKey key;
    RegCreateKeyExW(HKEY_LOCAL_MACHINE, path, 0, nullptr, 0, KEY_ALL_ACCESS | View, nullptr, key.Put(),
                    nullptr);
    return key;
}

std::optional<std::vector<BYTE>> ReadBytes(const RegistryKey& key, const wchar_t* name, DWORD type)
{
    DWORD found = 0;
    DWORD bytes = 0;
    if (!key || RegQueryValueExW(key.Get(), name, nullptr, &found, nullptr, &bytes) != ERROR_SUCCESS ||
        found != type)
        return std::nullopt;
    std::vector<BYTE> value(bytes);
    if (RegQueryValueExW(key.Get(), name, nullptr, nullptr, value.data(), &bytes) != ERROR_SUCCESS)
        return std::nullopt;
    value.resize(bytes);
    return value;
}

std::optional<LONG> ReadNumber(const RegistryKey& key, const wchar_t* name)
{
    const auto bytes = ReadBytes(key, name, REG_DWORD);
    if (!bytes || bytes->size() != sizeof(LONG))
        return std::nullopt;
    LONG number = 0;
    std::memcpy(&number, bytes->data(), sizeof number);
    return number;
}

std::optional<std::wstring> ReadText(const RegistryKey& key, const wchar_t* name)
{
    const auto bytes = ReadBytes(key, name, REG_SZ);
    if (!bytes)
        return std::nullopt;
    std::wstring text(bytes->size() / sizeof(wchar_t), L'\0');
    std::memcpy(text.data(), bytes->data(), text.size() * sizeof(wchar_t));
    text.resize(std::wcslen(text.c_str()));
    return text;
}

bool WriteNumber(const RegistryKey& key, const wchar_t* name, std::optional<LONG> number)
{
    return !number || RegSetValueExW(key.Get(), name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&*number),
                                     sizeof *number) == ERROR_SUCCESS;
}

/// Calls may come from several processes at once.
class CallsLock {
public:
    CallsLock() : m_mutex(CreateMutexW(nullptr, FALSE, L"FingerprintSimulatorPreBootCalls"))
    {
        WaitForSingleObject(m_mutex.Get(), INFINITE);
    }
    ~CallsLock() { ReleaseMutex(m_mutex.Get()); }
    CallsLock(const CallsLock&) = delete;
    CallsLock& operator=(const CallsLock&) = delete;

private:
    KernelHandle m_mutex;
};

std::wstring CallName(DWORD number)
{
    wchar_t name[16];
    std::swprintf(name, std::size(name), L"%04lu", number);
    return name;
}

} // namespace

std::vector<BYTE> MakeRecord(std::wstring_view user, std::wstring_view password, std::wstring_view domain)
{
    struct {
        wchar_t user[66], password[94], domain[33];
    } fields{};
    static_assert(sizeof fields == 386);
    user.copy(fields.user, std::size(fields.user) - 1);
    password.copy(fields.password, std::size(fields.password) - 1);
    domain.copy(fields.domain, std::size(fields.domain) - 1);
    const auto* bytes = reinterpret_cast<const BYTE*>(&fields);
    return {bytes, bytes + sizeof fields};
}

Script Load()
{
    const RegistryKey key = Open(kScriptKey);
    Script script;
    script.enabled = ReadNumber(key, L"Enabled").value_or(1);
    script.openStatus = ReadNumber(key, L"OpenStatus").value_or(0);
    script.enabledStatus = ReadNumber(key, L"EnabledStatus").value_or(0);
    script.closeStatus = ReadNumber(key, L"CloseStatus").value_or(0);
    script.record = ReadBytes(key, L"Record", REG_BINARY);
    const auto user = ReadText(key, L"User");
    if (!script.record && user)
        script.record = MakeRecord(*user, ReadText(key, L"Password").value_or(L""),
                                   ReadText(key, L"Domain").value_or(L""));
    script.sizeStatus = ReadNumber(key, L"SizeStatus");
    script.credsStatus = ReadNumber(key, L"CredsStatus");
    script.size = ReadNumber(key, L"Size");
    script.filledSize = ReadNumber(key, L"FilledSize");
    return script;
}

bool Store(const Script& script)
{
    if (!Clear())
        return false;
    const RegistryKey key = Create(kScriptKey);
    return key && WriteNumber(key, L"Enabled", script.enabled) &&
           WriteNumber(key, L"OpenStatus", script.openStatus) &&
           WriteNumber(key, L"EnabledStatus", script.enabledStatus) &&
           WriteNumber(key, L"CloseStatus", script.closeStatus) &&
           WriteNumber(key, L"SizeStatus", script.sizeStatus) &&
           WriteNumber(key, L"CredsStatus", script.credsStatus) && WriteNumber(key, L"Size", script.size) &&
           WriteNumber(key, L"FilledSize", script.filledSize) &&
           (!script.record || RegSetValueExW(key.Get(), L"Record", 0, REG_BINARY, script.record->data(),
                                             DWORD(script.record->size())) == ERROR_SUCCESS);
}

bool Clear()
{
    const CallsLock lock;
    const auto deleted = [](const wchar_t* path) {
        const LSTATUS status = RegDeleteKeyExW(HKEY_LOCAL_MACHINE, path, View, 0);
        return status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND;
    };
    return deleted(kCallsKey) && deleted(kScriptKey);
}

std::vector<std::wstring> Calls()
{
    const CallsLock lock;
    const RegistryKey key = Open(kCallsKey);
    std::vector<std::wstring> calls;
    while (const auto call = ReadText(key, CallName(DWORD(calls.size()) + 1).c_str()))
        calls.push_back(*call);
    return calls;
}

void NoteCall(const std::wstring& call)
{
    const CallsLock lock;
    const RegistryKey key = Create(kCallsKey);
    DWORD count = 0;
    RegQueryInfoKeyW(key.Get(), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &count, nullptr,
                     nullptr, nullptr, nullptr);
    RegSetValueExW(key.Get(), CallName(count + 1).c_str(), 0, REG_SZ,
                   reinterpret_cast<const BYTE*>(call.c_str()), DWORD((call.size() + 1) * sizeof(wchar_t)));
}

} // namespace PreBootLibrary
