// One life of the provider in the DLL that ships, as LogonUI leads it.
#pragma once

#include "Machine.h"
#include "support/Dll.h"

#include <string>

class ProviderLife {
public:
    /// Loads the DLL and creates the provider; nothing runs yet.
    explicit ProviderLife(Machine& machine);
    ~ProviderLife();
    ProviderLife(const ProviderLife&) = delete;
    ProviderLife& operator=(const ProviderLife&) = delete;

    void Start(CREDENTIAL_PROVIDER_USAGE_SCENARIO scenario = CPUS_LOGON);
    /// Start, and the wait for "Please scan a finger".
    void StartAndWaitForPrompt(CREDENTIAL_PROVIDER_USAGE_SCENARIO scenario = CPUS_LOGON);
    /// Waits for the next drawing of the text.
    bool SeePrompt(const std::wstring& text);
    HWND Window() const;
    /// Takes the logon, which must log SIMULATED-PC\anna on.
    void CheckLogon() const;
    /// Places her finger, waits for the announcement, takes the logon.
    void LogOn() const;

    /// Ends the life as LogonUI does, in bounded time.
    void End();
    /// End, then gives the module back; true when it has gone within the bound of these tests.
    bool EndAndUnload();

    static constexpr UINT_PTR Context = 0x1234;

    Dll dll;
    EventsSink sink;
    Owned<ICredentialProvider> provider;
    Owned<ICredentialProviderCredential> credential;

private:
    Machine& m_machine;
    CREDENTIAL_PROVIDER_USAGE_SCENARIO m_scenario = CPUS_INVALID;
    size_t m_promptsSeen = 0;
};

/// True once no prompt window is left.
bool WaitForNoEventWindow();
/// A new life in the same process works from start to logon.
void CheckNextLife(Machine& machine);
