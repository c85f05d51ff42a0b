// What a provider may leave in the process when it should be gone: windows, and window classes.
#pragma once

#include "Findings.h"

namespace Leftovers {

/// Waits, at most `limitMs`, for the provider's windows and their class to go, and reports what does not.
void Check(Transcript& transcript, Findings& findings, DWORD limitMs);

} // namespace Leftovers
