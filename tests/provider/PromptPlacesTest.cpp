// Where the prompts of all languages stand, as they are really measured and drawn.
#include "CommandWindow/PromptArt.h"
#include "Messages.h"

#include "unit/base/Simulation.h"

namespace {

// clang-format off
constexpr LCID Languages[] = {0x0401, 0x0404, 0x0407, 0x0409, 0x040A, 0x040C, 0x0410, 0x0411, 0x0412, 0x0416, 0x0419, 0x0804};
// clang-format on

} // namespace

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
    for (const LCID language : Languages) {
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
