#include "LogonSession.h"
#include "Names.h"
#include "ServiceTiming.h"

#include <algorithm>

namespace {

// What LogonUI passes to Advise is opaque to the provider; a value that no provider makes up by itself.
constexpr UINT_PTR g_adviseContext = 0x4C6F676F6E5549;

// The longest time that something without a notification of its own may stay unseen.
constexpr DWORD g_pollMs = 50;

std::wstring CountText(DWORD count, DWORD defaultIndex, BOOL autoLogon)
{
    const std::wstring defaultText = defaultIndex == CREDENTIAL_PROVIDER_NO_DEFAULT
                                         ? std::wstring(L"no default")
                                         : Format(L"default %lu", defaultIndex);
    return Format(L"%lu, %s, %s", count, defaultText.c_str(), autoLogon ? L"auto-logon" : L"no auto-logon");
}

} // namespace

LogonSession::LogonSession(const Options& options, CallLog& log, Findings& findings, Simulation* simulation,
                           HANDLE activity)
    : m_options(options), m_log(log), m_findings(findings), m_simulation(simulation), m_activity(activity),
      m_report(options, log.Lines(), findings), m_sink(std::make_unique<EventsSink>(activity))
{
}

LifeResult LogonSession::Run(ProviderModule& module)
{
    if (m_options.window && !m_window.Create())
        m_log.Lines().Line(L"note", L"no logon screen: its window can't be created, error %lu",
                           GetLastError());
    Redraw();
    if (OpenProvider(module)) {
        if (ReadDescriptors())
            Enumerate();
        Loop();
        Hold(m_options.holdMs);
    } else {
        m_log.Lines().Line(L"tile", L"no tile is offered");
        m_message = L"The credential provider offers no tile.";
        Redraw();
        End(LifeResult::End::NoTile);
        Hold(m_options.holdMs);
    }
    CloseProvider();
    return std::move(m_result);
}

bool LogonSession::OpenProvider(ProviderModule& module)
{
    if (FAILED(module.CreateProvider(m_options.clsid, m_provider)))
        return false;
    {
        Call call(m_log,
                  Format(L"ICredentialProvider::SetUsageScenario(%s, 0)", ScenarioName(m_options.scenario)));
        if (FAILED(call.Returned(call.Took(m_provider.Get()->SetUsageScenario(m_options.scenario, 0)))))
            return false;
    }
    // SetSerialization is left out: LogonUI calls it only to pass on a credential that came from outside.
    Call call(m_log, L"ICredentialProvider::Advise(sink)");
    call.Returned(call.Took(m_provider.Get()->Advise(m_sink.get(), g_adviseContext)));
    return true;
}

bool LogonSession::ReadDescriptors()
{
    DWORD count = 0;
    {
        Call call(m_log, L"ICredentialProvider::GetFieldDescriptorCount()");
        const HRESULT result = call.Took(m_provider.Get()->GetFieldDescriptorCount(&count));
        if (FAILED(call.Returned(result, Format(L"%lu", count))))
            return false;
    }
    for (DWORD index = 0; index < count; ++index) {
        TaskMemory<CREDENTIAL_PROVIDER_FIELD_DESCRIPTOR> descriptor;
        Call call(m_log, Format(L"ICredentialProvider::GetFieldDescriptorAt(%lu)", index));
        const HRESULT result = call.Took(m_provider.Get()->GetFieldDescriptorAt(index, descriptor.Put()));
        if (FAILED(result) || !descriptor) {
            call.Returned(result);
            m_findings.Violation(Format(L"field %lu of %lu has no descriptor", index, count));
            return false;
        }
        const TaskMemory<wchar_t> label(descriptor.Get()->pszLabel);
        m_descriptors.push_back(
            {descriptor.Get()->dwFieldID, descriptor.Get()->cpft, label ? label.Get() : L""});
        const FieldDescriptor& field = m_descriptors.back();
        call.Returned(result, Format(L"id %lu, %s, %s", field.id, FieldTypeName(field.type),
                                     Quoted(field.label).c_str()));
    }
    return true;
}

void LogonSession::Enumerate()
{
    DWORD count = 0, defaultIndex = CREDENTIAL_PROVIDER_NO_DEFAULT;
    BOOL autoLogon = FALSE;
    {
        Call call(m_log, L"ICredentialProvider::GetCredentialCount()");
        const HRESULT result =
            call.Took(m_provider.Get()->GetCredentialCount(&count, &defaultIndex, &autoLogon));
        if (FAILED(call.Returned(result, CountText(count, defaultIndex, autoLogon))))
            return;
    }
    if (defaultIndex != CREDENTIAL_PROVIDER_NO_DEFAULT && defaultIndex >= count)
        m_findings.Violation(Format(L"default credential %lu of only %lu", defaultIndex, count));

    for (DWORD index = 0; index < count; ++index) {
        auto credential = std::make_unique<CredentialTile>(m_log, m_findings, m_activity, m_window.Get());
        if (credential->Open(m_provider.Get(), index, m_descriptors))
            m_credentials.push_back(std::move(credential));
        else
            m_findings.Violation(Format(L"credential %lu of %lu can't be had", index, count));
    }
    if (m_credentials.empty())
        return;
    // Without a default the user would pick a tile; the first one stands in for his choice.
    const bool hasDefault = defaultIndex < m_credentials.size();
    m_selected = m_credentials[hasDefault ? defaultIndex : 0].get();
    const bool tileWantsLogon = m_selected->Select();
    Redraw();
    if (tileWantsLogon || (hasDefault && autoLogon))
        LogOn(*m_selected);
}

