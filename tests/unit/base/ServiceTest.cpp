#include "Service.h"

#include "Simulation.h"

using WindowsModel::ServiceStep;

TEST_CASE("a service is asked until it runs or is stopped")
{
    constexpr DWORD Broken = ERROR_INVALID_HANDLE;
    struct Row {
        const char* what;
        std::deque<ServiceStep> steps;
        int result;
        std::vector<DWORD> sleeps;
        int turns = 99; // for which the caller has a pending service waited for
    };
    const auto countDown = [](void* left) { return --*static_cast<int*>(left) >= 0; };
    // clang-format off
    const Row rows[] = {
        {"runs",               {{SERVICE_RUNNING, 0}},                                                          1, {0}, 0},
        {"is stopped",         {{SERVICE_STOPPED, 0}},                                                          0, {0}},
        {"stops in between",   {{SERVICE_RUNNING, 50}, {SERVICE_STOPPED, 0}},                                   0, {50}},
        {"starts",             {{SERVICE_START_PENDING, 3}, {SERVICE_START_PENDING, 4}, {SERVICE_RUNNING, 5}},  1, {3, 4}},
        {"stops",              {{SERVICE_STOP_PENDING, 7}, {SERVICE_STOP_PENDING, 8}, {SERVICE_STOPPED, 9}},    0, {7, 8}},
        {"is paused",          {{SERVICE_PAUSED, 20}, {SERVICE_PAUSED, 0}, {SERVICE_RUNNING, 0}},               1, {20, 100}},
        {"hints at nothing",   {{SERVICE_PAUSED, 0}, {SERVICE_START_PENDING, 0}, {SERVICE_RUNNING, 0}},         1, {0, 100}},
        {"fails at once",      {{SERVICE_RUNNING, 11, Broken}},                                                 0, {}},
        {"fails when settled", {{SERVICE_RUNNING, 12}, {SERVICE_RUNNING, 0, Broken}},                           0, {12}},
        {"fails when pending", {{SERVICE_START_PENDING, 13}, {SERVICE_PAUSED, 14}, {SERVICE_RUNNING, 0, Broken}}, 0, {13, 14}},
        {"is given up",        {{SERVICE_PAUSED, 0}, {SERVICE_PAUSED, 0}, {SERVICE_PAUSED, 0}, {SERVICE_RUNNING, 0}}, 0, {0, 100}, 1},
    };
    // clang-format on
    Simulation simulation(Group::Services | Group::Clock);
    for (const Row& row : rows) {
        CAPTURE(row.what);
        simulation.windows.Reset();
        simulation->clock.SetScale(0);
        simulation->services.Script(L"VexaFPService", row.steps);
        int turns = row.turns;
        CHECK(IsServiceRunning(L"VexaFPService", countDown, &turns) == row.result);
        const WindowsModel::State state = simulation.windows.Snapshot();
        CHECK(state.clock.Sleeps() == row.sleeps);
        CHECK(state.ledger.Clean());
    }
    // One that can't be opened does not run.
    simulation.FailNext("OpenSCManagerW", ERROR_ACCESS_DENIED);
    CHECK(IsServiceRunning(L"VexaFPService") == 0);
    CHECK(IsServiceRunning(L"unknown") == 0);
    CHECK(simulation->ledger.Clean());
}
