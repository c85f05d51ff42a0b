// The module's globals: instance, reference count, credential-service event.
#pragma once

#include <windows.h>

/// {0CE326A8-C767-433F-82B9-601B2A27321E}, the only class that the module serves.
extern const CLSID CLSID_VexaFPCredentialProvider;

/// Set by DllMain; resources are loaded from it.
extern HINSTANCE g_hinst;

/// Live providers, live credentials and server locks. Changed only with interlocked operations.
extern LONG g_cRef;

void DllAddRef();
void DllRelease();

/// The credential-service event, or null. Made by the first that needs it; a plain global of LogonUI's
/// thread.
extern HANDLE g_evnetCreSer;

/// Gives up the provider's hold on the event: signals it, closes it, sets the global back to null.
void ReleaseCredentialServiceEvent();
