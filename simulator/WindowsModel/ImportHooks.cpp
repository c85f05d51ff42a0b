#include "WindowsModel/ImportHooks.h"

#include <delayimp.h>

#include <cstring>
#include <utility>

namespace WindowsModel {

namespace {

/// One import as it stands in a descriptor: its slot, and its name or ordinal.
struct Import {
    const char* library;
    /// Null for an import by ordinal.
    const char* name;
    WORD ordinal;
    void** slot;
    bool delayed;
};

template <class T>
T* At(HMODULE module, DWORD offset)
{
    return reinterpret_cast<T*>(reinterpret_cast<BYTE*>(module) + offset);
}

template <class Visitor>
void VisitThunks(HMODULE module, const char* library, DWORD names, DWORD slots, bool delayed,
                 Visitor&& visitor)
{
    const auto* name = At<IMAGE_THUNK_DATA>(module, names);
    auto* slot = At<IMAGE_THUNK_DATA>(module, slots);
    for (; name->u1.AddressOfData != 0; ++name, ++slot) {
        Import import{library, nullptr, 0, reinterpret_cast<void**>(&slot->u1.Function), delayed};
        if (IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal))
            import.ordinal = IMAGE_ORDINAL(name->u1.Ordinal);
        else
            import.name = At<IMAGE_IMPORT_BY_NAME>(module, DWORD(name->u1.AddressOfData))->Name;
        visitor(import);
    }
}

/// Null when the module has no such directory.
template <class T>
const T* Directory(HMODULE module, unsigned index)
{
    const auto* dos = At<IMAGE_DOS_HEADER>(module, 0);
    if (dos->e_magic != IMAGE_DOS_SIGNATURE)
        return nullptr;
    const auto* nt = At<IMAGE_NT_HEADERS>(module, DWORD(dos->e_lfanew));
    if (nt->Signature != IMAGE_NT_SIGNATURE || nt->OptionalHeader.NumberOfRvaAndSizes <= index)
        return nullptr;
    const IMAGE_DATA_DIRECTORY& directory = nt->OptionalHeader.DataDirectory[index];
    return directory.VirtualAddress == 0 ? nullptr : At<T>(module, directory.VirtualAddress);
}

template <class Visitor>
void VisitImports(HMODULE module, Visitor&& visitor)
{
    if (module == nullptr)
        return;
    for (const auto* entry = Directory<IMAGE_IMPORT_DESCRIPTOR>(module, IMAGE_DIRECTORY_ENTRY_IMPORT);
         entry != nullptr && entry->Name != 0; ++entry) {
        // Without the table of names a bound slot cannot be told by its name.
        if (entry->OriginalFirstThunk != 0)
            VisitThunks(module, At<char>(module, entry->Name), entry->OriginalFirstThunk, entry->FirstThunk,
                        false, visitor);
    }
    for (const auto* entry = Directory<ImgDelayDescr>(module, IMAGE_DIRECTORY_ENTRY_DELAY_IMPORT);
         entry != nullptr && entry->rvaDLLName != 0; ++entry) {
        // Addresses instead of offsets are a form that no 64-bit linker writes.
        if (entry->grAttrs & dlattrRva)
            VisitThunks(module, At<char>(module, entry->rvaDLLName), entry->rvaINT, entry->rvaIAT, true,
                        visitor);
    }
}

/// What a delayed import will lead to, if its library happens to be loaded: the loader thunk in its slot is
/// of no use as an original.
void* LoadedFunction(const Import& import)
{
    const HMODULE library = GetModuleHandleA(import.library);
    if (library == nullptr)
        return nullptr;
    const char* name = import.name != nullptr ? import.name : MAKEINTRESOURCEA(import.ordinal);
    return reinterpret_cast<void*>(GetProcAddress(library, name));
}

bool WriteSlot(void** slot, void* value)
{
    DWORD protection = 0;
    if (!VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &protection))
        return false;
    // No locked exchange: import slots need not be aligned, and across a cache line it stalls every core.
    *static_cast<void* volatile*>(slot) = value;
    DWORD ignored = 0;
    VirtualProtect(slot, sizeof *slot, protection, &ignored);
    return true;
}

bool IsStillLoaded(HMODULE module, const void* address)
{
    HMODULE owner = nullptr;
    return GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                  GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                              static_cast<const wchar_t*>(address), &owner) &&
           owner == module;
}

} // namespace

ImportHooks::ImportHooks(HMODULE module) : m_module(module) {}

ImportHooks::ImportHooks(ImportHooks&& other) noexcept
    : m_module(other.m_module), m_patches(std::exchange(other.m_patches, {}))
{
}

ImportHooks::~ImportHooks()
{
    Restore();
}

ImportHooks::Result ImportHooks::Replace(const char* name, void* replacement, void** original)
{
    std::vector<void**> slots;
    void* loaded = nullptr;
    VisitImports(m_module, [&](const Import& import) {
        if (import.name == nullptr || std::strcmp(import.name, name) != 0)
            return;
        slots.push_back(import.slot);
        if (import.delayed)
            loaded = LoadedFunction(import);
    });
    return ReplaceSlots(slots, loaded, replacement, original);
}

ImportHooks::Result ImportHooks::ReplaceOrdinal(const char* library, WORD ordinal, void* replacement,
                                                void** original)
{
    std::vector<void**> slots;
    void* loaded = nullptr;
    VisitImports(m_module, [&](const Import& import) {
        if (import.name != nullptr || import.ordinal != ordinal || _stricmp(import.library, library) != 0)
            return;
        slots.push_back(import.slot);
        if (import.delayed)
            loaded = LoadedFunction(import);
    });
    return ReplaceSlots(slots, loaded, replacement, original);
}

ImportHooks::Result ImportHooks::ReplaceSlots(const std::vector<void**>& slots, void* knownOriginal,
                                              void* replacement, void** original)
{
    if (slots.empty())
        return Result::NotImported;
    Result result = Result::AlreadyReplaced;
    for (void** slot : slots) {
        void* const previous = *slot;
        if (previous == replacement)
            continue;
        if (original != nullptr)
            *original = knownOriginal != nullptr ? knownOriginal : previous;
        if (!WriteSlot(slot, replacement))
            return Result::NotWritable;
        m_patches.push_back({slot, previous, replacement});
        result = Result::Replaced;
    }
    return result;
}

size_t ImportHooks::Restore()
{
    size_t restored = 0;
    for (const Patch& patch : std::exchange(m_patches, {})) {
        if (IsStillLoaded(m_module, patch.slot) && *patch.slot == patch.replacement &&
            WriteSlot(patch.slot, patch.original))
            ++restored;
    }
    return restored;
}

} // namespace WindowsModel
