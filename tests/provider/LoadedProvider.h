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
        using enum WindowsModel::ImportHooks::Result;
        REQUIRE(hooks.Replace("GdiplusStartup", CountedStartup, &s_startup) == Replaced);
        REQUIRE(hooks.Replace("GdiplusShutdown", CountedShutdown, &s_shutdown) == Replaced);
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
        CHECK(s_started == 0);
    }
    LoadedProvider(const LoadedProvider&) = delete;
    LoadedProvider& operator=(const LoadedProvider&) = delete;

    /// The prompt that a machine without a fingerprint service ends with; the workers have come to rest then.
    bool WaitForSensorFailed() const
    {
        return !!windows.WaitForPrompt(L"Fingerprint sensor failed.", Patience);
    }

    FitMachine::Scope fitness;

private:
    static int CountedStartup(ULONG_PTR* token, const void* input, void* output)
    {
        const int status = s_startup(token, input, output);
        s_started += status == 0;
        return status;
    }
    static void CountedShutdown(ULONG_PTR token)
    {
        --s_started;
        s_shutdown(token);
    }

    /// Starts of GDI+ that succeeded and were not taken back.
    static inline std::atomic<int> s_started = 0;
    static inline int (*s_startup)(ULONG_PTR*, const void*, void*);
    static inline void (*s_shutdown)(ULONG_PTR);
};
