// The parts of the prompt window: layout, places of the prompts, rundown, stop flag.
#include "CommandWindow/PromptArt.h"
#include "CommandWindow/PromptLayout.h"
#include "CommandWindow/Rundown.h"
#include "CommandWindow/StopFlag.h"
#include "Handle.h"
#include "Messages.h"
#include "unit/base/Simulation.h"

TEST_CASE("narrow texts stand centred under the image, wide ones end ten pixels from the edge")
{
    struct Row {
        float width;
        int imageLeft, textLeft;
    };
    constexpr Row rows[] = {
        {1.0F, 280, 319},  {79.9F, 280, 280},
        {80.0F, 280, 280}, {80.1F, 310, 310}, // wider than the image, although not by a whole pixel
        {81.0F, 309, 309}, {201.0F, 249, 189},
    };
    for (const Row& row : rows) {
        CAPTURE(row.width);
        const PromptLayout layout = LayOutPrompt(row.width);
        CHECK(layout.imageLeft == row.imageLeft);
        CHECK(layout.textLeft == row.textLeft);
    }
}

TEST_CASE("every prompt begins inside the window; only those that did not are drawn smaller")
{
    Simulation simulation(Group::Texts);
    // One that nobody sees, which is enough for GDI+.
    const HWND window =
        CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 0, 0, 400, 400, nullptr, nullptr, nullptr, nullptr);
    PromptArt art;
    art.CreateFormat();
    art.Start();
    int smaller = 0;
    for (const LCID language :
         {0x0401, 0x0404, 0x0407, 0x0409, 0x040A, 0x040C, 0x0410, 0x0411, 0x0412, 0x0416, 0x0419, 0x0804}) {
        SelectMessages(language);
        for (int role = 0; role < MESSAGE_COUNT; ++role) {
            INFO(language, " ", role);
            art.Paint(window, g_Messages[role]);
            const float left = simulation->texts.prompts.back().x;
            CHECK(left >= 0);
            smaller += left <= 11; // 380 pixels wide, as far as pixels go
        }
    }
    art.Shutdown();
    DestroyWindow(window);
    SelectMessages(0x0409);
    // French scan again and manual logon; Italian, Spanish and Portuguese manual logon.
    CHECK(smaller == 5);
}

TEST_CASE("closing waits for all who are inside and lets nobody in afterwards")
{
    Rundown rundown;
    REQUIRE((rundown.Acquire() && rundown.Acquire()));
    const auto close = [](void* rundown) -> DWORD { return static_cast<Rundown*>(rundown)->Close(10000); };
    const KernelHandle closer(CreateThread(nullptr, 0, close, &rundown, 0, nullptr));
    // Until the closing has begun; it must not take this long.
    for (int turn = 0; turn < 5000 && rundown.Acquire(); ++turn) {
        rundown.Release();
        Sleep(1);
    }
    rundown.Release();
    Sleep(20); // in which the closing finds that somebody is left
    rundown.Release();
    REQUIRE(WaitForSingleObject(closer.Get(), 20000) == WAIT_OBJECT_0);
    DWORD closed = FALSE;
    CHECK((GetExitCodeThread(closer.Get(), &closed) && closed));
    CHECK_FALSE(rundown.Acquire());
}

TEST_CASE("closing gives up on a user who stays")
{
    Rundown rundown;
    REQUIRE(rundown.Acquire());
    CHECK_FALSE(rundown.Close(100));
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
    CHECK(flag.Take(older) == StopState::Closed);
    CHECK_FALSE(flag.WhileOpen(older, [] { FAIL("a closed window has no say"); }));
    bool called = false;
    CHECK((flag.WhileOpen(newer, [&] { called = true; }) && called));
    CHECK(flag.Take(newer) == StopState::Stop);

    flag.Set();
    flag.Clear();
    CHECK(flag.Read(newer) == StopState::Run);
}
