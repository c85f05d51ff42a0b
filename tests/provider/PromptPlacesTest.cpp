// Where the prompts of all languages stand, as they are really measured and drawn.
#include "CommandWindow/PromptArt.h"
#include "Messages.h"

#include "WindowsModel/SimulatedWindows.h"

#include <doctest/doctest.h>

#include <iterator>
#include <string>

namespace {

constexpr LCID Languages[] = {0x0401, 0x0404, 0x0407, 0x0409, 0x040A, 0x040C,
                              0x0410, 0x0411, 0x0412, 0x0416, 0x0419, 0x0804};

/// In a window that nobody sees, which is enough for GDI+.
class Paper {
public:
    Paper()
    {
        m_art.CreateFormat();
        m_art.Start();
    }
    ~Paper()
    {
        m_art.Shutdown();
        DestroyWindow(m_window);
    }
    Paper(const Paper&) = delete;
    Paper& operator=(const Paper&) = delete;

    /// How it is drawn.
    WindowsModel::Prompt Draw(const wchar_t* text)
    {
        m_art.Paint(m_window, text);
        return m_windows.Snapshot().texts.prompts.back();
    }

private:
    WindowsModel::SimulatedWindows& m_windows = WindowsModel::SimulatedWindows::Instance();
    WindowsModel::ImportHooks m_hooks{GetModuleHandleW(nullptr)};
    const bool m_hooked = m_windows.Hook(m_hooks, WindowsModel::Group::Texts).failed.empty();
    const HWND m_window =
        CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 0, 0, 400, 400, nullptr, nullptr, nullptr, nullptr);
    PromptArt m_art;
};

} // namespace

TEST_CASE("every prompt begins inside the window; only those that did not are drawn smaller")
{
    Paper paper;
    int smaller = 0;
    for (const LCID language : Languages) {
        SelectMessages(language);
        for (int role = 0; role < MESSAGE_COUNT; ++role) {
            CAPTURE(language);
            CAPTURE(role);
            const WindowsModel::Prompt prompt = paper.Draw(g_Messages[role]);
            CHECK(prompt.x >= 0);
            if (prompt.x <= 11) // 380 pixels wide, as far as pixels go
                ++smaller;
        }
    }
    SelectMessages(0x0409);
    // French scan again and manual logon; Italian, Spanish and Portuguese manual logon.
    CHECK(smaller == 5);
}
