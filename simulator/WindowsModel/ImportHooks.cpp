#include "WindowsModel/ImportHooks.h"

#include <delayimp.h>

#include <cstring>
#include <utility>

namespace WindowsModel {

namespace {

template <class T>
T* At(HMODULE module, DWORD offset)
{
    return reinterpret_cast<T*>(reinterpret_cast<BYTE*>(module) + offset);
}

/// Adds the slots of one descriptor that bear the name.
void CollectSlots(HMODULE module, DWORD names, DWORD slots, const char* wanted, std::vector<void**>& found)
{
    const auto* name = At<IMAGE_THUNK_DATA>(module, names);
    auto* slot = At<IMAGE_THUNK_DATA>(module, slots);
    for (; name->u1.AddressOfData != 0; ++name, ++slot) {
        if (!IMAGE_SNAP_BY_ORDINAL(name->u1.Ordinal) &&
            std::strcmp(At<IMAGE_IMPORT_BY_NAME>(module, DWORD(name->u1.AddressOfData))->Name, wanted) == 0)
            found.push_back(reinterpret_cast<void**>(&slot->u1.Function));
    }
}

/// Null when the module has no such directory.
template <class T>
const T* Directory(HMODULE module, unsigned index)
{
    const auto* nt = At<IMAGE_NT_HEADERS>(module, DWORD(At<IMAGE_DOS_HEADER>(module, 0)->e_lfanew));
    const IMAGE_DATA_DIRECTORY& directory = nt->OptionalHeader.DataDirectory[index];
    return directory.VirtualAddress == 0 ? nullptr : At<T>(module, directory.VirtualAddress);
}

/// The slots of that name, and for a delayed import the function that it will lead to if its library is
/// loaded by now: the loader thunk in its slot is of no use as an original.
std::vector<void**> FindSlots(HMODULE module, const char* name, void*& loaded)
{
    std::vector<void**> slots;
    for (const auto* entry = Directory<IMAGE_IMPORT_DESCRIPTOR>(module, IMAGE_DIRECTORY_ENTRY_IMPORT);
         entry != nullptr && entry->Name != 0; ++entry)
        CollectSlots(module, entry->OriginalFirstThunk, entry->FirstThunk, name, slots);
    const size_t bound = slots.size();
    for (const auto* entry = Directory<ImgDelayDescr>(module, IMAGE_DIRECTORY_ENTRY_DELAY_IMPORT);
         entry != nullptr && entry->rvaDLLName != 0; ++entry) {
        CollectSlots(module, entry->rvaINT, entry->rvaIAT, name, slots);
        const HMODULE library = GetModuleHandleA(At<char>(module, entry->rvaDLLName));
        if (slots.size() > bound && library != nullptr)
            loaded = reinterpret_cast<void*>(GetProcAddress(library, name));
    }
    return slots;
}

/// The page stays writable: changing it back and forth for each of many slots takes long.
bool WriteSlot(void** slot, void* value)
{
    MEMORY_BASIC_INFORMATION page{};
    VirtualQuery(slot, &page, sizeof page);
    DWORD protection = 0;
    if ((page.Protect & (PAGE_READWRITE | PAGE_WRITECOPY)) == 0 &&
        !VirtualProtect(slot, sizeof *slot, PAGE_READWRITE, &protection))
        return false;
    // No locked exchange: import slots need not be aligned, and across a cache line it stalls every core.
    *static_cast<void* volatile*>(slot) = value;
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

ImportHooks::Result ImportHooks::Replace(const char* name, void* replacement, void** original)
{
    void* loaded = nullptr;
    const std::vector<void**> slots = FindSlots(m_module, name, loaded);
    for (void** slot : slots) {
        void* const previous = *slot;
        if (previous == replacement)
            continue;
        if (original != nullptr)
            *original = loaded != nullptr ? loaded : previous;
        if (!WriteSlot(slot, replacement))
            return Result::NotWritable;
        m_patches.push_back({slot, previous, replacement});
    }
    return slots.empty() ? Result::NotImported : Result::Replaced;
}

void ImportHooks::Restore()
{
    for (const Patch& patch : std::exchange(m_patches, {})) {
        if (IsStillLoaded(m_module, patch.slot) && *patch.slot == patch.replacement)
            WriteSlot(patch.slot, patch.original);
    }
}

} // namespace WindowsModel
