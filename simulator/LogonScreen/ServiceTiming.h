// How long the provider takes from the fingerprint service's answer to its call of CredentialsChanged.
#pragma once

#include "Transcript.h"

namespace ServiceTiming {

/// Writes the time between the last identification that was answered before `stamp` (ServiceClient::Now())
/// and that moment. Nothing is written when no scripted service runs or the logon did not come from it.
void Write(Transcript& transcript, long long stamp);

} // namespace ServiceTiming
