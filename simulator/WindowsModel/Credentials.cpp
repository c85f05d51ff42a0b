#include "WindowsModel/NtStatus.h"

#include "WindowsModel/Credentials.h"

#include "WindowsModel/Replacement.h"

#include <wincred.h>

#include <cwchar>

namespace WindowsModel {

namespace {

// A protected text is a mark, four hexadecimal digits for each unit (altered, so that no password can be read
// from a dump in passing) and four for a check sum.
constexpr std::wstring_view TrustedMark = L"@@SIM-L@";
constexpr std::wstring_view UserMark = L"@@SIM-U@";
constexpr wchar_t Alteration = 0x5A5A;
constexpr size_t DigitsPerUnit = 4;
constexpr std::wstring_view Digits = L"0123456789abcdef";

void AppendDigits(std::wstring& text, wchar_t unit)
{
    for (int shift = 12; shift >= 0; shift -= 4)
        text += Digits[(unit >> shift) & 0xF];
}

wchar_t CheckSum(std::wstring_view text)
{
    wchar_t sum = 0x1D0F;
    for (const wchar_t unit : text)
        sum = wchar_t((sum << 5 | sum >> 11) + unit);
    return sum;
}

DWORD ProtectInto(const std::wstring& text, bool asSelf, wchar_t* buffer, DWORD* characters)
{
    const std::wstring result = Protect(text, asSelf);
    const DWORD needed = DWORD(result.size() + 1);
    const bool fits = buffer != nullptr && *characters >= needed;
    *characters = needed;
    if (!fits)
        return ERROR_INSUFFICIENT_BUFFER;
    std::wmemcpy(buffer, result.c_str(), needed);
    return ERROR_SUCCESS;
}

BOOL ModelCredProtectW(BOOL asSelf, wchar_t* text, DWORD textCharacters, wchar_t* buffer, DWORD* characters,
                       CRED_PROTECTION_TYPE* /*type*/)
{
    const ModelState state;
    CredentialsState& credentials = state->credentials;
    credentials.protects.push_back({asSelf != FALSE, textCharacters});
    ProtectAnswer answer;
    if (!credentials.protectAnswers.empty()) {
        answer = credentials.protectAnswers.front();
        credentials.protectAnswers.pop_front();
    }
    if (answer.kind == ProtectAnswer::Usual)
        answer.error =
            ProtectInto({text, wcsnlen(text, textCharacters)}, asSelf != FALSE, buffer, characters);
    else if (answer.characters)
        *characters = *answer.characters;
    return Answer(answer.error);
}

BOOL ModelCredIsProtectedW(wchar_t* text, CRED_PROTECTION_TYPE* type)
{
    const Protection protection = ProtectionOf(text);
    *type = protection == Protection::Trusted ? CredTrustedProtection
            : protection == Protection::User  ? CredUserProtection
                                              : CredUnprotected;
    return TRUE;
}

NTSTATUS ModelLsaConnectUntrusted(HANDLE* connection)
{
    *connection = ModelState()->ledger.Open();
    return STATUS_SUCCESS;
}

NTSTATUS LookUp(const Ledger& ledger, HANDLE connection, const LSA_STRING& name, ULONG* number)
{
    if (!ledger.Holds(connection))
        return STATUS_INVALID_HANDLE;
    if (name.Length > name.MaximumLength)
        return STATUS_INVALID_PARAMETER;
    // The length counts, not a NUL: a wrong one names no package.
    const LONG found = LsaState::PackageNumber({name.Buffer, name.Length});
    if (found < 0)
        return STATUS_NO_SUCH_PACKAGE;
    *number = ULONG(found);
    return STATUS_SUCCESS;
}

NTSTATUS ModelLsaLookupAuthenticationPackage(HANDLE connection, LSA_STRING* name, ULONG* number)
{
    const ModelState state;
    const NTSTATUS status = LookUp(state->ledger, connection, *name, number);
    state->lsa.lookups.push_back({name->Length, name->MaximumLength});
    return status;
}

NTSTATUS ModelLsaDeregisterLogonProcess(HANDLE connection)
{
    return ModelState()->ledger.Close(connection) ? STATUS_SUCCESS : STATUS_INVALID_HANDLE;
}

const Replacement g_replacements[] = {
    SIM_MODELLED(Credentials, LastError, CredProtectW, ModelCredProtectW),
    SIM_MODELLED(Credentials, LastError, CredIsProtectedW, ModelCredIsProtectedW),
    SIM_MODELLED(Lsa, Status, LsaConnectUntrusted, ModelLsaConnectUntrusted),
    SIM_MODELLED(Lsa, Status, LsaLookupAuthenticationPackage, ModelLsaLookupAuthenticationPackage),
    SIM_MODELLED(Lsa, Status, LsaDeregisterLogonProcess, ModelLsaDeregisterLogonProcess),
};
const Table g_table(g_replacements);

} // namespace

std::wstring Protect(const std::wstring& text, bool asSelf)
{
    std::wstring result(asSelf ? UserMark : TrustedMark);
    for (const wchar_t unit : text)
        AppendDigits(result, unit ^ Alteration);
    AppendDigits(result, CheckSum(text));
    return result;
}

Protection ProtectionOf(const std::wstring& text)
{
    if (text.starts_with(TrustedMark))
        return Protection::Trusted;
    return text.starts_with(UserMark) ? Protection::User : Protection::None;
}

std::optional<std::wstring> Unprotect(const std::wstring& text)
{
    std::wstring units;
    for (size_t place = TrustedMark.size(); place < text.size(); place += DigitsPerUnit)
        units += wchar_t(wcstoul(text.substr(place, DigitsPerUnit).c_str(), nullptr, 16) ^ Alteration);
    if (!units.empty())
        units.pop_back(); // the check sum
    // What has been damaged, or is protected in no way or another one, does not come out the same again.
    return Protect(units) == text ? std::optional(units) : std::nullopt;
}

LONG LsaState::PackageNumber(std::string_view name)
{
    return name == "Negotiate" ? 9 : -1;
}

} // namespace WindowsModel
