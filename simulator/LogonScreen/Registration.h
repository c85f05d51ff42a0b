// The registry entries through which Windows finds the credential provider: its COM class and its place in
// the list of providers that LogonUI asks.
#pragma once

#include <windows.h>

#include <string>

namespace Registration {

/// What is registered; empty texts for what is not.
struct Entry {
    std::wstring dll, threadingModel;
    bool isListed = false; ///< LogonUI would ask this provider

    bool IsThere() const { return !dll.empty() || isListed; }
};
Entry Read();

/// These say what they did, or what was in the way, and return whether they did it. Writing needs
/// administrator's rights.
bool Write(const std::wstring& dll);
bool Remove();
/// Returns whether LogonUI would find a DLL.
bool Tell();

} // namespace Registration
