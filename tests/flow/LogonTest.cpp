// Fingers that log their user on, and those that don't.
#include "ProviderLife.h"

TEST_CASE("a finger logs its user on, and no thread keeps the password on its stack")
{
    // Longer than what a copy of the model's keeps in place.
    const std::wstring password = L"a-long-secret-of-anna";
    for (const auto scenario : {CPUS_LOGON, CPUS_UNLOCK_WORKSTATION}) {
        CAPTURE(scenario);
        Machine machine;
        machine.windows.Lock()->accounts.accounts = {{L"SIMULATED-PC", L"anna", password}};
        ProviderLife life(machine);
        life.StartAndWaitForPrompt(scenario);
        CHECK(OfferOf(*life.provider) == NoDefault);

        machine.HoldSleeps();
        machine.Tell(L"place SIMULATED-PC anna " + password);
        REQUIRE(life.sink.WaitFor(1));
        // In the pause before the next identification, whose record would cover this one's.
        REQUIRE(Await([&] { return machine.Sleeps() == Waits{0, 0, 100}; }));
        CHECK_FALSE(machine.IsOnAnyStack(password));
        machine.ReleaseSleeps();
        CHECK(life.sink.contexts == std::vector{ProviderLife::Context});
        CHECK(life.sink.offers == std::vector{AutoLogon});
        CHECK_FALSE(IsWindowVisible(life.Window()));
        life.CheckLogon();

        machine.AwaitCalls(L"IdentifyEnroll", 2);
        CHECK(machine.Calls() == Texts{L"Probe", L"CaptureStop", L"Probe", L"IsPbaEnable", L"ListEnroll",
                                       L"IdentifyEnroll", L"IdentifyEnroll"});
        CHECK(machine.windows.Snapshot().commands.commands.empty());
        CHECK(life.sink.changes == 1);
    }
}

