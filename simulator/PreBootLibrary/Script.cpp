#include "Script.h"

#include "base/Handle.h"

#include <cstring>

namespace PreBootLibrary {

namespace {

constexpr wchar_t ScriptKey[] = LR"(SOFTWARE\Fingerprint Simulator\PreBoot)";
constexpr wchar_t CallsKey[] = LR"(SOFTWARE\Fingerprint Simulator\PreBoot\Calls)";

// clang-format off
constexpr struct {
    const wchar_t* name;
    std::optional<LONG> Script::*value;
} Numbers[] = {
    {L"Enabled",       &Script::enabled},
    {L"OpenStatus",    &Script::openStatus},
    {L"EnabledStatus", &Script::enabledStatus},
    {L"CloseStatus",   &Script::closeStatus},
    {L"SizeStatus",    &Script::sizeStatus},
    {L"CredsStatus",   &Script::credsStatus},
    {L"Size",          &Script::size},
    {L"FilledSize",    &Script::filledSize},
};
// clang-format on

std::optional<std::vector<BYTE>> Read(const wchar_t* key, const wchar_t* name, DWORD types)
{
    DWORD bytes = 0;
    if (RegGetValueW(HKEY_LOCAL_MACHINE, key, name, types, nullptr, nullptr, &bytes) != ERROR_SUCCESS)
        return std::nullopt;
    std::vector<BYTE> value(bytes);
    if (RegGetValueW(HKEY_LOCAL_MACHINE, key, name, types, nullptr, value.data(), &bytes) != ERROR_SUCCESS)
        return std::nullopt;
    value.resize(bytes);
    return value;
}

std::optional<std::wstring> ReadText(const wchar_t* key, const wchar_t* name)
{
    const auto bytes = Read(key, name, RRF_RT_REG_SZ);
    if (!bytes)
        return std::nullopt;
    return reinterpret_cast<const wchar_t*>(bytes->data());
}

bool Write(const wchar_t* key, const wchar_t* name, DWORD type, const void* data, size_t bytes)
{
    return RegSetKeyValueW(HKEY_LOCAL_MACHINE, key, name, type, data, DWORD(bytes)) == ERROR_SUCCESS;
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

/// 1 is "0001".
std::wstring CallName(size_t number)
{
    const std::wstring digits = std::to_wstring(number);
    return std::wstring(digits.size() < 4 ? 4 - digits.size() : 0, L'0') + digits;
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
    Script script;
    for (const auto& [name, value] : Numbers) {
        LONG number = 0;
        DWORD bytes = sizeof number;
        if (RegGetValueW(HKEY_LOCAL_MACHINE, ScriptKey, name, RRF_RT_REG_DWORD, nullptr, &number, &bytes) ==
            ERROR_SUCCESS)
            script.*value = number;
    }
    script.record = Read(ScriptKey, L"Record", RRF_RT_REG_BINARY);
    const auto user = ReadText(ScriptKey, L"User");
    if (!script.record && user)
        script.record = MakeRecord(*user, ReadText(ScriptKey, L"Password").value_or(L""),
                                   ReadText(ScriptKey, L"Domain").value_or(L""));
    return script;
}

bool Store(const Script& script)
{
    bool good = Clear();
    for (const auto& [name, value] : Numbers) {
        if (const std::optional<LONG>& number = script.*value)
            good = good && Write(ScriptKey, name, REG_DWORD, &*number, sizeof *number);
    }
    if (script.record)
        good = good && Write(ScriptKey, L"Record", REG_BINARY, script.record->data(), script.record->size());
    return good;
}

bool Clear()
{
    const CallsLock lock;
    const LSTATUS status = RegDeleteTreeW(HKEY_LOCAL_MACHINE, ScriptKey);
    return status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND;
}

std::vector<std::wstring> Calls()
{
    const CallsLock lock;
    std::vector<std::wstring> calls;
    while (const auto call = ReadText(CallsKey, CallName(calls.size() + 1).c_str()))
        calls.push_back(*call);
    return calls;
}

void NoteCall(const std::wstring& call)
{
    const CallsLock lock;
    Write(CallsKey, CallName(Calls().size() + 1).c_str(), REG_SZ, call.c_str(),
          (call.size() + 1) * sizeof(wchar_t));
}

} // namespace PreBootLibrary
