#include "LogonSession.h"
#include "Names.h"

#include "ServiceClient/ServiceControl.h"

#include <algorithm>

#define CREDENTIAL L"ICredentialProviderCredential::"
#define PROVIDER L"ICredentialProvider::"

namespace {

// What LogonUI passes to Advise is opaque to the provider; a value that no provider makes up by itself.
constexpr UINT_PTR AdviseContext = 0x4C6F676F6E5549;

// The longest time that something without a notification of its own may stay unseen.
constexpr DWORD PollMs = 50;

// A fingerprint service that is there answers at once; one that is not must not hold the logon screen up.
constexpr DWORD ServicePatienceMs = 100;

std::wstring CountText(DWORD count, DWORD defaultIndex, BOOL autoLogon)
{
    const std::wstring defaultText = defaultIndex == CREDENTIAL_PROVIDER_NO_DEFAULT
                                         ? std::wstring(L"no default")
                                         : Format(L"default %lu", defaultIndex);
    return Format(L"%lu, %s, %s", count, defaultText.c_str(), autoLogon ? L"auto-logon" : L"no auto-logon");
}

/// The block as LogonUI frees it: it holds a password, be it a protected one.
void FreeSerialization(const CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION& serialization)
{
    if (serialization.rgbSerialization == nullptr)
        return;
    SecureZeroMemory(serialization.rgbSerialization, serialization.cbSerialization);
    CoTaskMemFree(serialization.rgbSerialization);
}

void PumpMessages()
{
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}

} // namespace

LogonSession::LogonSession(const Options& options, Transcript& log, WindowsSetup* windows, HANDLE activity)
    : m_options(options), m_log(log), m_windows(windows), m_activity(activity),
      m_sink(std::make_unique<EventsSink>(activity)), m_credentialSink(std::make_unique<CredentialSink>(log))
{
    m_content.footer = options.scenario == CPUS_UNLOCK_WORKSTATION ? L"Workstation locked" : L"Logon";
    m_content.footer += L"  \u00B7  simulated logon screen  \u00B7  Esc ends it";
}

LifeResult LogonSession::Run(Provider& provider)
{
    if (!m_screen.Create())
        m_log.Line(L"note", L"no logon screen, its window can't be created: %s",
                   ErrorText(GetLastError()).c_str());
    Redraw();
    if (OpenProvider(provider)) {
        if (ReadDescriptors())
            Enumerate();
        Wait(ULONGLONG(m_options.timeLimitSeconds) * 1000, true);
        End(LifeResult::End::TimeLimit);
    } else {
        m_log.Line(L"tile", L"no tile is offered");
        m_content.message = L"The credential provider offers no tile.";
        Redraw();
        End(LifeResult::End::NoTile);
    }
    // What comes now still counts: a logon that was not expected, for one.
    Wait(m_options.holdMs, false);
    CloseProvider();
    return std::move(m_result);
}

bool LogonSession::OpenProvider(Provider& provider)
{
    if (FAILED(provider.Create(m_provider)))
        return false;
    const HRESULT accepted =
        m_log.Ask(Format(PROVIDER L"SetUsageScenario(%s, 0)", ScenarioName(m_options.scenario)),
                  [&] { return m_provider.Get()->SetUsageScenario(m_options.scenario, 0); });
    if (FAILED(accepted))
        return false;
    // SetSerialization is left out: LogonUI calls it only to pass on a credential that came from outside.
    m_log.Ask(PROVIDER L"Advise(sink)",
              [&] { return m_provider.Get()->Advise(m_sink.get(), AdviseContext); });
    return true;
}

