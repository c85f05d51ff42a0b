// The wait for the credential check, which no part of the DLL calls on its own.
#include "Events.h"
#include "Handle.h"
#include "VexaFPProvider.h"

#include "unit/base/Simulation.h"

TEST_CASE("the credential check is waited for 30 s at most, and marked then")
{
    Simulation simulation(Group::All);
    simulation->clock.SetScale(0.001);
    const auto isMarked = [] {
        const KernelHandle event(OpenEventA(SYNCHRONIZE, FALSE, STR_CREDENTIAL_CHECK));
        // Manual-reset: looking takes nothing away.
        return event && WindowsModel::RealWait(event.Get(), 0) == WAIT_OBJECT_0 &&
               WindowsModel::RealWait(event.Get(), 0) == WAIT_OBJECT_0;
    };
    REQUIRE_FALSE(isMarked());
    CVexaFPProvider::WaitCredentialCheck();
    CHECK(isMarked());
    REQUIRE(simulation->clock.waits.size() == 1);
    CHECK(simulation->clock.waits[0].milliseconds == 30000);
    CHECK(simulation->clock.waits[0].object != nullptr);

    // Without an event nothing can be waited for.
    CreateDirectoryW(LR"(c:\FPLog)", nullptr);
    simulation.FailNext("OpenEventA", ERROR_FILE_NOT_FOUND);
    simulation.FailNext("CreateEventA", ERROR_ACCESS_DENIED);
    CVexaFPProvider::WaitCredentialCheck();
    RemoveDirectoryW(LR"(c:\FPLog)");
    CHECK(simulation->texts.events.at(0).strings == std::vector<std::wstring>{L"WaitCredentialCheck null"});
}
