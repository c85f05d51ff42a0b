// One logon screen's life with the provider: the order in which LogonUI makes its calls.
#pragma once

#include "CredentialTile.h"
#include "EventsSink.h"
#include "ProviderModule.h"
#include "Simulation.h"
#include "TileWindow.h"
#include "Verdict.h"

#include <memory>

class LogonSession {
public:
    /// `simulation` is null when nothing is simulated. `activity` is an event that the sinks and prompts set.
    LogonSession(const Options& options, CallLog& log, Findings& findings, Simulation* simulation,
                 HANDLE activity);

    /// From CreateInstance to the last Release, on the calling thread, which has to be a COM apartment's.
    LifeResult Run(ProviderModule& module);

private:
    bool OpenProvider(ProviderModule& module);
    bool ReadDescriptors();
    /// GetCredentialCount and the credentials; what they ask to be logged on at once is logged on.
    void Enumerate();
    void CloseCredentials();
    void LogOn(CredentialTile& credential);
    void CloseProvider();

    void Loop();
    void Hold(DWORD ms);
    void Step();
    void WriteNews();
    void Pump();
    void HandleChanges();
    void CheckEnd(ULONGLONG elapsed);
    void End(LifeResult::End end);
    void Redraw();

    const Options& m_options;
    CallLog& m_log;
    Findings& m_findings;
    Simulation* m_simulation;
    HANDLE m_activity;
    LogonReport m_report;

    TileWindow m_window;
    std::unique_ptr<EventsSink> m_sink;
    ComRef<ICredentialProvider> m_provider;
    std::vector<FieldDescriptor> m_descriptors;
    std::vector<std::unique_ptr<CredentialTile>> m_credentials;
    CredentialTile* m_selected = nullptr;
    ScreenContent::Phase m_phase = ScreenContent::Phase::Waiting;
    std::wstring m_message;

    LifeResult m_result;
    bool m_ended = false;
};
