#include "Simulation.h"
#include "Names.h"
#include "Text.h"

#include <algorithm>

using WindowsModel::Group;
using WindowsModel::SimulatedWindows;

namespace {

/// What has been added to a record since `seen`, which is moved on. Taken under the lock, written without it.
template <class Item>
std::vector<Item> Since(const std::vector<Item>& record, size_t& seen)
{
    std::vector<Item> news(record.begin() + static_cast<ptrdiff_t>(std::min(seen, record.size())),
                           record.end());
    seen = record.size();
    return news;
}

} // namespace

Simulation::Simulation(const Options& options, Transcript& transcript, HANDLE activity)
    : m_options(options), m_transcript(transcript), m_activity(activity)
{
}

Simulation::~Simulation()
{
    SimulatedWindows::Instance().Lock()->texts.onPrompt = nullptr;
    // A module that would not go keeps its replacements: its threads may be inside them.
    if (m_hooks)
        m_hooks->Forget();
}

bool Simulation::SetUp(std::wstring& message)
{
    SimulatedWindows& windows = SimulatedWindows::Instance();
    {
        auto state = windows.Lock();
        state->accounts.accounts = m_options.accounts;
        if (!m_options.computer.empty())
            state->accounts.computerName = m_options.computer;
        if (m_options.language)
            state->locale.systemDefault = *m_options.language;
        if (m_options.disconnected)
            state->session.connectState = WTSDisconnected;
        for (const ServiceOption& service : m_options.services)
            state->services.Script(service.name, {{service.state}});
        state->devices.problem = m_options.deviceProblem;
        state->clock.SetScale(m_options.clockScale);
        // Starting a service is the system's own business here, as it is on a real machine.
        state->commands.passThrough = true;
        state->texts.onPrompt = [this](const std::wstring& text) { Prompted(text); };
    }
    for (const FailureOption& failure : m_options.failures) {
        if (!windows.FailNext(ToUtf8(failure.function), failure.code, failure.skip, failure.times)) {
            message = L"--fail: no replaceable function " + failure.function + L" that can fail";
            return false;
        }
    }
    return true;
}

void Simulation::Install(HMODULE module)
{
    m_hooks.emplace(module);
    const Group groups = m_options.services.empty() ? Group::Usual : Group::Usual | Group::Services;
    const WindowsModel::HookReport report = SimulatedWindows::Instance().Hook(*m_hooks, groups);
    m_transcript.Line(L"windows",
                      L"%zu of the DLL's imports are answered or watched by the simulated Windows",
                      report.replaced.size());
    for (const std::string& function : report.failed)
        m_transcript.Line(L"note", L"imported, but not simulated: %s", FromUtf8(function).c_str());
}

void Simulation::ModuleGone()
{
    if (m_hooks)
        m_hooks->Forget();
    m_hooks.reset();
}

void Simulation::BeginLife()
{
    CriticalSectionScope scope(m_promptLock);
    m_prompts.clear();
}

bool Simulation::PromptSeen(const std::wstring& text)
{
    CriticalSectionScope scope(m_promptLock);
    for (const std::wstring& prompt : m_prompts)
        if (prompt.find(text) != std::wstring::npos)
            return true;
    return false;
}

void Simulation::Prompted(const std::wstring& text)
{
    // What led to the prompt, for instance a rejected password, comes before it.
    WriteNews();
    {
        CriticalSectionScope scope(m_promptLock);
        // The same text drawn again is the window repainting itself.
        if (!m_prompts.empty() && m_prompts.back() == text)
            return;
        m_prompts.push_back(text);
        m_transcript.Line(L"prompt", L"%s", Quoted(text).c_str());
    }
    SetEvent(m_activity);
}

void Simulation::WriteNews()
{
    CriticalSectionScope scope(m_newsLock);
    WriteLogonChecks();
    WriteEvents();
}

void Simulation::WriteLogonChecks()
{
    SimulatedWindows& windows = SimulatedWindows::Instance();
    const auto calls = Since(windows.Lock()->accounts.logons, m_logons);
    for (const WindowsModel::LogonCall& call : calls) {
        const wchar_t* domain = call.hasDomain ? call.domain.c_str() : L"(no domain)";
        const std::wstring outcome =
            call.result ? std::wstring(L"accepted") : Format(L"refused, error %lu", call.error);
        m_transcript.Line(L"account", L"%s\\%s checked (logon type %lu, password of %zu characters): %s",
                          domain, call.user.c_str(), call.type, call.password.size(), outcome.c_str());
    }
}

void Simulation::WriteEvents()
{
    SimulatedWindows& windows = SimulatedWindows::Instance();
    const auto debug = Since(windows.Lock()->texts.debug, m_debug);
    for (const WindowsModel::DebugText& text : debug)
        m_transcript.Line(L"debugger", L"%s", Quoted(FromUtf8(text.text)).c_str());

    const auto records = Since(windows.Lock()->texts.events, m_events);
    for (const WindowsModel::EventRecord& record : records)
        m_transcript.Line(L"eventlog", L"%s: %s", record.source.c_str(),
                          Quoted(record.strings.empty() ? std::wstring() : record.strings.front()).c_str());

    const auto commands = Since(windows.Lock()->commands.commands, m_commands);
    for (const WindowsModel::Command& command : commands)
        m_transcript.Line(L"command", L"%s = %u", Quoted(FromUtf8(command.line)).c_str(), command.result);
}
