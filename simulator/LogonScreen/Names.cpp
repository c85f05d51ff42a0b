#include "Names.h"
#include "Text.h"

#include <objbase.h>

#include <ntstatus.h>

namespace {

struct NamedNumber {
    unsigned long number;
    const wchar_t* name;
};

constexpr NamedNumber g_hresults[] = {
    {0x00000000, L"S_OK"},
    {0x00000001, L"S_FALSE"},
    {0x80004001, L"E_NOTIMPL"},
    {0x80004002, L"E_NOINTERFACE"},
    {0x80004003, L"E_POINTER"},
    {0x80004004, L"E_ABORT"},
    {0x80004005, L"E_FAIL"},
    {0x8000FFFF, L"E_UNEXPECTED"},
    {0x80040110, L"CLASS_E_NOAGGREGATION"},
    {0x80040111, L"CLASS_E_CLASSNOTAVAILABLE"},
    {0x80040154, L"REGDB_E_CLASSNOTREG"},
    {0x80070005, L"E_ACCESSDENIED"},
    {0x80070006, L"E_HANDLE"},
    {0x8007000E, L"E_OUTOFMEMORY"},
    {0x80070057, L"E_INVALIDARG"},
    {0x8007007A, L"HRESULT_FROM_WIN32(ERROR_INSUFFICIENT_BUFFER)"},
    {0x8007007E, L"HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND)"},
    {0x80070216, L"HRESULT_FROM_WIN32(ERROR_ARITHMETIC_OVERFLOW)"},
};

constexpr NamedNumber g_statuses[] = {
    {0x00000000, L"STATUS_SUCCESS"},
    {0xC000000D, L"STATUS_INVALID_PARAMETER"},
    {0xC000005E, L"STATUS_NO_LOGON_SERVERS"},
    {0xC0000064, L"STATUS_NO_SUCH_USER"},
    {0xC000006A, L"STATUS_WRONG_PASSWORD"},
    {0xC000006D, L"STATUS_LOGON_FAILURE"},
    {0xC000006E, L"STATUS_ACCOUNT_RESTRICTION"},
    {0xC000006F, L"STATUS_INVALID_LOGON_HOURS"},
    {0xC0000070, L"STATUS_INVALID_WORKSTATION"},
    {0xC0000071, L"STATUS_PASSWORD_EXPIRED"},
    {0xC0000072, L"STATUS_ACCOUNT_DISABLED"},
    {0xC00000FE, L"STATUS_NO_SUCH_PACKAGE"},
    {0xC000015B, L"STATUS_LOGON_TYPE_NOT_GRANTED"},
    {0xC0000193, L"STATUS_ACCOUNT_EXPIRED"},
    {0xC0000224, L"STATUS_PASSWORD_MUST_CHANGE"},
    {0xC0000234, L"STATUS_ACCOUNT_LOCKED_OUT"},
};

struct Meaning {
    NTSTATUS status;
    const wchar_t* text;
};

// LSA hides the reason of some refusals in the substatus; the texts are those a user gets to read.
constexpr Meaning g_meanings[] = {
    {STATUS_LOGON_FAILURE, L"The user name or password is incorrect. Try again."},
    {STATUS_NO_SUCH_USER, L"The user name or password is incorrect. Try again."},
    {STATUS_WRONG_PASSWORD, L"The user name or password is incorrect. Try again."},
    {STATUS_INVALID_LOGON_HOURS, L"Your account has time restrictions that prevent you from signing in now."},
    {STATUS_INVALID_WORKSTATION, L"Your account is configured to prevent you from using this PC."},
    {STATUS_PASSWORD_EXPIRED, L"Your password has expired and must be changed."},
    {STATUS_PASSWORD_MUST_CHANGE, L"Your password must be changed before signing in."},
    {STATUS_ACCOUNT_DISABLED, L"Your account has been disabled."},
    {STATUS_ACCOUNT_LOCKED_OUT, L"The referenced account is currently locked out."},
    {STATUS_ACCOUNT_RESTRICTION, L"Account restrictions are preventing this user from signing in."},
};

template <size_t N>
const wchar_t* Find(const NamedNumber (&table)[N], unsigned long number)
{
    for (const NamedNumber& entry : table)
        if (entry.number == number)
            return entry.name;
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
    const unsigned long number = static_cast<unsigned long>(result);
    if (const wchar_t* name = Find(g_hresults, number))
        return result == S_OK || result == S_FALSE ? name : Format(L"%s (0x%08lX)", name, number);
    if ((number & 0xFFFF0000) == 0x80070000)
        return Format(L"HRESULT_FROM_WIN32(%lu) (0x%08lX)", number & 0xFFFF, number);
    if ((number & FACILITY_NT_BIT) != 0)
        return Format(L"HRESULT_FROM_NT(%s)", StatusName(result & ~FACILITY_NT_BIT).c_str());
    return Format(L"0x%08lX", number);
}

std::wstring StatusName(NTSTATUS status)
{
    const unsigned long number = static_cast<unsigned long>(status);
    const wchar_t* name = Find(g_statuses, number);
    if (number == 0)
        return name;
    return name != nullptr ? Format(L"%s (0x%08lX)", name, number) : Format(L"0x%08lX", number);
}

const wchar_t* ScenarioName(CREDENTIAL_PROVIDER_USAGE_SCENARIO scenario)
{
    static const wchar_t* const names[] = {
        L"CPUS_INVALID",         L"CPUS_LOGON",  L"CPUS_UNLOCK_WORKSTATION",
        L"CPUS_CHANGE_PASSWORD", L"CPUS_CREDUI", L"CPUS_PLAP"};
    return At(names, scenario);
}

const wchar_t* FieldTypeName(CREDENTIAL_PROVIDER_FIELD_TYPE type)
{
    static const wchar_t* const names[] = {L"CPFT_INVALID",      L"CPFT_LARGE_TEXT", L"CPFT_SMALL_TEXT",
                                           L"CPFT_COMMAND_LINK", L"CPFT_EDIT_TEXT",  L"CPFT_PASSWORD_TEXT",
                                           L"CPFT_TILE_IMAGE",   L"CPFT_CHECKBOX",   L"CPFT_COMBOBOX",
                                           L"CPFT_SUBMIT_BUTTON"};
    return At(names, type);
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

const wchar_t* StatusMeaning(NTSTATUS status, NTSTATUS substatus)
{
    if (status >= 0)
        return L"";
    for (const NTSTATUS candidate : {substatus, status})
        for (const Meaning& meaning : g_meanings)
            if (meaning.status == candidate)
                return meaning.text;
    return L"The sign-in failed.";
}

std::wstring GuidText(const GUID& guid)
{
    wchar_t text[40] = L"";
    StringFromGUID2(guid, text, ARRAYSIZE(text));
    return text;
}
