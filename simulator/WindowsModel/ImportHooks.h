// Replaces functions in the import tables of one loaded module, and puts the originals back.
#pragma once

#include <windows.h>

#include <vector>

namespace WindowsModel {

/// Both the ordinary and the delayed import descriptors of the module are searched.
///
/// A delayed import that is not bound yet keeps its loader thunk as its original. Calling that thunk binds
/// the import and so takes the replacement out of the table: replace what is delayed with a function that
/// answers on its own, or load the library first, in which case the original is the library's function.
class ImportHooks {
public:
    enum class Result {
        Replaced,    ///< Every slot of that name now leads to the replacement.
        NotImported, ///< The module has no such import.
        NotWritable, ///< The import table could not be made writable.
    };

    explicit ImportHooks(HMODULE module) : m_module(module) {}
    ImportHooks(const ImportHooks&) = delete;
    ImportHooks& operator=(const ImportHooks&) = delete;
    /// Restores what is still replaced.
    ~ImportHooks() { Restore(); }

    /// Replaces the import called `name`, whichever library it comes from. `*original` is written before the
    /// first slot is, since another thread may run into the replacement at once.
    [[nodiscard]] Result Replace(const char* name, void* replacement, void** original = nullptr);

    template <class Function>
    [[nodiscard]] Result Replace(const char* name, Function* replacement, Function** original = nullptr)
    {
        return Replace(name, reinterpret_cast<void*>(replacement), reinterpret_cast<void**>(original));
    }

    /// Puts the originals back where the module is still loaded. A slot that somebody else has changed since
    /// is left alone.
    void Restore();

    /// Drops every memory of the module without touching it: for a module that has been unloaded.
    void Forget() { m_patches.clear(); }

    HMODULE Module() const { return m_module; }

private:
    struct Patch {
        void** slot;
        void* original;
        void* replacement;
    };

    HMODULE m_module;
    std::vector<Patch> m_patches;
};

} // namespace WindowsModel
