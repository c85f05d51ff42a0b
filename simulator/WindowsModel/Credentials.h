// What packing a logon takes: CredProtectW and CredIsProtectedW with a protection that a reader recognises
// and the host can undo, and the LSA as an untrusted caller sees it.
#pragma once

#include <windows.h>

#include <deque>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace WindowsModel {

/// What one call of CredProtectW does, when it is not to do what Windows does.
struct ProtectAnswer {
    enum Kind {
        Usual,   ///< as Windows
        Succeed, ///< TRUE; no output is written
        Fail,    ///< FALSE with `error`; `characters` is stored as the size needed unless it is absent
    };
    Kind kind = Usual;
    DWORD error = ERROR_SUCCESS;
    std::optional<DWORD> characters = {};
};

struct ProtectCall {
    bool asSelf;
    /// The count passed; a caller that means a whole string counts its NUL.
    DWORD characters;
};

struct CredentialsState {
    /// Taken from the front, one for each call of CredProtectW; when it is empty every call is Usual.
    std::deque<ProtectAnswer> protectAnswers;
    std::vector<ProtectCall> protects;
};

enum class Protection {
    None,
    User,    ///< made with fAsSelf: only the process that made it can undo it
    Trusted, ///< made without fAsSelf: the LSA can undo it
};

/// The protected form of a text, without a terminating NUL.
std::wstring Protect(const std::wstring& text, bool asSelf = false);
Protection ProtectionOf(const std::wstring& text);
/// The LSA's way: nothing when the text is not protected for it or has been damaged.
std::optional<std::wstring> Unprotect(const std::wstring& text);

struct PackageLookup {
    USHORT length, maximumLength;
};

struct LsaState {
    std::vector<PackageLookup> lookups;

    /// The number of a package by its name, or -1. There is Negotiate.
    static LONG PackageNumber(std::string_view name);
};

} // namespace WindowsModel
