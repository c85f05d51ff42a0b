// What the logon screen knows of a credential's tile: its fields and their values.
#pragma once

#include "base/Handle.h"

#include <credentialprovider.h>

#include <string>
#include <vector>

struct BitmapPolicy {
    using Type = HBITMAP;
    static Type Invalid() { return nullptr; }
    static void Close(Type bitmap) { DeleteObject(bitmap); }
};
using BitmapHandle = UniqueResource<BitmapPolicy>;

/// A field as the provider describes it, the same for all its credentials.
struct FieldDescriptor {
    DWORD id = 0;
    CREDENTIAL_PROVIDER_FIELD_TYPE type = CPFT_INVALID;
    std::wstring label;
};

/// A field as one credential fills it.
struct TileField : FieldDescriptor {
    explicit TileField(const FieldDescriptor& descriptor) : FieldDescriptor(descriptor) {}

    CREDENTIAL_PROVIDER_FIELD_STATE state = CPFS_HIDDEN;
    CREDENTIAL_PROVIDER_FIELD_INTERACTIVE_STATE interactive = CPFIS_NONE;
    std::wstring text;
    BitmapHandle bitmap;

    bool HasText() const
    {
        return type == CPFT_LARGE_TEXT || type == CPFT_SMALL_TEXT || type == CPFT_COMMAND_LINK ||
               type == CPFT_EDIT_TEXT || type == CPFT_PASSWORD_TEXT;
    }
    /// The logon screen draws the selected tile only.
    bool IsShown() const { return state == CPFS_DISPLAY_IN_SELECTED_TILE || state == CPFS_DISPLAY_IN_BOTH; }
};

struct Tile {
    std::vector<TileField> fields;

    TileField* Find(DWORD id)
    {
        for (TileField& field : fields)
            if (field.id == id)
                return &field;
        return nullptr;
    }
};
