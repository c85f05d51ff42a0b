// Names of the numbers that cross the credential provider interfaces.
#pragma once

#include <credentialprovider.h>

#include <string>

/// "S_OK", "E_NOTIMPL (0x80004001)", "HRESULT_FROM_WIN32(5) (0x80070005)", or the bare number.
std::wstring HresultName(HRESULT result);
std::wstring GuidText(const GUID& guid);
/// "STATUS_LOGON_FAILURE (0xC000006D)" or the bare number.
std::wstring StatusName(NTSTATUS status);
/// What a user reads on the logon screen when LSA refuses him.
const wchar_t* StatusMeaning(NTSTATUS status, NTSTATUS substatus);

const wchar_t* ScenarioName(CREDENTIAL_PROVIDER_USAGE_SCENARIO scenario);
/// The two types that this screen shows by name, others by number.
std::wstring FieldTypeName(CREDENTIAL_PROVIDER_FIELD_TYPE type);
const wchar_t* FieldStateName(CREDENTIAL_PROVIDER_FIELD_STATE state);
const wchar_t* InteractiveStateName(CREDENTIAL_PROVIDER_FIELD_INTERACTIVE_STATE state);
const wchar_t* ResponseName(CREDENTIAL_PROVIDER_GET_SERIALIZATION_RESPONSE response);
