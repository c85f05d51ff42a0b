// What the command window does on messages from outside.
#include "ProviderLife.h"

#include <cmath>

namespace {

constexpr UINT Prompt = WM_USER + 2;

/// All of it is the transparent colour.
void CheckBackground(HWND window)
{
    const HDC context = CreateCompatibleDC(nullptr);
    const HBITMAP bitmap = CreateBitmap(400, 400, 1, 32, nullptr);
    SelectObject(context, bitmap);
    SendMessageW(window, WM_ERASEBKGND, reinterpret_cast<WPARAM>(context), 0);
    for (const POINT& point : {POINT{0, 0}, POINT{399, 0}, POINT{0, 399}, POINT{399, 399}, POINT{320, 110}})
        CHECK(GetPixel(context, point.x, point.y) == RGB(0xFF, 0x00, 0xFF));
    DeleteDC(context);
    DeleteObject(bitmap);
}

void CheckLayered(HWND window)
{
    // Not activated by clicks, layered, topmost; not mirrored.
    CHECK(GetWindowLongW(window, GWL_EXSTYLE) == 0x08080008);
    COLORREF key = 0;
    DWORD flags = 0;
    REQUIRE(GetLayeredWindowAttributes(window, &key, nullptr, &flags));
    CHECK(key == 0xFF00FF);
    CHECK(flags == LWA_COLORKEY);
}

} // namespace

TEST_CASE("the window stands layered and topmost in the top right corner, wherever the text runs to")
{
    Machine machine;
    REQUIRE(SetProcessDefaultLayout(LAYOUT_RTL));
    ProviderLife life(machine);
    life.StartAndWaitForPrompt();
    REQUIRE(SetProcessDefaultLayout(0));
    const HWND window = life.Window();
    const auto checkPlace = [&] {
        RECT place{};
        REQUIRE(GetWindowRect(window, &place));
        const LONG right = GetSystemMetrics(SM_CXSCREEN);
        CHECK((place.left == right - 400 && place.top == 0 && place.right == right && place.bottom == 400));
    };
    checkPlace();
    CHECK(IsWindowVisible(window));
    CheckLayered(window);
    CheckBackground(window);
    // The text ends 10 pixels from the right edge, and the image is centred over it.
    const auto drawn = machine.windows.Snapshot().texts;
    const float width = 390 - drawn.prompts.back().x;
    CHECK((width > 100 && width < 160));
    CHECK(drawn.prompts.back().y == 100);
    const auto& image = drawn.images.back();
    CHECK(image.x == 390 + std::trunc((width - 80) / 2) - width);
    CHECK((image.y == 10 && image.width == 80 && image.height == 80));

    SendMessageW(window, Prompt, 1, 0);
    CHECK(life.SeePrompt(L"Wrong password"));
    SendMessageW(window, WM_CLOSE, 0, 0); // has no say
    SetWindowPos(window, nullptr, 7, 7, 0, 0, SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
    SendMessageW(window, WM_DISPLAYCHANGE, 32, 0);
    checkPlace();
    life.LogOn();
}

TEST_CASE("suspend hides the window; resume shows it and replaces a watchdog that has ended")
{
    Machine machine;
    REQUIRE(FitMachine::SetLimit(1, 1));
    ProviderLife life(machine);
    life.StartAndWaitForPrompt();
    const HWND window = life.Window();
    SendMessageW(window, WM_POWERBROADCAST, PBT_APMSUSPEND, 0);
    CHECK_FALSE(IsWindowVisible(window));
    CHECK(machine.LogOf("CCommandWindow::WndProc").back() == L"WM_POWERBROADCAST 4");

    // As it may come back.
    SetWindowLongW(window, GWL_EXSTYLE, GetWindowLongW(window, GWL_EXSTYLE) & ~WS_EX_LAYERED);
    REQUIRE_FALSE(GetLayeredWindowAttributes(window, nullptr, nullptr, nullptr));
    SendMessageW(window, WM_POWERBROADCAST, PBT_APMRESUMESUSPEND, 0);
    CHECK(IsWindowVisible(window));
    CheckLayered(window);
    CHECK(machine.LogOf("CCommandWindow::WndProc").back() == L"WM_POWERBROADCAST 7");
    CHECK(machine.LogOf("DeamonThread") == Texts{L"start"});

    // One match reaches the limit: both workers end, and only resume starts them again.
    machine.Tell(L"place SIMULATED-PC anna wrong");
    REQUIRE(life.SeePrompt(L"Please manually enter your account information to log in"));
    REQUIRE(HasCome(machine.OpenWatchdog()));
    SendMessageW(window, WM_POWERBROADCAST, PBT_APMRESUMESUSPEND, 0);
    REQUIRE(life.SeePrompt(L"Please scan a finger"));
    CHECK(machine.LogOf("DeamonThread") ==
          Texts{L"start", L"WAIT_OBJECT_0", L"GetExitCodeThread 0", L"start"});
    // The limit is met once; a count beyond it locks nobody out again.
    life.LogOn();
    machine.AwaitCalls(L"IdentifyEnroll", 3);
}
