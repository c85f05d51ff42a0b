#include "Names.h"
#include "Text.h"

#include <objbase.h>

#include <ntstatus.h>

namespace {

struct ResultRow {
    HRESULT result;
    const wchar_t* name;
};

// What the provider gives; an error of Windows is named by its number.
constexpr ResultRow Results[] = {
    {S_OK, L"S_OK"},
    {S_FALSE, L"S_FALSE"},
    {E_NOTIMPL, L"E_NOTIMPL"},
    {E_NOINTERFACE, L"E_NOINTERFACE"},
    {E_OUTOFMEMORY, L"E_OUTOFMEMORY"},
    {E_FAIL, L"E_FAIL"},
    {E_INVALIDARG, L"E_INVALIDARG"},
    {E_UNEXPECTED, L"E_UNEXPECTED"},
    {CLASS_E_CLASSNOTAVAILABLE, L"CLASS_E_CLASSNOTAVAILABLE"},
};

struct StatusRow {
    NTSTATUS status;
    const wchar_t* name;
    const wchar_t* meaning;
};

constexpr wchar_t WrongUserOrPassword[] = L"The user name or password is incorrect. Try again.";
constexpr wchar_t SignInFailed[] = L"The sign-in failed.";

// What the simulated LSA answers, and the texts that a user gets to read.
// clang-format off
constexpr StatusRow Statuses[] = {
    {STATUS_SUCCESS,              L"STATUS_SUCCESS",              L""},
    {STATUS_INVALID_PARAMETER,    L"STATUS_INVALID_PARAMETER",    SignInFailed},
    {STATUS_LOGON_FAILURE,        L"STATUS_LOGON_FAILURE",        WrongUserOrPassword},
    {STATUS_INVALID_LOGON_HOURS,  L"STATUS_INVALID_LOGON_HOURS",  L"Your account has time restrictions that prevent you from signing in now."},
    {STATUS_INVALID_WORKSTATION,  L"STATUS_INVALID_WORKSTATION",  L"Your account is configured to prevent you from using this PC."},
    {STATUS_PASSWORD_EXPIRED,     L"STATUS_PASSWORD_EXPIRED",     L"Your password has expired and must be changed."},
    {STATUS_PASSWORD_MUST_CHANGE, L"STATUS_PASSWORD_MUST_CHANGE", L"Your password must be changed before signing in."},
    {STATUS_ACCOUNT_DISABLED,     L"STATUS_ACCOUNT_DISABLED",     L"Your account has been disabled."},
    {STATUS_ACCOUNT_LOCKED_OUT,   L"STATUS_ACCOUNT_LOCKED_OUT",   L"The referenced account is currently locked out."},
    {STATUS_ACCOUNT_RESTRICTION,  L"STATUS_ACCOUNT_RESTRICTION",  L"Account restrictions are preventing this user from signing in."},
};
// clang-format on

const StatusRow* FindStatus(NTSTATUS status)
{
    for (const StatusRow& row : Statuses)
        if (row.status == status)
            return &row;
    return nullptr;
}

template <size_t N>
const wchar_t* At(const wchar_t* const (&names)[N], unsigned index)
{
    return index < N ? names[index] : L"(unknown)";
}

} // namespace

std::wstring HresultName(HRESULT result)
{
    const auto number = static_cast<unsigned long>(result);
    for (const ResultRow& row : Results)
        if (row.result == result)
            return SUCCEEDED(result) ? row.name : Format(L"%s (0x%08lX)", row.name, number);
    if ((number & 0xFFFF0000) == 0x80070000)
        return Format(L"HRESULT_FROM_WIN32(%lu) (0x%08lX)", number & 0xFFFF, number);
    if ((number & FACILITY_NT_BIT) != 0)
        return Format(L"HRESULT_FROM_NT(%s)", StatusName(result & ~FACILITY_NT_BIT).c_str());
    return Format(L"0x%08lX", number);
}

std::wstring StatusName(NTSTATUS status)
{
    const auto number = static_cast<unsigned long>(status);
    const StatusRow* const row = FindStatus(status);
    if (row == nullptr)
        return Format(L"0x%08lX", number);
    return status == STATUS_SUCCESS ? row->name : Format(L"%s (0x%08lX)", row->name, number);
}

const wchar_t* StatusMeaning(NTSTATUS status, NTSTATUS substatus)
{
    // LSA hides the reason of some refusals in the substatus.
    const StatusRow* const row = FindStatus(substatus != STATUS_SUCCESS ? substatus : status);
    return row != nullptr ? row->meaning : SignInFailed;
}

const wchar_t* ScenarioName(CREDENTIAL_PROVIDER_USAGE_SCENARIO scenario)
{
    return scenario == CPUS_LOGON ? L"CPUS_LOGON" : L"CPUS_UNLOCK_WORKSTATION";
}

std::wstring FieldTypeName(CREDENTIAL_PROVIDER_FIELD_TYPE type)
{
    if (type == CPFT_LARGE_TEXT)
        return L"CPFT_LARGE_TEXT";
    return type == CPFT_TILE_IMAGE ? L"CPFT_TILE_IMAGE" : Format(L"type %d", int(type));
}

const wchar_t* FieldStateName(CREDENTIAL_PROVIDER_FIELD_STATE state)
{
    static const wchar_t* const names[] = {L"CPFS_HIDDEN", L"CPFS_DISPLAY_IN_SELECTED_TILE",
                                           L"CPFS_DISPLAY_IN_DESELECTED_TILE", L"CPFS_DISPLAY_IN_BOTH"};
    return At(names, state);
}

const wchar_t* InteractiveStateName(CREDENTIAL_PROVIDER_FIELD_INTERACTIVE_STATE state)
{
    static const wchar_t* const names[] = {L"CPFIS_NONE", L"CPFIS_READONLY", L"CPFIS_DISABLED",
                                           L"CPFIS_FOCUSED"};
    return At(names, state);
}

const wchar_t* ResponseName(CREDENTIAL_PROVIDER_GET_SERIALIZATION_RESPONSE response)
{
    static const wchar_t* const names[] = {
        L"CPGSR_NO_CREDENTIAL_NOT_FINISHED", L"CPGSR_NO_CREDENTIAL_FINISHED",
        L"CPGSR_RETURN_CREDENTIAL_FINISHED", L"CPGSR_RETURN_NO_CREDENTIAL_FINISHED"};
    return At(names, response);
}

std::wstring GuidText(const GUID& guid)
{
    wchar_t text[40] = L"";
    StringFromGUID2(guid, text, ARRAYSIZE(text));
    return text;
}
