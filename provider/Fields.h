// The tile's field table: what LogonUI draws.
#pragma once

#include <credentialprovider.h>

enum FIELD_ID : DWORD {
    FIELD_TILE_IMAGE = 0,
    FIELD_USERNAME = 1,
    FIELD_COUNT = 2,
};

struct FIELD_STATE_PAIR {
    CREDENTIAL_PROVIDER_FIELD_STATE cpfs;
    CREDENTIAL_PROVIDER_FIELD_INTERACTIVE_STATE cpfis;
};

extern const CREDENTIAL_PROVIDER_FIELD_DESCRIPTOR g_FieldDescriptors[FIELD_COUNT];
extern const FIELD_STATE_PAIR g_FieldStatePairs[FIELD_COUNT];

/// Copies id, type and label (duplicated with the COM task allocator; null stays null); the field-type GUID
/// becomes GUID_NULL. A failure leaves `destination` untouched.
HRESULT FieldDescriptorCopy(const CREDENTIAL_PROVIDER_FIELD_DESCRIPTOR& source,
                            CREDENTIAL_PROVIDER_FIELD_DESCRIPTOR& destination);

/// The same into a descriptor from the COM task allocator, which the receiver frees; *out is null on failure.
HRESULT FieldDescriptorCoAllocCopy(const CREDENTIAL_PROVIDER_FIELD_DESCRIPTOR& source,
                                   CREDENTIAL_PROVIDER_FIELD_DESCRIPTOR** out);
