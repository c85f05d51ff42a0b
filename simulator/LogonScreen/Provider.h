// The provider's DLL: loaded, asked for a provider, and unloaded again the way COM unloads an idle server.
#pragma once

#include "Owned.h"
#include "Transcript.h"

#include <credentialprovider.h>

class Provider {
public:
    explicit Provider(Transcript& log) : m_log(log) {}
    /// The process ends: a module whose objects live on is better left alone than unmapped.
    ~Provider() { (void)m_module.Release(); }
    Provider(const Provider&) = delete;
    Provider& operator=(const Provider&) = delete;

    bool Load(const std::wstring& path);
    bool IsLoaded() const { return static_cast<bool>(m_module); }
    HMODULE Module() const { return m_module.Get(); }

    HRESULT Create(ComRef<ICredentialProvider>& provider);

    /// Gives the module back if DllCanUnloadNow allows it, and waits until it has left the process: its
    /// threads hold it until they leave. Otherwise false, with a finding.
    bool Unload();
    /// Waits for the provider's window and its class to go; what does not is a finding.
    void CheckWindows();

private:
    Transcript& m_log;
    ModuleHandle m_module;
    std::wstring m_path;
};
