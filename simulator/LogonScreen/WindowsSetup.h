// The simulated Windows around the provider, set up from the command line, and its news in the transcript:
// prompts drawn, accounts checked, commands run.
#pragma once

#include "Options.h"
#include "Transcript.h"

class WindowsSetup {
public:
    /// `activity` is set whenever a prompt appears.
    WindowsSetup(const Options& options, Transcript& log, HANDLE activity);
    /// The model outlives everything; only its way into this object ends.
    ~WindowsSetup();
    WindowsSetup(const WindowsSetup&) = delete;
    WindowsSetup& operator=(const WindowsSetup&) = delete;

    void Install(HMODULE module);
    /// To be called when the module has left the process.
    void ModuleGone();

    /// Writes what has happened since the last time. From any thread.
    void WriteNews();

    /// Whether a prompt that contains the text has appeared since the life began.
    bool WasPrompted(const std::wstring& text);
    void BeginLife();

private:
    void Prompted(const std::wstring& text);

    const Options& m_options;
    Transcript& m_log;
    HANDLE m_activity;
    std::optional<WindowsModel::ImportHooks> m_hooks;

    CriticalSection m_newsLock; // keeps one thread's news whole
    size_t m_logons = 0, m_commands = 0, m_events = 0, m_debug = 0;

    CriticalSection m_promptLock;
    std::vector<std::wstring> m_prompts;
};
