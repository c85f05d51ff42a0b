// FingerprintService: a simulated fingerprint service, for machines without a sensor. See README.md.
#include "Server.h"
#include "ServiceScript.h"
#include "ServiceState.h"
#include "Services.h"
#include "ServiceClient/ServiceControl.h"
#include "Text.h"

namespace {

constexpr int Done = 0;
constexpr int Refused = 1;
constexpr int NoAnswer = 2;
constexpr int BadUsage = 3;

constexpr wchar_t Usage[] =
    L"usage: FingerprintService --console         serve until told to quit\n"
    L"       FingerprintService --install         register VexaFPService and vcsFPService\n"
    L"       FingerprintService --uninstall       stop and delete both\n"
    L"       FingerprintService --service NAME    for the service control manager\n"
    L"       FingerprintService tell COMMAND...   script the running service; 'tell help' lists the "
    L"commands\n"
    L"       FingerprintService --help, -h or /?  this text\n"
    L"exit code: 0 done, 1 refused or failed, 2 no service answers, 3 not understood\n";

bool IsHelp(std::wstring_view word)
{
    return word == L"--help" || word == L"-h" || word == L"/?";
}

int Fail(int exitCode, const wchar_t* what, DWORD error)
{
    PrintError(Format(L"%s: %s\n", what, ErrorText(error).c_str()));
    return exitCode;
}

BOOL WINAPI OnConsoleEvent(DWORD)
{
    Locked()->quit = true;
    return TRUE;
}

int RunInConsole()
{
    FingerprintServer server;
    const DWORD error = server.Start();
    if (error != ERROR_SUCCESS)
        return Fail(Refused, L"cannot serve", error);
    SetConsoleCtrlHandler(OnConsoleEvent, TRUE);
    PrintOut(L"serving\n");
    WaitForQuit();
    server.Stop();
    return Done;
}

/// One argument is a whole command line; several are its words.
int Tell(int count, wchar_t** arguments)
{
    std::wstring command = arguments[0];
    if (IsHelp(command) || command == L"help") {
        PrintOut(ScriptHelp());
        return Done;
    }
    if (count > 1) {
        command = QuoteWord(arguments[0]);
        for (int i = 1; i < count; ++i)
            command += L" " + QuoteWord(arguments[i]);
    }
    const std::optional<std::wstring> reply = ServiceClient::Tell(command);
    if (!reply)
        return Fail(NoAnswer, L"no service answers", GetLastError());
    const bool ok = ServiceClient::IsOk(*reply);
    Print(ok ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE, *reply);
    return ok ? Done : Refused;
}

} // namespace

int wmain(int argc, wchar_t** argv)
{
    const std::wstring_view mode = argc > 1 ? argv[1] : L"";
    if (mode == L"tell" && argc > 2)
        return Tell(argc - 2, argv + 2);
    if (argc > 1 && IsHelp(argv[argc - 1])) {
        PrintOut(Usage);
        return Done;
    }
    if (mode == L"--console" && argc == 2)
        return RunInConsole();
    if (mode == L"--install" && argc == 2)
        return InstallServices() ? Done : Refused;
    if (mode == L"--uninstall" && argc == 2)
        return UninstallServices() ? Done : Refused;
    if (mode == L"--service" && argc == 3) {
        const DWORD error = RunAsService(argv[2]);
        return error == ERROR_SUCCESS ? Done : Fail(Refused, L"--service", error);
    }
    for (int i = 1; i < argc; ++i)
        PrintError((i == 1 ? L"not understood: " : L" ") + Quoted(argv[i]) + (i == argc - 1 ? L"\n" : L""));
    PrintError(Usage);
    return BadUsage;
}