void LogonSession::CloseCredentials()
{
    m_selected = nullptr;
    for (auto& credential : m_credentials)
        credential->Close();
    m_credentials.clear();
}

void LogonSession::LogOn(CredentialTile& credential)
{
    std::wstring statusText;
    m_result.logons.push_back(credential.LogOn(m_report, statusText));
    const LogonOutcome& outcome = m_result.logons.back();
    if (outcome.Accepted()) {
        m_phase = ScreenContent::Phase::LoggedOn;
        m_message = L"Welcome, " + outcome.account;
    } else {
        m_phase = ScreenContent::Phase::Refused;
        const std::wstring why = outcome.cameOut ? StatusMeaning(outcome.status, outcome.substatus)
                                                 : L"The credential provider returned no credential.";
        m_message = statusText.empty() ? why : statusText;
    }
    Redraw();
    if (m_options.until.kind == EndCondition::Kind::Logon)
        End(LifeResult::End::Reached);
}

void LogonSession::Loop()
{
    const ULONGLONG start = GetTickCount64();
    while (!m_ended) {
        Step();
        CheckEnd(GetTickCount64() - start);
        if (!m_ended)
            MsgWaitForMultipleObjectsEx(1, &m_activity, g_pollMs, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
    }
}

void LogonSession::Step()
{
    Pump();
    HandleChanges();
    WriteNews();
}

void LogonSession::WriteNews()
{
    if (m_simulation != nullptr)
        m_simulation->WriteNews();
}

void LogonSession::Hold(DWORD ms)
{
    const ULONGLONG until = GetTickCount64() + ms;
    for (ULONGLONG now = GetTickCount64(); now < until; now = GetTickCount64()) {
        // What comes now still counts: a logon that was not expected, for one.
        Step();
        const DWORD left = static_cast<DWORD>(std::min<ULONGLONG>(until - now, g_pollMs));
        MsgWaitForMultipleObjectsEx(1, &m_activity, left, QS_ALLINPUT, MWMO_INPUTAVAILABLE);
    }
}

void LogonSession::Pump()
{
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
    if (m_window.WasClosed())
        End(LifeResult::End::Closed);
}

void LogonSession::HandleChanges()
{
    bool redraw = false;
    for (auto& credential : m_credentials)
        redraw |= credential->ApplyChanges();
    if (redraw)
        Redraw();

    const std::vector<CredentialsChange> changes = m_sink->Take();
    // Once the logon is done LogonUI goes away and asks for no other.
    if (changes.empty() || (m_ended && !m_result.logons.empty()))
        return;
    WriteNews();
    for (const CredentialsChange& change : changes) {
        m_log.Lines().Line(L"event", L"ICredentialProviderEvents::CredentialsChanged on thread %lu",
                           change.thread);
        if (change.context != g_adviseContext)
            m_findings.Violation(L"CredentialsChanged came with another context than Advise was given");
    }
    // Several announcements before LogonUI gets to them are answered by one enumeration.
    CloseCredentials();
    const size_t logons = m_result.logons.size();
    Enumerate();
    if (m_result.logons.size() > logons)
        ServiceTiming::Write(m_log.Lines(), changes.back().stamp);
}

void LogonSession::CheckEnd(ULONGLONG elapsed)
{
    const EndCondition& until = m_options.until;
    if (until.kind == EndCondition::Kind::Prompt && m_simulation != nullptr &&
        m_simulation->PromptSeen(until.prompt))
        End(LifeResult::End::Reached);
    if (until.kind == EndCondition::Kind::Time && elapsed >= until.ms)
        End(LifeResult::End::Reached);
    if (elapsed >= m_options.timeLimitMs)
        End(LifeResult::End::TimeLimit);
}

void LogonSession::End(LifeResult::End end)
{
    if (m_ended)
        return;
    m_ended = true;
    m_result.end = end;
}

void LogonSession::CloseProvider()
{
    CloseCredentials();
    if (m_provider) {
        {
            Call call(m_log, L"ICredentialProvider::UnAdvise()");
            call.Returned(call.Took(m_provider.Get()->UnAdvise()));
        }
        m_sink->SetUnadvised();
        LoggedRelease(m_log, L"ICredentialProvider", m_provider.Release());
    }
    WriteNews();
    for (const CredentialsChange& change : m_sink->Take())
        if (change.afterUnAdvise)
            m_findings.Violation(Format(L"CredentialsChanged on thread %lu after UnAdvise", change.thread));
    if (m_sink->HeldByProvider() > 0) {
        m_findings.Violation(
            Format(L"the provider still holds %ld references to the events sink after UnAdvise",
                   m_sink->HeldByProvider()));
        // It may call through them yet.
        (void)m_sink.release();
    }
    m_window.Destroy();
}

void LogonSession::Redraw()
{
    ScreenContent content;
    content.phase = m_phase;
    content.message = m_message;
    content.unlock = m_options.scenario == CPUS_UNLOCK_WORKSTATION;
    if (m_selected != nullptr)
        content.tile = &m_selected->View();
    m_window.Show(content);
}
