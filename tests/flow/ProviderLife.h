// One life of the provider in the DLL that ships, as LogonUI leads it.
#pragma once

#include "Handle.h"
#include "Machine.h"

#include <credentialprovider.h>

#include <atomic>
#include <memory>
#include <string>

/// Counts what the provider announces; any thread may call it.
class EventsSink final : public ICredentialProviderEvents {
public:
    STDMETHODIMP QueryInterface(REFIID riid, void** ppv) override;
    STDMETHODIMP_(ULONG) AddRef() override { return ++references; }
    STDMETHODIMP_(ULONG) Release() override { return --references; }
    STDMETHODIMP CredentialsChanged(UINT_PTR context) override;

    /// Waits until that many announcements were made in all.
    bool WaitFor(long count);

    static constexpr UINT_PTR Context = 0x1234;
    std::atomic<long> changes = 0;
    std::atomic<ULONG> references = 1;
    std::atomic<bool> wrongContext = false;

private:
    KernelHandle m_changed{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
};

class ProviderLife {
public:
    /// Loads the DLL, hooks it up to the simulated Windows and creates the provider; nothing runs yet.
    explicit ProviderLife(Machine& machine);
    ~ProviderLife();
    ProviderLife(const ProviderLife&) = delete;
    ProviderLife& operator=(const ProviderLife&) = delete;

    void Start(CREDENTIAL_PROVIDER_USAGE_SCENARIO scenario = CPUS_LOGON);
    /// Start, and the wait for "Please scan a finger".
    void StartAndWaitForPrompt();
    /// Waits for the next drawing of the text.
    bool SeePrompt(const std::wstring& text);
    HWND Window() const;

    /// Ends the life as LogonUI does; returns the milliseconds that the provider's release took.
    DWORD End();
    /// End, then gives the module back; true when it has gone within the bound of these tests.
    bool EndAndUnload();

    EventsSink sink;
    ICredentialProvider* provider = nullptr;
    ICredentialProviderCredential* credential = nullptr;

private:
    Machine& m_machine;
    HMODULE m_module = nullptr;
    std::unique_ptr<WindowsModel::ImportHooks> m_hooks;
    size_t m_promptsSeen = 0;
};

/// The command window of this process, or null.
HWND FindEventWindow();
/// Waits until no command window is left.
bool WaitForNoEventWindow();
