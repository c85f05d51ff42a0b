// One logon screen's life with the provider: the order in which LogonUI makes its calls.
#pragma once

#include "Provider.h"
#include "Screen.h"
#include "Sinks.h"
#include "Verdict.h"
#include "WindowsSetup.h"

#include <memory>

class LogonSession {
public:
    /// `windows` is null when nothing is simulated. `activity` is an event that the sinks and prompts set.
    LogonSession(const Options& options, Transcript& log, WindowsSetup* windows, HANDLE activity);

    /// From CreateInstance to the last Release, on the calling thread, which has to be a COM apartment's.
    LifeResult Run(Provider& provider);

private:
    struct Field {
        DWORD id;
        CREDENTIAL_PROVIDER_FIELD_TYPE type;
    };

    bool OpenProvider(Provider& provider);
    bool ReadDescriptors();
    void CloseProvider();

    /// GetCredentialCount and the credential; if that is to be logged on at once, it is.
    void Enumerate();
    bool OpenCredential();
    void CloseCredential();
    void ReadField(const Field& field);
    void ReadImage(DWORD id);
    void ReadName(DWORD id);
    /// GetSerialization, the LSA's decision, and ReportResult.
    void LogOn();
    bool Serialize(CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION& serialization, std::wstring& statusText);
    void ReportResult(const LogonOutcome& outcome, std::wstring& statusText);

    /// Lives for so long, or until something else ends it.
    void Wait(ULONGLONG ms, bool endsEarly);
    void HandleChanges();
    void WriteTiming(long long stamp);
    void CheckEnd();
    void End(LifeResult::End end);
    void Redraw();
    bool IsLoggedOn() const { return !m_result.logons.empty() && m_result.logons.back().Accepted(); }

    const Options& m_options;
    Transcript& m_log;
    WindowsSetup* m_windows;
    HANDLE m_activity;

    Screen m_screen;
    std::unique_ptr<EventsSink> m_sink;
    std::unique_ptr<CredentialSink> m_credentialSink;
    ComRef<ICredentialProvider> m_provider;
    ComRef<ICredentialProviderCredential> m_credential;
    std::vector<Field> m_fields;
    BitmapHandle m_image;
    ScreenContent m_content;

    LifeResult m_result;
    bool m_ended = false;
};
