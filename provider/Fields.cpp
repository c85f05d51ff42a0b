#include "Fields.h"

#include <objbase.h>
#include <shlwapi.h>

namespace {

// The descriptor's label is not const in Windows' declaration, but only ever read.
constexpr wchar_t ImageLabel[] = L"Image";
constexpr wchar_t UserNameLabel[] = L"Username";

} // namespace

// clang-format off
const CREDENTIAL_PROVIDER_FIELD_DESCRIPTOR g_FieldDescriptors[FIELD_COUNT] = {
    // id               type             label                                  field-type GUID
    {FIELD_TILE_IMAGE,  CPFT_TILE_IMAGE, const_cast<wchar_t*>(ImageLabel),      GUID_NULL},
    {FIELD_USERNAME,    CPFT_LARGE_TEXT, const_cast<wchar_t*>(UserNameLabel),   GUID_NULL},
};

const FIELD_STATE_PAIR g_FieldStatePairs[FIELD_COUNT] = {
    {CPFS_DISPLAY_IN_BOTH, CPFIS_NONE}, // FIELD_TILE_IMAGE
    {CPFS_DISPLAY_IN_BOTH, CPFIS_NONE}, // FIELD_USERNAME
};
// clang-format on

HRESULT FieldDescriptorCopy(const CREDENTIAL_PROVIDER_FIELD_DESCRIPTOR& source,
                            CREDENTIAL_PROVIDER_FIELD_DESCRIPTOR& destination)
{
    PWSTR label = nullptr;
    if (source.pszLabel != nullptr) {
        const HRESULT result = SHStrDupW(source.pszLabel, &label);
        if (FAILED(result))
            return result;
    }
    destination = {source.dwFieldID, source.cpft, label, GUID_NULL};
    return S_OK;
}

HRESULT FieldDescriptorCoAllocCopy(const CREDENTIAL_PROVIDER_FIELD_DESCRIPTOR& source,
                                   CREDENTIAL_PROVIDER_FIELD_DESCRIPTOR** out)
{
    *out = nullptr;
    auto* copy = static_cast<CREDENTIAL_PROVIDER_FIELD_DESCRIPTOR*>(CoTaskMemAlloc(sizeof **out));
    if (copy == nullptr)
        return E_OUTOFMEMORY;
    const HRESULT result = FieldDescriptorCopy(source, *copy);
    if (FAILED(result)) {
        CoTaskMemFree(copy);
        return result;
    }
    *out = copy;
    return S_OK;
}