TEST_CASE("the log of one logon, line by line")
{
    Machine machine;
    ProviderLife life(machine);
    life.StartAndWaitForPrompt();
    life.LogOn();
    CHECK(life.credential->ReportResult(0, 0, nullptr, nullptr) == E_NOTIMPL);
    machine.AwaitCalls(L"IdentifyEnroll", 2);
    machine.Tell(L"clear");
    REQUIRE(life.EndAndUnload());
    // A second stop would have followed a wait that was over before the threads were.
    CHECK(machine.Calls() == Texts{L"CaptureStop"});

    // The lines of one function are in order; those of different threads may interleave.
    using Row = std::pair<std::string, Texts>;
    for (const auto& [label, expected] : {
             Row{"CVexaFPProvider::SetUsageScenario",
                 {L" Start", L" cpus=1", L"CPUS_LOGON", L"CPUS_UNLOCK_WORKSTATION", L"SetUsageScenario End"}},
             Row{"CVexaFPCredential::CVexaFPCredential", {L"Start"}},
             Row{"CVexaFPCredential::Initialize", {L"Start"}},
             Row{"CVexaFPProvider::Advise", {L"Advise"}},
             Row{"CVexaFPProvider::GetCredentialAt", {L"Start"}},
             Row{"CCommandWindow::CCommandWindow", {L"Start", L"End"}},
             Row{"DeamonThread", {L"start", L"WAIT_OBJECT_0", L"GetExitCodeThread 0"}},
             Row{"ThreadFP",
                 {L"ThreadFP(LPVOID lp) Start", L"CheckDeviceIsEnable start", L"GetAuthUserCreds Start",
                  L"GetAuthUserCreds End", L"GetAuthUserCreds Fail Return code :2051",
                  L"Credential Provider:RPCIdentifyEnroll Start",
                  L"Credential Provider:SendMessage(pWin->m_hWnd,WM_FINGERPRINT,NULL,NULL); Start",
                  L"Credential Provider:SendMessage(pWin->m_hWnd,WM_FINGERPRINT,NULL,NULL); End",
                  L"Credential Provider:RPCIdentifyEnroll End",
                  L"Credential Provider:RPCIdentifyEnroll Start", L"g_bExit TRUE",
                  L"ShowWindow(pWin->m_hWnd,SW_HIDE)"}},
             Row{"GetAuthUserCreds", {L"Start", L"vcsWavPbaGetAuthUserCreds Size Fail", L"End"}},
             Row{"CCommandWindow::WndProc",
                 {L"WM_PROMPT", L"CheckUserAndPwd Start", L"CheckUserAndPwd End",
                  L"CheckUserAndPwd return is 1", L"WM_CLOSE WM_EXIT_THREAD"}},
             Row{"CVexaFPProvider::StatusChanged", {L"Start"}},
             Row{"CVexaFPProvider::GetCredentialCount", {L"Start"}},
             Row{"CVexaFPCredential::GetSerialization", {L"CPGSR_RETURN_CREDENTIAL_FINISHED"}},
             Row{"CVexaFPCredential::ReportResult", {L"Start 0 0"}},
             Row{"CVexaFPProvider::UnAdvise", {L"UnAdvise"}},
             Row{"CVexaFPProvider::~CVexaFPProvider", {L"~CVexaFPProvider()"}},
             Row{"CVexaFPCredential::~CVexaFPCredential", {L"Start"}},
             Row{"CCommandWindow::~CCommandWindow", {L"RPCCaptureStop", L"PostMessage  1"}},
         }) {
        CAPTURE(label);
        Texts messages = machine.LogOf(label);
        // How often the window is shown is not the log's matter.
        std::erase_if(messages, [](const std::wstring& text) { return text.starts_with(L"wParam="); });
        CHECK(messages == expected);
    }
    const Texts created = machine.LogOf("CVexaFPProvider::CVexaFPProvider");
    REQUIRE(created.size() == 3);
    CHECK(
        (created[0].starts_with(L"g_evnetCreSer = 0x") && created[1] == L"break 1" && created[2] == L"End"));
    CHECK(machine.LogOf("CCommandWindow::ThreadProc").back() == L"msg.message == WM_EXIT_THREAD");
    for (const LogLine& line : machine.Log()) {
        const size_t method = line.label.find("::");
        if (method != std::string::npos)
            CHECK(line.source == line.label.substr(1, method - 1) + ".cpp"); // without the class's C
        if (line.label == "ThreadFP" || line.label == "GetAuthUserCreds" || line.label == "DeamonThread")
            CHECK(line.source == "CommandWindow.cpp");
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
    life.LogOn();
    machine.AwaitCalls(L"IdentifyEnroll", 3);
    CHECK(machine.Sleeps() == Waits{0, 0, 1000, 100, 100});
    CHECK(Count(machine.LogOf("CCommandWindow::WndProc"), L"user anna") == 1);
}

TEST_CASE("the lock-out limit counts matches, whatever their password")
{
    struct Row {
        int enable, count, fingers;
        bool locked;
    };
    // A limit of 0 is none, and a limit that is not enabled is 32767.
    for (const Row& row : {Row{1, 2, 2, true}, Row{1, 0, 3, false}, Row{0, 1, 3, false}}) {
        INFO(row.enable, " ", row.count);
        Machine machine;
        REQUIRE(FitMachine::SetLimit(row.enable, row.count));
        ProviderLife life(machine);
        life.StartAndWaitForPrompt();
        for (int finger = 0; finger < row.fingers; ++finger) {
            machine.Tell(L"place SIMULATED-PC anna wrong");
            CHECK(life.SeePrompt(L"Please swipe your finger over the scanner again."));
        }
        if (row.locked) {
            CHECK(life.SeePrompt(L"Please manually enter your account information to log in"));
            CHECK(machine.WaitForLog("DeamonThread", L"GetExitCodeThread 0"));
        } else {
            machine.AwaitCalls(L"IdentifyEnroll", row.fingers + 1);
        }
        CHECK(Count(machine.Calls(), L"IdentifyEnroll") == row.fingers + (row.locked ? 0 : 1));
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
