// The parts of the prompt window: layout, rundown, stop flag.
#include "CommandWindow/PromptLayout.h"
#include "CommandWindow/Rundown.h"
#include "CommandWindow/StopFlag.h"

#include "Handle.h"

#include <doctest/doctest.h>

#include <array>
#include <atomic>

namespace {

TEST_CASE("narrow texts stand centred under the image, wide ones end ten pixels from the edge")
{
    struct Row {
        float width;
        int imageLeft, textLeft;
    };
    constexpr Row rows[] = {
        {0.9F, 280, 320},  {1.0F, 280, 319},   {77.0F, 280, 281},  {79.9F, 280, 280},
        {80.0F, 280, 280}, {80.1F, 310, 310}, // wider than the image, although not by a whole pixel
        {81.0F, 309, 309}, {200.0F, 250, 190}, {201.0F, 249, 189}, {500.0F, 100, -110},
    };
    for (const Row& row : rows) {
        CAPTURE(row.width);
        const PromptLayout layout = LayOutPrompt(row.width);
        CHECK(layout.imageLeft == row.imageLeft);
        CHECK(layout.textLeft == row.textLeft);
    }
}

TEST_CASE("closing waits for all who are inside and lets nobody in afterwards")
{
    struct Crowd {
        Rundown rundown;
        std::atomic<int> inside, visits;
    };
    const auto visitUntilClosed = [](void* argument) -> DWORD {
        auto& crowd = *static_cast<Crowd*>(argument);
        while (const RundownScope scope{crowd.rundown}) {
            ++crowd.inside;
            SwitchToThread();
            ++crowd.visits;
            --crowd.inside;
        }
        return 0;
    };
    for (int round = 0; round < 20; ++round) {
        Crowd crowd;
        std::array<KernelHandle, 4> threads;
        for (KernelHandle& thread : threads)
            thread.Reset(CreateThread(nullptr, 0, visitUntilClosed, &crowd, 0, nullptr));
        while (crowd.visits < 50)
            Sleep(1);
        REQUIRE(crowd.rundown.Close(10000));
        const int visits = crowd.visits;
        CHECK(crowd.inside == 0);
        for (const KernelHandle& thread : threads)
            REQUIRE(WaitForSingleObject(thread.Get(), 10000) == WAIT_OBJECT_0);
        CHECK(crowd.visits == visits);
    }
}

TEST_CASE("closing gives up on a user who stays")
{
    Rundown rundown;
    REQUIRE(rundown.Acquire());
    CHECK_FALSE(rundown.Close(100));
    CHECK_FALSE(rundown.Acquire());
    rundown.Release();
    CHECK(rundown.Close(0));
}

TEST_CASE("a stop is taken once, and by no window that has gone")
{
    StopFlag flag;
    bool older = false;
    bool newer = false;
    CHECK(flag.Take(older) == StopState::Run);
    flag.Set();
    CHECK(flag.Read(older) == StopState::Stop);
    CHECK(flag.Take(older) == StopState::Stop);
    CHECK(flag.Take(older) == StopState::Run);

    flag.Close(older);
    flag.Set();
    CHECK(flag.Read(older) == StopState::Closed);
    CHECK(flag.Take(older) == StopState::Closed);
    CHECK_FALSE(flag.WhileOpen(older, [] { FAIL("a closed window has no say"); }));
    bool called = false;
    CHECK(flag.WhileOpen(newer, [&] { called = true; }));
    CHECK(called);
    CHECK(flag.Take(newer) == StopState::Stop);

    flag.Set();
    flag.Clear();
    CHECK(flag.Read(newer) == StopState::Run);
    CHECK(flag.Read(older) == StopState::Closed);
}

} // namespace
