// The registry entries through which Windows finds a credential provider: its COM class and its place in the
// list of providers that LogonUI asks.
#pragma once

#include <windows.h>

#include <string>

namespace Registration {

/// Both return a Win32 error code. Writing needs administrator's rights.
LSTATUS Write(const GUID& clsid, const std::wstring& dll);
LSTATUS Remove(const GUID& clsid);

/// The DLL that COM would load for the class; empty when it is not registered.
std::wstring ServerPath(const GUID& clsid);

/// The threading model that the class states; empty without one.
std::wstring ThreadingModel(const GUID& clsid);

/// Whether LogonUI would ask this provider at all.
bool IsListed(const GUID& clsid);

} // namespace Registration
