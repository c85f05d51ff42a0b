// What the command window does on messages from outside.
#include "ProviderLife.h"

#include <doctest/doctest.h>

#include <algorithm>

namespace {

constexpr UINT Fingerprint = WM_USER + 1;
constexpr UINT Prompt = WM_USER + 2;

} // namespace

TEST_CASE("the window stands layered and topmost in the top right corner")
{
    Machine machine;
    ProviderLife life(machine);
    life.StartAndWaitForPrompt();
    const HWND window = life.Window();
    RECT place{};
    REQUIRE(GetWindowRect(window, &place));
    CHECK(place.left == GetSystemMetrics(SM_CXSCREEN) - 400);
    CHECK(place.top == 0);
    CHECK(place.right - place.left == 400);
    CHECK(place.bottom - place.top == 400);
    CHECK(IsWindowVisible(window));
    CHECK((GetWindowLongW(window, GWL_EXSTYLE) & 0x08080008) == 0x08080008);
    COLORREF key = 0;
    DWORD flags = 0;
    REQUIRE(GetLayeredWindowAttributes(window, &key, nullptr, &flags));
    CHECK(key == 0xFF00FF);
    CHECK(flags == LWA_COLORKEY);
    // The first prompt is "Loading…": narrower than the image, so image and text are centred on each other.
    const auto images = machine.windows.Snapshot().texts.images;
    REQUIRE_FALSE(images.empty());
    CHECK(images.front().y == 10);
    CHECK(images.front().width == 80);
    CHECK(images.front().height == 80);
}

TEST_CASE("credentials are withdrawn, and unknown parameters do nothing")
{
    Machine machine;
    ProviderLife life(machine);
    life.StartAndWaitForPrompt();
    machine.Tell(L"place SIMULATED-PC anna secret");
    REQUIRE(life.sink.WaitFor(1));
    SendMessageW(life.Window(), Fingerprint, 2, 0);
    CHECK(life.sink.changes == 1);
    SendMessageW(life.Window(), Fingerprint, 1, 0);
    CHECK(life.sink.changes == 2);
    DWORD count = 0;
    DWORD standard = 0;
    BOOL autoLogon = TRUE;
    REQUIRE(life.provider->GetCredentialCount(&count, &standard, &autoLogon) == S_OK);
    CHECK(standard == CREDENTIAL_PROVIDER_NO_DEFAULT);
    CHECK(autoLogon == FALSE);
}

TEST_CASE("a wrong-password message shows both texts a second apart")
{
    Machine machine;
    ProviderLife life(machine);
    life.StartAndWaitForPrompt();
    SendMessageW(life.Window(), Prompt, 1, 0);
    CHECK(life.SeePrompt(L"Wrong password"));
    CHECK(life.SeePrompt(L"Please swipe your finger over the scanner again."));
    const auto sleeps = machine.windows.Snapshot().clock.Sleeps();
    CHECK(std::count(sleeps.begin(), sleeps.end(), 1000) == 1);
}

TEST_CASE("suspend hides the window; resume shows it and replaces a watchdog that has ended")
{
    Machine machine;
    machine.SetLockOut(1, 1);
    ProviderLife life(machine);
    life.StartAndWaitForPrompt();
    const HWND window = life.Window();
    SendMessageW(window, WM_POWERBROADCAST, PBT_APMSUSPEND, 0);
    CHECK_FALSE(IsWindowVisible(window));
    CHECK(machine.LogOf("CCommandWindow::WndProc").back() == L"WM_POWERBROADCAST 4");

    SendMessageW(window, WM_POWERBROADCAST, PBT_APMRESUMESUSPEND, 0);
    CHECK(IsWindowVisible(window));
    CHECK(machine.LogOf("CCommandWindow::WndProc").back() == L"WM_POWERBROADCAST 7");
    CHECK(machine.LogOf("DeamonThread").front() == L"start");

    // One match reaches the limit: both workers end, and only resume starts them again.
    machine.Tell(L"place SIMULATED-PC anna wrong");
    REQUIRE(life.SeePrompt(L"Please manually enter your account information to log in"));
    REQUIRE(machine.WaitForLog("DeamonThread", L"GetExitCodeThread 0"));
    WindowsModel::RealSleep(100); // its last line is written just before the thread ends
    SendMessageW(window, WM_POWERBROADCAST, PBT_APMRESUMESUSPEND, 0);
    CHECK(machine.WaitForLog("DeamonThread", L"start", 2));
    CHECK(life.SeePrompt(L"Please scan a finger"));
}
