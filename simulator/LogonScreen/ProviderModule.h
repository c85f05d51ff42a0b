// The provider's DLL: loaded, asked for a provider, and unloaded again the way COM unloads an idle server.
#pragma once

#include "CallLog.h"
#include "ComRef.h"

#include <credentialprovider.h>

struct ModulePolicy {
    using Type = HMODULE;
    static Type Invalid() { return nullptr; }
    static void Close(Type module) { FreeLibrary(module); }
};
using ModuleHandle = UniqueResource<ModulePolicy>;

class ProviderModule {
public:
    explicit ProviderModule(CallLog& log) : m_log(log) {}

    bool Load(const std::wstring& path);
    bool IsLoaded() const { return static_cast<bool>(m_module); }
    HMODULE Get() const { return m_module.Get(); }

    HRESULT CreateProvider(REFCLSID clsid, ComRef<ICredentialProvider>& provider);

    /// Asks DllCanUnloadNow; only its S_OK says that nothing of the provider is in use any more.
    bool CanUnload();

    /// Gives the module back. It may stay a while: its threads hold it until they leave.
    void Free();
    /// Waits until the module has left the process; false when it is still there after `limitMs`.
    bool WaitUntilGone(DWORD limitMs);

    /// Where the process ends anyway, a module whose objects live on is better left alone than unmapped.
    void Abandon() { m_module.Release(); }

private:
    CallLog& m_log;
    ModuleHandle m_module;
    std::wstring m_path;
};
