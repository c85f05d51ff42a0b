#include "WindowsModel/CredentialProtection.h"

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

void AppendDigits(std::wstring& text, wchar_t unit)
{
    constexpr std::wstring_view Digits = L"0123456789abcdef";
    for (int shift = 12; shift >= 0; shift -= 4)
        text += Digits[(unit >> shift) & 0xF];
}

std::optional<wchar_t> ReadDigits(std::wstring_view digits)
{
    wchar_t unit = 0;
    for (const wchar_t digit : digits) {
        if (digit >= L'0' && digit <= L'9')
            unit = wchar_t(unit << 4 | (digit - L'0'));
        else if (digit >= L'a' && digit <= L'f')
            unit = wchar_t(unit << 4 | (digit - L'a' + 10));
        else
            return {};
    }
    return unit;
}

wchar_t CheckSum(std::wstring_view text)
{
    wchar_t sum = 0x1D0F;
    for (const wchar_t unit : text)
        sum = wchar_t((sum << 5 | sum >> 11) + unit);
    return sum;
}

DWORD ProtectInto(const std::wstring& text, bool asSelf, wchar_t* buffer, DWORD* characters,
                  CRED_PROTECTION_TYPE* type)
{
    const std::wstring result = Protect(text, asSelf);
    const DWORD needed = DWORD(result.size() + 1);
    const bool fits = buffer != nullptr && *characters >= needed;
    *characters = needed;
    if (!fits)
        return ERROR_INSUFFICIENT_BUFFER;
    std::wmemcpy(buffer, result.c_str(), needed);
    if (type != nullptr)
        *type = asSelf ? CredUserProtection : CredTrustedProtection;
    return ERROR_SUCCESS;
}

ProtectAnswer TakeAnswer(CredentialsState& credentials)
{
    if (credentials.protectAnswers.empty())
        return {};
    const ProtectAnswer answer = credentials.protectAnswers.front();
    credentials.protectAnswers.pop_front();
    return answer;
}

DWORD ProtectAsTold(const ProtectAnswer& answer, const std::wstring& text, bool asSelf, wchar_t* buffer,
                    DWORD* characters, CRED_PROTECTION_TYPE* type)
{
    switch (answer.kind) {
    case ProtectAnswer::Usual:
        break;
    case ProtectAnswer::Succeed:
        return ERROR_SUCCESS;
    case ProtectAnswer::Fail:
        if (answer.characters)
            *characters = *answer.characters;
        return answer.error;
    }
    return ProtectInto(text, asSelf, buffer, characters, type);
}

BOOL ModelCredProtectW(BOOL asSelf, wchar_t* text, DWORD textCharacters, wchar_t* buffer, DWORD* characters,
                       CRED_PROTECTION_TYPE* type)
{
    if (text == nullptr || textCharacters == 0 || characters == nullptr)
        return Answer(ERROR_INVALID_PARAMETER);
    DWORD error;
    {
        const ModelState state;
        ProtectCall call{asSelf != FALSE, std::wstring(text, wcsnlen(text, textCharacters)),
                         textCharacters,  buffer != nullptr ? *characters : 0,
                         FALSE,           ERROR_SUCCESS};
        error =
            ProtectAsTold(TakeAnswer(state->credentials), call.text, call.asSelf, buffer, characters, type);
        call.error = error;
        call.result = error == ERROR_SUCCESS;
        state->credentials.protects.push_back(std::move(call));
    }
    return Answer(error);
}

BOOL ModelCredIsProtectedW(wchar_t* text, CRED_PROTECTION_TYPE* type)
{
    if (text == nullptr || type == nullptr)
        return Answer(ERROR_INVALID_PARAMETER);
    ModelState()->credentials.isProtectedQueries.push_back(text);
    switch (ProtectionOf(text)) {
    case Protection::None:
        *type = CredUnprotected;
        break;
    case Protection::User:
        *type = CredUserProtection;
        break;
    case Protection::Trusted:
        *type = CredTrustedProtection;
        break;
    }
    return TRUE;
}

const Replacement g_replacements[] = {
    SIM_MODELLED(Credentials, LastError, CredProtectW, ModelCredProtectW),
    SIM_MODELLED(Credentials, LastError, CredIsProtectedW, ModelCredIsProtectedW),
};

} // namespace

std::span<const Replacement> CredentialReplacements()
{
    return g_replacements;
}

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
    if (ProtectionOf(text) == Protection::None)
        return {};
    const std::wstring_view digits = std::wstring_view(text).substr(TrustedMark.size());
    if (digits.empty() || digits.size() % DigitsPerUnit != 0)
        return {};
    std::wstring units;
    for (size_t place = 0; place < digits.size(); place += DigitsPerUnit) {
        const auto unit = ReadDigits(digits.substr(place, DigitsPerUnit));
        if (!unit)
            return {};
        units += *unit;
    }
    const wchar_t sum = units.back();
    units.pop_back();
    for (wchar_t& unit : units)
        unit ^= Alteration;
    if (CheckSum(units) != sum)
        return {};
    return units;
}

} // namespace WindowsModel
