// One credential of the provider and its tile, as the logon screen holds them.
#pragma once

#include "CallLog.h"
#include "ComRef.h"
#include "CredentialSink.h"
#include "Findings.h"
#include "LogonReport.h"
#include "Tile.h"

#include <memory>

class CredentialTile {
public:
    /// `owner` is what the credential gets when it asks for a parent of its windows.
    CredentialTile(CallLog& log, Findings& findings, HANDLE activity, HWND owner);
    ~CredentialTile();
    CredentialTile(const CredentialTile&) = delete;
    CredentialTile& operator=(const CredentialTile&) = delete;

    /// GetCredentialAt, Advise, and the fields one by one.
    bool Open(ICredentialProvider* provider, DWORD index, const std::vector<FieldDescriptor>& descriptors);
    /// SetSelected; true when the credential wants to log on at once.
    bool Select();
    /// GetSerialization, the LSA's decision, and ReportResult. `statusText` gets what the credential has to
    /// say.
    LogonOutcome LogOn(LogonReport& report, std::wstring& statusText);
    /// UnAdvise and Release.
    void Close();

    /// Carries out what the credential has changed in its tile; true when there was anything.
    bool ApplyChanges();
    const Tile& View() const { return m_tile; }

private:
    void ReadField(TileField& field);
    void ReadText(TileField& field);
    void ReadBitmap(TileField& field);
    bool Serialize(CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION& serialization, std::wstring& statusText);
    void ReportResult(const LogonOutcome& outcome, std::wstring& statusText);

    CallLog& m_log;
    Findings& m_findings;
    std::unique_ptr<CredentialSink> m_sink;
    ComRef<ICredentialProviderCredential> m_credential;
    Tile m_tile;
};
