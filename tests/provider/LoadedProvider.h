// A life of the loaded DLL without a fingerprint service, whose end checks that nothing is left behind.
#pragma once

#include "FitMachine/Fitness.h"
#include "support/Dll.h"

#include <doctest/doctest.h>

/// On a machine fit for the tile, where time runs a hundred times faster.
class LoadedProvider : public Dll {
public:
    LoadedProvider()
    {
        REQUIRE(fitness.IsFit());
        windows.Reset();
        windows.Lock()->clock.SetScale(0.01);
    }
    ~LoadedProvider()
    {
        CHECK(CanUnloadNow() == S_OK);
        // Its threads hold it until they have left it, and must not meet the real Windows before.
        CHECK(Unload());
        CHECK(FindEventWindow() == nullptr);
        CHECK_FALSE(IsServiceEventOpen());
        const WindowsModel::State state = windows.Snapshot();
        CHECK(state.failures.pending.empty());
        CHECK(state.ledger.Clean());
        CHECK(state.texts.gdiplusUsers == 0);
    }
    LoadedProvider(const LoadedProvider&) = delete;
    LoadedProvider& operator=(const LoadedProvider&) = delete;

    /// The prompt that a machine without a fingerprint service ends with; the workers have come to rest then.
    bool WaitForSensorFailed() const
    {
        return !!windows.WaitForPrompt(L"Fingerprint sensor failed.", Patience);
    }

    FitMachine::Scope fitness;
};
