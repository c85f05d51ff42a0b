// The wait for the credential check, which no part of the DLL calls on its own.
#include "Events.h"
#include "Handle.h"
#include "VexaFPProvider.h"

#include "WindowsModel/SimulatedWindows.h"

#include <doctest/doctest.h>

TEST_CASE("the credential check is waited for 30 s at most, and marked then")
{
    auto& windows = WindowsModel::SimulatedWindows::Instance();
    windows.Reset();
    windows.Lock()->clock.SetScale(0.001);
    WindowsModel::ImportHooks hooks(GetModuleHandleW(nullptr));
    REQUIRE(windows.Hook(hooks).failed.empty());
    const auto isMarked = [] {
        const KernelHandle event(OpenEventA(SYNCHRONIZE, FALSE, STR_CREDENTIAL_CHECK));
        // Manual-reset: looking takes nothing away.
        return event && WindowsModel::RealWait(event.Get(), 0) == WAIT_OBJECT_0 &&
               WindowsModel::RealWait(event.Get(), 0) == WAIT_OBJECT_0;
    };
    REQUIRE_FALSE(isMarked());
    CVexaFPProvider::WaitCredentialCheck();
    CHECK(isMarked());
    REQUIRE(windows.Lock()->clock.waits.size() == 1);
    CHECK(windows.Lock()->clock.waits[0].milliseconds == 30000);
    CHECK(windows.Lock()->clock.waits[0].object != nullptr);

    // Without an event nothing can be waited for.
    CreateDirectoryW(LR"(c:\FPLog)", nullptr);
    REQUIRE(windows.FailNext("OpenEventA", ERROR_FILE_NOT_FOUND));
    REQUIRE(windows.FailNext("CreateEventA", ERROR_ACCESS_DENIED));
    CVexaFPProvider::WaitCredentialCheck();
    RemoveDirectoryW(LR"(c:\FPLog)");
    REQUIRE(windows.Lock()->texts.events.size() == 1);
    CHECK(windows.Lock()->texts.events[0].strings == std::vector<std::wstring>{L"WaitCredentialCheck null"});
}
