// One attempt to create a provider through the class factory of the DLL that ships, and what it left behind.
#pragma once

#include "flow/Machine.h"

#include <credentialprovider.h>

#include <memory>
#include <string>
#include <vector>

using Texts = std::vector<std::wstring>;

class Creation {
public:
    /// Loads the DLL and switches failure notes on; nothing is created yet.
    explicit Creation(Machine& machine);
    ~Creation();
    Creation(const Creation&) = delete;
    Creation& operator=(const Creation&) = delete;

    HRESULT Attempt();

    /// What the attempts sent to the event log and to the debugger, without what the device query and the
    /// factory say.
    Texts Records() const;
    std::vector<std::string> DebugTexts() const;
    /// Was the credential-service event signalled? Asking takes the signal back.
    bool TakeSignal() const;
    /// Does the DLL hold the credential-service event? Ends the watch on its signal.
    bool HoldsServiceEvent();

    ICredentialProvider* provider = nullptr;

private:
    Machine& m_machine;
    HMODULE m_module;
    WindowsModel::ImportHooks m_hooks;
    KernelHandle m_serviceEvent;
};
