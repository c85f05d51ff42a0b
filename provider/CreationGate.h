// The checks that decide whether a fingerprint tile is offered at all.
#pragma once

#include <windows.h>

/// S_OK, or why LogonUI is to show no tile: E_NOTIMPL for a disabled sensor, E_OUTOFMEMORY for anything else.
/// Every refusal gives the credential-service event up; S_OK leaves it open. Nothing is remembered between
/// calls. Runs on LogonUI's thread and waits up to three times 2000 ms for the sensor.
HRESULT PassCreationGate();
