// FingerprintService: a simulated fingerprint service, for machines without a sensor. See README.md.
#include "FingerprintServer.h"
#include "Installation.h"
#include "ServiceHost.h"
#include "Simulation.h"
#include "ServiceClient/ServiceControl.h"
#include "Text.h"

namespace {

constexpr int kDone = 0;
constexpr int kRefused = 1;
constexpr int kNoAnswer = 2;
constexpr int kUsage = 3;

constexpr wchar_t kUsageText[] =
    L"usage: FingerprintService --console        serve until told to quit\n"
    L"       FingerprintService --install        register VexaFPService and vcsFPService\n"
    L"       FingerprintService --uninstall      stop and delete both\n"
    L"       FingerprintService --service NAME   for the service control manager\n"
    L"       FingerprintService tell COMMAND...  script the running service; 'tell help' lists the commands\n"
    L"                                           exit code: 0 done, 1 refused, 2 no service answers\n";

int Fail(const wchar_t* what, DWORD error)
{
    Print(STD_ERROR_HANDLE, std::wstring(what) + L": error " + std::to_wstring(error) + L"\n");
    return kRefused;
}

BOOL WINAPI OnConsoleEvent(DWORD)
{
    Simulation::Instance().Quit();
    return TRUE;
}

int RunInConsole()
{
    FingerprintServer server;
    DWORD error = server.Start();
    if (error != ERROR_SUCCESS)
        return Fail(L"cannot serve", error);
    SetConsoleCtrlHandler(OnConsoleEvent, TRUE);
    Print(STD_OUTPUT_HANDLE, L"serving\n");
    WaitForSingleObject(Simulation::Instance().QuitEvent(), INFINITE);
    server.Stop();
    return kDone;
}

/// One argument is a whole command line; several are its words.
int Tell(int count, wchar_t** arguments)
{
    std::wstring command = arguments[0];
    if (count > 1) {
        command = QuoteWord(arguments[0]);
        for (int i = 1; i < count; ++i)
            command += L" " + QuoteWord(arguments[i]);
    }
    std::optional<std::wstring> reply = ServiceClient::Tell(command);
    if (!reply) {
        Print(STD_ERROR_HANDLE, L"no service answers\n");
        return kNoAnswer;
    }
    Print(STD_OUTPUT_HANDLE, *reply);
    return ServiceClient::IsOk(*reply) ? kDone : kRefused;
}

} // namespace

// NOLINTNEXTLINE(misc-use-internal-linkage): the C runtime calls it
int wmain(int argc, wchar_t** argv)
{
    std::wstring_view mode = argc > 1 ? argv[1] : L"";
    if (mode == L"--console" && argc == 2)
        return RunInConsole();
    if (mode == L"--service" && argc == 3)
        return RunAsService(argv[2]);
    if (mode == L"tell" && argc > 2)
        return Tell(argc - 2, argv + 2);
    if ((mode == L"--install" || mode == L"--uninstall") && argc == 2) {
        DWORD error = mode == L"--install" ? InstallServices() : UninstallServices();
        return error == ERROR_SUCCESS ? kDone : Fail(L"service control manager", error);
    }
    Print(STD_ERROR_HANDLE, kUsageText);
    return kUsage;
}