bool LogonSession::ReadDescriptors()
{
    DWORD count = 0;
    const HRESULT counted = m_log.Ask(
        PROVIDER L"GetFieldDescriptorCount()",
        [&] { return m_provider.Get()->GetFieldDescriptorCount(&count); },
        [&] { return Format(L"%lu", count); });
    for (DWORD index = 0; SUCCEEDED(counted) && index < count; ++index) {
        TaskMemory<CREDENTIAL_PROVIDER_FIELD_DESCRIPTOR> descriptor;
        const HRESULT result = m_log.Ask(
            Format(PROVIDER L"GetFieldDescriptorAt(%lu)", index),
            [&] { return m_provider.Get()->GetFieldDescriptorAt(index, descriptor.Put()); },
            [&]() -> std::wstring {
                if (!descriptor)
                    return L"no descriptor";
                const auto& field = *descriptor.Get();
                return Format(L"id %lu, %s, %s", field.dwFieldID, FieldTypeName(field.cpft).c_str(),
                              Quoted(field.pszLabel != nullptr ? field.pszLabel : L"").c_str());
            });
        if (FAILED(result) || !descriptor) {
            m_log.Violation(Format(L"field %lu of %lu has no descriptor", index, count));
            return false;
        }
        CoTaskMemFree(descriptor.Get()->pszLabel);
        m_fields.push_back({descriptor.Get()->dwFieldID, descriptor.Get()->cpft});
    }
    return SUCCEEDED(counted);
}

void LogonSession::Enumerate()
{
    DWORD count = 0, defaultIndex = CREDENTIAL_PROVIDER_NO_DEFAULT;
    BOOL autoLogon = FALSE;
    const HRESULT counted = m_log.Ask(
        PROVIDER L"GetCredentialCount()",
        [&] { return m_provider.Get()->GetCredentialCount(&count, &defaultIndex, &autoLogon); },
        [&] { return CountText(count, defaultIndex, autoLogon); });
    if (FAILED(counted))
        return;
    const bool hasDefault = defaultIndex != CREDENTIAL_PROVIDER_NO_DEFAULT;
    if (count != 1 || (hasDefault && defaultIndex != 0)) {
        m_log.Violation(L"there is to be one credential: " + CountText(count, defaultIndex, autoLogon));
        return;
    }
    if (!OpenCredential()) {
        m_log.Violation(L"the credential can't be had");
        return;
    }
    // Without a default the user would pick the tile.
    BOOL tileWantsLogon = FALSE;
    const HRESULT selected = m_log.Ask(
        CREDENTIAL L"SetSelected()", [&] { return m_credential.Get()->SetSelected(&tileWantsLogon); },
        [&] { return std::wstring(tileWantsLogon ? L"auto-logon" : L"no auto-logon"); });
    Redraw();
    if ((SUCCEEDED(selected) && tileWantsLogon) || (hasDefault && autoLogon))
        LogOn();
}

bool LogonSession::OpenCredential()
{
    const HRESULT got = m_log.Ask(PROVIDER L"GetCredentialAt(0)",
                                  [&] { return m_provider.Get()->GetCredentialAt(0, m_credential.Put()); });
    if (FAILED(got) || !m_credential)
        return false;
    m_log.Ask(CREDENTIAL L"Advise(sink)", [&] { return m_credential.Get()->Advise(m_credentialSink.get()); });
    for (const Field& field : m_fields)
        ReadField(field);
    return true;
}

void LogonSession::CloseCredential()
{
    m_content.name.clear();
    m_content.image = nullptr;
    if (!m_credential)
        return;
    m_log.Ask(CREDENTIAL L"UnAdvise()", [&] { return m_credential.Get()->UnAdvise(); });
    m_log.Release(L"ICredentialProviderCredential", m_credential.Release());
    if (m_credentialSink->Held() > 0)
        m_log.Violation(Format(L"the credential still holds %ld references to its events sink after UnAdvise",
                               m_credentialSink->Held()));
}

void LogonSession::ReadField(const Field& field)
{
    CREDENTIAL_PROVIDER_FIELD_STATE state = CPFS_HIDDEN;
    CREDENTIAL_PROVIDER_FIELD_INTERACTIVE_STATE interactive = CPFIS_NONE;
    m_log.Ask(
        Format(CREDENTIAL L"GetFieldState(%lu)", field.id),
        [&] { return m_credential.Get()->GetFieldState(field.id, &state, &interactive); },
        [&] { return Format(L"%s, %s", FieldStateName(state), InteractiveStateName(interactive)); });
    if (field.type == CPFT_TILE_IMAGE)
        ReadImage(field.id);
    else if (field.type == CPFT_LARGE_TEXT)
        ReadName(field.id);
    else
        m_log.Line(L"note", L"field %lu is not shown: this screen knows images and large texts", field.id);
    // The tile is the selected one.
    const bool isShown = state == CPFS_DISPLAY_IN_SELECTED_TILE || state == CPFS_DISPLAY_IN_BOTH;
    if (!isShown && field.type == CPFT_TILE_IMAGE)
        m_content.image = nullptr;
    if (!isShown && field.type == CPFT_LARGE_TEXT)
        m_content.name.clear();
}

