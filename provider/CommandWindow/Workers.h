// The two worker threads. Both get the CCommandWindow as argument; it stays valid until they have ended.
// Neither touches provider or credential: they write the prompt, hide the window, and leave the rest to its
// messages. Both log, and read g_bExit under its lock; one that finds its own window closed when it wakes
// ends at once, with exit code 0.
#pragma once

#include <windows.h>

class CCommandWindow;

/// Identifies fingers until told to stop. Started and watched by DeamonThread; one at a time for a window.
/// Stopped by g_bExit and CaptureStop, which makes the blocking IdentifyEnroll return. Exit codes: 0, a
/// deliberate end; -1, service unreachable, nobody enrolled, or an RPC exception; otherwise what the last
/// device query answered.
DWORD ThreadFP(void* argument);

/// Keeps the services and ThreadFP running. Started by the window thread when the window is shown, and again
/// on resume when it has ended. Ends with ThreadFP, or when that failed three times in a row. Exit code:
/// always 0.
DWORD DeamonThread(void* argument);
