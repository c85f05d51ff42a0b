// Fingers that log their user on, and those that don't.
#include "ProviderLife.h"

#include "support/Secrets.h"

#include <algorithm>

TEST_CASE("a finger logs its user on")
{
    for (const auto scenario : {CPUS_LOGON, CPUS_UNLOCK_WORKSTATION}) {
        CAPTURE(scenario);
        Machine machine;
        ProviderLife life(machine);
        life.Start(scenario);
        REQUIRE(life.SeePrompt(L"Please scan a finger"));
        CHECK(OfferOf(*life.provider) == NoDefault);

        machine.Tell(L"place SIMULATED-PC anna secret");
        REQUIRE(life.sink.WaitFor(1));
        CHECK(life.sink.contexts == std::vector{ProviderLife::Context});
        CHECK(life.sink.offers == std::vector{AutoLogon});
        CHECK_FALSE(IsWindowVisible(life.Window()));
        life.CheckLogon();

        // Identification goes on after the match, 100 ms later.
        machine.AwaitCalls(L"IdentifyEnroll", 2);
        CHECK(machine.Calls() == Texts{L"Probe", L"CaptureStop", L"Probe", L"IsPbaEnable", L"ListEnroll",
                                       L"IdentifyEnroll", L"IdentifyEnroll"});
        CHECK(machine.windows.Snapshot().clock.Sleeps() == std::vector<DWORD>{0, 0, 100});
        CHECK(machine.windows.Snapshot().commands.commands.empty());
        CHECK(life.sink.changes == 1);
    }
}

TEST_CASE("no thread keeps a password on its stack")
{
    Machine machine;
    // Longer than what a copy of the model's keeps in place.
    const std::wstring password = L"a-long-secret-of-berta";
    machine.windows.Lock()->accounts.accounts.push_back({L"SIMULATED-PC", L"berta", password});
    ProviderLife life(machine);
    life.StartAndWaitForPrompt();
    machine.HoldSleeps();
    machine.Tell(L"place SIMULATED-PC berta " + password);
    REQUIRE(life.sink.WaitFor(1));
    // In the pause before the next identification, whose record would cover this one's.
    const auto isPausing = [](const WindowsModel::State& state) {
        return state.clock.Sleeps() == std::vector<DWORD>{0, 0, 100};
    };
    REQUIRE(machine.windows.WaitUntil(isPausing, Patience));
    CHECK_FALSE(IsOnAnyStack(password));
}

TEST_CASE("the log of one logon, line by line")
{
    Machine machine;
    ProviderLife life(machine);
    life.StartAndWaitForPrompt();
    machine.Tell(L"place SIMULATED-PC anna secret");
    REQUIRE(life.sink.WaitFor(1));
    life.CheckLogon();
    PWSTR statusText = nullptr;
    CREDENTIAL_PROVIDER_STATUS_ICON icon = CPSI_NONE;
    CHECK(life.credential->ReportResult(0, 0, &statusText, &icon) == E_NOTIMPL);
    machine.AwaitCalls(L"IdentifyEnroll", 2);
    machine.Tell(L"clear");
    REQUIRE(life.EndAndUnload());
    // A second stop would have followed a wait that was over before the threads were.
    CHECK(machine.Calls() == Texts{L"CaptureStop"});

    // Each thread's lines are in order; those of different threads may interleave.
    const Texts identify = {L"ThreadFP(LPVOID lp) Start",
                            L"CheckDeviceIsEnable start",
                            L"GetAuthUserCreds Start",
                            L"GetAuthUserCreds End",
                            L"GetAuthUserCreds Fail Return code :2051",
                            L"Credential Provider:RPCIdentifyEnroll Start",
                            L"Credential Provider:SendMessage(pWin->m_hWnd,WM_FINGERPRINT,NULL,NULL); Start",
                            L"Credential Provider:SendMessage(pWin->m_hWnd,WM_FINGERPRINT,NULL,NULL); End",
                            L"Credential Provider:RPCIdentifyEnroll End",
                            L"Credential Provider:RPCIdentifyEnroll Start",
                            L"g_bExit TRUE",
                            L"ShowWindow(pWin->m_hWnd,SW_HIDE)"};
    CHECK(machine.LogOf("ThreadFP") == identify);
    CHECK(machine.LogOf("GetAuthUserCreds") ==
          Texts{L"Start", L"vcsWavPbaGetAuthUserCreds Size Fail", L"End"});
    CHECK(machine.LogOf("DeamonThread") == Texts{L"start", L"WAIT_OBJECT_0", L"GetExitCodeThread 0"});
    CHECK(machine.LogOf("CCommandWindow::CCommandWindow") == Texts{L"Start", L"End"});
    CHECK(machine.LogOf("CCommandWindow::~CCommandWindow") == Texts{L"RPCCaptureStop", L"PostMessage  1"});
    CHECK(machine.LogOf("CCommandWindow::WndProc").back() == L"WM_CLOSE WM_EXIT_THREAD");
    CHECK(machine.LogOf("CCommandWindow::ThreadProc").back() == L"msg.message == WM_EXIT_THREAD");

    Texts window = machine.LogOf("CCommandWindow::WndProc");
    std::erase_if(window, [](const std::wstring& text) { return text.starts_with(L"wParam="); });
    CHECK(window == Texts{L"WM_PROMPT", L"CheckUserAndPwd Start", L"CheckUserAndPwd End",
                          L"CheckUserAndPwd return is 1", L"WM_CLOSE WM_EXIT_THREAD"});

    // LogonUI's own calls, in their order.
    Texts logonUi;
    for (const LogLine& line : machine.Log()) {
        const size_t method = line.label.find("::");
        if ((line.source != "VexaFPProvider.cpp" && line.source != "VexaFPCredential.cpp") ||
            method == std::string::npos || line.label.ends_with("StatusChanged"))
            continue;
        const size_t number = line.message.find(L" = 0x"); // of an address or handle
        logonUi.push_back(std::wstring(line.label.begin() + ptrdiff_t(method) + 2, line.label.end()) + L": " +
                          line.message.substr(0, number == std::wstring::npos ? number : number + 5));
    }
    const Texts expected = {L"CVexaFPProvider: g_evnetCreSer = 0x",
                            L"CVexaFPProvider: break 1",
                            L"CVexaFPProvider: End",
                            L"SetUsageScenario:  Start",
                            L"SetUsageScenario:  cpus=1",
                            L"SetUsageScenario: CPUS_LOGON",
                            L"SetUsageScenario: CPUS_UNLOCK_WORKSTATION",
                            L"CVexaFPCredential: Start",
                            L"Initialize: Start",
                            L"SetUsageScenario: SetUsageScenario End",
                            L"Advise: Advise",
                            L"GetCredentialAt: Start",
                            L"GetCredentialCount: Start",
                            L"GetSerialization: CPGSR_RETURN_CREDENTIAL_FINISHED",
                            L"ReportResult: Start 0 0",
                            L"UnAdvise: UnAdvise",
                            L"~CVexaFPProvider: ~CVexaFPProvider()",
                            L"~CVexaFPCredential: Start"};
    CHECK(logonUi == expected);
    for (const LogLine& line : machine.Log()) {
        const bool window = line.label.starts_with("CCommandWindow") || line.label == "ThreadFP" ||
                            line.label == "GetAuthUserCreds" || line.label == "DeamonThread";
        CHECK((line.source == "CommandWindow.cpp") == window);
        CHECK(line.message.find(L"secret") == std::wstring::npos);
    }
}

