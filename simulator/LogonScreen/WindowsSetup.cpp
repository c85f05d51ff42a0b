#include "WindowsSetup.h"

using WindowsModel::Group;
using WindowsModel::SimulatedWindows;

namespace {

/// What has been added to a record since `seen`, which is moved on. Taken under the lock, written without it.
template <class Item>
std::vector<Item> Since(const std::vector<Item>& record, size_t& seen)
{
    std::vector<Item> news(record.begin() + static_cast<ptrdiff_t>(seen), record.end());
    seen = record.size();
    return news;
}

} // namespace

WindowsSetup::WindowsSetup(const Options& options, Transcript& log, HANDLE activity)
    : m_options(options), m_log(log), m_activity(activity)
{
    auto state = SimulatedWindows::Instance().Lock();
    state->accounts.accounts = options.accounts;
    if (!options.computer.empty())
        state->accounts.computerName = options.computer;
    if (options.language)
        state->locale.systemDefault = *options.language;
    state->session.connectState = options.Session();
    for (const ServiceOption& service : options.services)
        state->services.Script(service.name, {{service.state}});
    state->devices.sensor = options.sensor;
    state->devices.problem = options.deviceProblem;
    // Starting a service is the system's own business here, as it is on a real machine.
    state->commands.passThrough = true;
    state->texts.onPrompt = [this](const std::wstring& text) { Prompted(text); };
}

WindowsSetup::~WindowsSetup()
{
    SimulatedWindows::Instance().Lock()->texts.onPrompt = nullptr;
    // A module that would not go keeps its replacements: its threads may be inside them.
    if (m_hooks)
        m_hooks->Forget();
}

void WindowsSetup::Install(HMODULE module)
{
    m_hooks.emplace(module);
    const Group groups = m_options.services.empty() ? Group::Usual : Group::Usual | Group::Services;
    const WindowsModel::HookReport report = SimulatedWindows::Instance().Hook(*m_hooks, groups);
    m_log.Line(L"windows", L"%zu of the DLL's imports are answered or watched by the simulated Windows",
               report.replaced.size());
    for (const std::string& function : report.failed)
        m_log.Line(L"note", L"imported, but not simulated: %s", FromUtf8(function).c_str());
}

void WindowsSetup::ModuleGone()
{
    m_hooks->Forget();
    m_hooks.reset();
}

void WindowsSetup::BeginLife()
{
    CriticalSectionScope scope(m_promptLock);
    m_prompts.clear();
}

bool WindowsSetup::WasPrompted(const std::wstring& text)
{
    CriticalSectionScope scope(m_promptLock);
    for (const std::wstring& prompt : m_prompts)
        if (prompt.find(text) != std::wstring::npos)
            return true;
    return false;
}

void WindowsSetup::Prompted(const std::wstring& text)
{
    // What led to the prompt, for instance a rejected password, comes before it.
    WriteNews();
    {
        CriticalSectionScope scope(m_promptLock);
        // The same text drawn again is the window repainting itself.
        if (!m_prompts.empty() && m_prompts.back() == text)
            return;
        m_prompts.push_back(text);
        m_log.Line(L"prompt", L"%s", Quoted(text).c_str());
    }
    SetEvent(m_activity);
}

void WindowsSetup::WriteNews()
{
    SimulatedWindows& windows = SimulatedWindows::Instance();
    CriticalSectionScope scope(m_newsLock);
    const auto logons = Since(windows.Lock()->accounts.logons, m_logons);
    for (const WindowsModel::LogonCall& call : logons)
        m_log.Line(L"account", L"%s\\%s checked (logon type %lu, password of %zu characters): %s",
                   call.hasDomain ? call.domain.c_str() : L"(no domain)", call.user.c_str(), call.type,
                   call.password.size(), call.result ? L"accepted" : ErrorText(call.error).c_str());
    const auto debug = Since(windows.Lock()->texts.debug, m_debug);
    for (const WindowsModel::DebugText& text : debug)
        m_log.Line(L"debugger", L"%s", Quoted(FromUtf8(text.text)).c_str());
    const auto events = Since(windows.Lock()->texts.events, m_events);
    for (const WindowsModel::EventRecord& event : events)
        m_log.Line(L"eventlog", L"%s: %s", event.source.c_str(),
                   Quoted(event.strings.empty() ? std::wstring() : event.strings.front()).c_str());
    const auto commands = Since(windows.Lock()->commands.commands, m_commands);
    for (const WindowsModel::Command& command : commands)
        m_log.Line(L"command", L"%s = %u", Quoted(FromUtf8(command.line)).c_str(), command.result);
}