void LogonSession::ReadImage(DWORD id)
{
    BITMAP bitmap = {};
    const HRESULT result = m_log.Ask(
        Format(CREDENTIAL L"GetBitmapValue(%lu)", id),
        [&] { return m_credential.Get()->GetBitmapValue(id, m_image.Put()); },
        [&] {
            return m_image && GetObjectW(m_image.Get(), sizeof(bitmap), &bitmap) != 0
                       ? Format(L"%ld x %ld, %hu bits", bitmap.bmWidth, bitmap.bmHeight, bitmap.bmBitsPixel)
                       : L"no bitmap";
        });
    if (SUCCEEDED(result) && bitmap.bmWidth == 0)
        m_log.Violation(Format(L"GetBitmapValue(%lu) succeeded without a bitmap", id));
    m_content.image = m_image.Get();
}

void LogonSession::ReadName(DWORD id)
{
    TaskMemory<wchar_t> text;
    const HRESULT result = m_log.Ask(
        Format(CREDENTIAL L"GetStringValue(%lu)", id),
        [&] { return m_credential.Get()->GetStringValue(id, text.Put()); },
        [&] { return Quoted(text ? text.Get() : L""); });
    if (SUCCEEDED(result) && !text)
        m_log.Violation(Format(L"GetStringValue(%lu) succeeded without a text", id));
    m_content.name = text ? text.Get() : L"";
}

void LogonSession::LogOn()
{
    CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION serialization = {};
    LogonOutcome outcome;
    std::wstring statusText;
    if (Serialize(serialization, statusText)) {
        outcome = Examine(m_options, m_log, serialization);
        ReportResult(outcome, statusText);
    }
    FreeSerialization(serialization);
    m_result.logons.push_back(outcome);

    m_content.mood = outcome.Accepted() ? ScreenContent::Mood::Good : ScreenContent::Mood::Bad;
    if (outcome.Accepted())
        m_content.message = L"Welcome, " + outcome.account;
    else if (!statusText.empty())
        m_content.message = statusText;
    else
        m_content.message = outcome.cameOut ? StatusMeaning(outcome.status, outcome.substatus)
                                            : L"The credential provider returned no credential.";
    Redraw();
    // A refused user stays on the logon screen.
    if (outcome.Accepted() && m_options.untilPrompt.empty())
        End(LifeResult::End::Reached);
}

bool LogonSession::Serialize(CREDENTIAL_PROVIDER_CREDENTIAL_SERIALIZATION& serialization,
                             std::wstring& statusText)
{
    CREDENTIAL_PROVIDER_GET_SERIALIZATION_RESPONSE response = CPGSR_NO_CREDENTIAL_NOT_FINISHED;
    CREDENTIAL_PROVIDER_STATUS_ICON icon = CPSI_NONE;
    TaskMemory<wchar_t> text;
    const HRESULT result = m_log.Ask(
        CREDENTIAL L"GetSerialization()",
        [&] { return m_credential.Get()->GetSerialization(&response, &serialization, text.Put(), &icon); },
        [&] { return Format(L"%s, %lu bytes", ResponseName(response), serialization.cbSerialization); });
    if (text)
        statusText = text.Get();
    if (FAILED(result) || response != CPGSR_RETURN_CREDENTIAL_FINISHED)
        return false;
    if (serialization.rgbSerialization == nullptr)
        m_log.Violation(L"GetSerialization returned a credential without a block");
    return serialization.rgbSerialization != nullptr;
}

