// A life of the loaded DLL without a fingerprint service, whose end checks that nothing is left behind.
#pragma once

#include "FitMachine/Fitness.h"
#include "support/Dll.h"

#include <doctest/doctest.h>

/// On a machine fit for the tile, where time runs a hundred times faster.
class LoadedProvider : public Dll {
public:
    LoadedProvider();
    ~LoadedProvider();
    LoadedProvider(const LoadedProvider&) = delete;
    LoadedProvider& operator=(const LoadedProvider&) = delete;

    /// The prompt that a machine without a fingerprint service ends with; the workers have come to rest then.
    bool WaitForSensorFailed() const
    {
        return !!windows.WaitForPrompt(L"Fingerprint sensor failed.", Patience);
    }

    FitMachine::Scope fitness;
};
