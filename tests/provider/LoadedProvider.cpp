#include "LoadedProvider.h"

namespace {

/// Starts of GDI+ that succeeded and were not taken back.
std::atomic<int> g_gdiplus = 0;
int (*g_startup)(ULONG_PTR*, const void*, void*);
void (*g_shutdown)(ULONG_PTR);

int CountedStartup(ULONG_PTR* token, const void* input, void* output)
{
    const int status = g_startup(token, input, output);
    g_gdiplus += status == 0;
    return status;
}

void CountedShutdown(ULONG_PTR token)
{
    --g_gdiplus;
    g_shutdown(token);
}

} // namespace

LoadedProvider::LoadedProvider()
{
    REQUIRE(fitness.IsFit());
    windows.Reset();
    windows.Lock()->clock.SetScale(0.01);
    using enum WindowsModel::ImportHooks::Result;
    REQUIRE(hooks.Replace("GdiplusStartup", CountedStartup, &g_startup) == Replaced);
    REQUIRE(hooks.Replace("GdiplusShutdown", CountedShutdown, &g_shutdown) == Replaced);
}

LoadedProvider::~LoadedProvider()
{
    CHECK(CanUnloadNow() == S_OK);
    // Its threads hold it until they have left it, and must not meet the real Windows before.
    CHECK(Unload());
    CHECK(FindEventWindow() == nullptr);
    CHECK_FALSE(IsServiceEventOpen());
    const WindowsModel::State state = windows.Snapshot();
    CHECK(state.failures.pending.empty());
    CHECK(state.ledger.Clean());
    CHECK(g_gdiplus == 0);
}