void LogonSession::ReportResult(const LogonOutcome& outcome, std::wstring& statusText)
{
    CREDENTIAL_PROVIDER_STATUS_ICON icon = CPSI_NONE;
    TaskMemory<wchar_t> text;
    m_log.Ask(
        Format(CREDENTIAL L"ReportResult(%s, %s)", StatusName(outcome.status).c_str(),
               StatusName(outcome.substatus).c_str()),
        [&] {
            return m_credential.Get()->ReportResult(outcome.status, outcome.substatus, text.Put(), &icon);
        },
        [&] { return text ? Quoted(text.Get()) : std::wstring(); });
    if (text)
        statusText = text.Get();
}

void LogonSession::Wait(ULONGLONG ms, bool endsEarly)
{
    const ULONGLONG until = GetTickCount64() + ms;
    for (;;) {
        PumpMessages();
        HandleChanges();
        if (m_windows != nullptr)
            m_windows->WriteNews();
        CheckEnd();
        const ULONGLONG now = GetTickCount64();
        if (now >= until || (endsEarly && m_ended))
            return;
        MsgWaitForMultipleObjectsEx(1, &m_activity, DWORD(std::min<ULONGLONG>(until - now, PollMs)),
                                    QS_ALLINPUT, MWMO_INPUTAVAILABLE);
    }
}

void LogonSession::HandleChanges()
{
    const std::vector<CredentialsChange> changes = m_sink->Take();
    // Once the user is logged on LogonUI goes away and asks for no other.
    if (changes.empty() || IsLoggedOn())
        return;
    if (m_windows != nullptr)
        m_windows->WriteNews();
    for (const CredentialsChange& change : changes) {
        m_log.Line(L"event", L"ICredentialProviderEvents::CredentialsChanged on thread %lu", change.thread);
        if (change.context != AdviseContext)
            m_log.Violation(L"CredentialsChanged came with another context than Advise was given");
    }
    // Several announcements before LogonUI gets to them are answered by one enumeration.
    CloseCredential();
    Enumerate();
    if (IsLoggedOn())
        WriteTiming(changes.back().stamp);
}

/// The time from the last identification that the fingerprint service answered to CredentialsChanged. Nothing
/// is written when no scripted service runs or the logon did not come from it.
void LogonSession::WriteTiming(long long stamp)
{
    long long answered = 0;
    for (const ServiceClient::ReportedCall& call :
         ServiceClient::Report(ServicePatienceMs).value_or(std::vector<ServiceClient::ReportedCall>()))
        if (call.name == L"IdentifyEnroll" && call.answered <= stamp)
            answered = std::max(answered, call.answered);
    if (answered != 0)
        m_log.Line(L"timing", L"service's answer to CredentialsChanged: %.3f ms",
                   static_cast<double>(stamp - answered) / UnitsPerMs);
}

void LogonSession::CheckEnd()
{
    if (m_screen.WasClosed())
        End(LifeResult::End::Closed);
    if (m_windows != nullptr && !m_options.untilPrompt.empty() &&
        m_windows->WasPrompted(m_options.untilPrompt))
        End(LifeResult::End::Reached);
}

void LogonSession::End(LifeResult::End end)
{
    if (!m_ended)
        m_result.end = end;
    m_ended = true;
}

void LogonSession::CloseProvider()
{
    CloseCredential();
    if (m_provider) {
        m_log.Ask(PROVIDER L"UnAdvise()", [&] { return m_provider.Get()->UnAdvise(); });
        m_sink->SetUnadvised();
        m_log.Release(L"ICredentialProvider", m_provider.Release());
    }
    if (m_windows != nullptr)
        m_windows->WriteNews();
    for (const CredentialsChange& change : m_sink->Take())
        if (change.afterUnAdvise)
            m_log.Violation(Format(L"CredentialsChanged on thread %lu after UnAdvise", change.thread));
    if (m_sink->Held() > 0)
        m_log.Violation(Format(L"the provider still holds %ld references to the events sink after UnAdvise",
                               m_sink->Held()));
    // It may call through what it holds yet.
    if (m_sink->Held() > 0)
        (void)m_sink.release();
    if (m_credentialSink->Held() > 0)
        (void)m_credentialSink.release();
    m_screen.Destroy();
}

void LogonSession::Redraw()
{
    m_screen.Show(m_content);
}