TEST_CASE("a wrong password is shown, and the next finger gets its chance")
{
    Machine machine;
    ProviderLife life(machine);
    life.StartAndWaitForPrompt();
    machine.Tell(L"place SIMULATED-PC anna wrong");
    CHECK(life.SeePrompt(L"Wrong password"));
    CHECK(life.SeePrompt(L"Please swipe your finger over the scanner again."));
    CHECK(life.sink.changes == 0);
    machine.Tell(L"place SIMULATED-PC anna secret");
    REQUIRE(life.sink.WaitFor(1));
    life.CheckLogon();
    machine.AwaitCalls(L"IdentifyEnroll", 3);
    CHECK(machine.windows.Snapshot().clock.Sleeps() == std::vector<DWORD>{0, 0, 1000, 100, 100});
    const Texts window = machine.LogOf("CCommandWindow::WndProc");
    CHECK(std::count(window.begin(), window.end(), L"user anna") == 1);
}

TEST_CASE("the lock-out limit counts matches, whatever their password")
{
    struct Row {
        int enable, count;
        unsigned fingers;
        bool locked;
    };
    // A limit of 0 is none, and a limit that is not enabled is 32767.
    for (const Row& row : {Row{1, 2, 2, true}, Row{1, 0, 3, false}, Row{0, 1, 3, false}}) {
        CAPTURE(row.enable);
        CAPTURE(row.count);
        Machine machine;
        machine.SetLockOut(row.enable, row.count);
        ProviderLife life(machine);
        life.StartAndWaitForPrompt();
        for (unsigned finger = 0; finger < row.fingers; ++finger)
            machine.Tell(L"place SIMULATED-PC anna wrong");
        for (unsigned finger = 0; finger < row.fingers; ++finger)
            CHECK(life.SeePrompt(L"Please swipe your finger over the scanner again."));
        if (row.locked) {
            CHECK(life.SeePrompt(L"Please manually enter your account information to log in"));
            CHECK(machine.WaitForLog("DeamonThread", L"GetExitCodeThread 0"));
        } else {
            machine.AwaitCalls(L"IdentifyEnroll", int(row.fingers) + 1);
        }
        const Texts calls = machine.Calls();
        CHECK(std::count(calls.begin(), calls.end(), L"IdentifyEnroll") ==
              row.fingers + (row.locked ? 0 : 1));
    }
}

TEST_CASE("fields without their terminators are cut, and nothing runs over")
{
    Machine machine;
    ProviderLife life(machine);
    life.StartAndWaitForPrompt();
    std::wstring bytes;
    for (int unit = 0; unit < 193; ++unit)
        bytes += unit < 66 ? L"7500" : unit < 160 ? L"7000" : L"6400"; // u, p, d
    machine.Tell(L"record " + bytes);
    REQUIRE(life.SeePrompt(L"Wrong password"));
    const auto logons = machine.windows.Snapshot().accounts.logons;
    REQUIRE(logons.size() == 1);
    CHECK(logons[0].user == std::wstring(65, L'u'));
    CHECK(logons[0].password == std::wstring(93, L'p'));
    CHECK(logons[0].domain == std::wstring(32, L'd'));
    REQUIRE(machine.WaitForLog("CCommandWindow::WndProc", L"user " + std::wstring(65, L'u')));
    machine.AwaitCalls(L"IdentifyEnroll", 2);
}
