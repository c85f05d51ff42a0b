// Doctor.exe tells why the logon screen offers no fingerprint tile, and changes nothing.
#include "Report.h"
#include "Text.h"

#include <string_view>

namespace {

std::wstring Usage()
{
    std::wstring text =
        L"Usage: Doctor [--json] [--ask-library]\n"
        L"\n"
        L"Walks the conditions for a fingerprint tile in the order in which the logon screen meets them, "
        L"and\n"
        L"tells the first that is not met. It changes nothing. Run it as administrator.\n"
        L"\n"
        L"  --json         one JSON object\n"
        L"  --ask-library  also asks the sensor vendor's library whether pre-boot authentication is "
        L"enabled,\n"
        L"                 which runs its code\n"
        L"\n"
        L"Lines are marked ok, NO (no tile), ! (a tile, but a logon may not succeed), ? (can't be told), or\n"
        L"- (does not come into play).\n"
        L"\n"
        L"Exit status:\n";
    for (const StatusInfo& info : AllStatuses())
        text += Format(L"  %2d  %-20s %s\n", static_cast<int>(info.status), info.key, info.meaning);
    return text;
}

int Run(int argc, wchar_t** argv)
{
    Choices choices;
    bool json = false;
    for (int index = 1; index < argc; ++index) {
        const std::wstring_view word = argv[index];
        if (word == L"--json") {
            json = true;
        } else if (word == L"--ask-library") {
            choices.askLibrary = true;
        } else if (word == L"--help" || word == L"-h" || word == L"/?") {
            PrintOut(Usage());
            return static_cast<int>(Status::Offered);
        } else {
            PrintError(L"Doctor: there is no option \"" + std::wstring(word) + L"\". Try --help.\n");
            return static_cast<int>(Status::Usage);
        }
    }
    const Diagnosis diagnosis = Diagnose(choices);
    PrintOut(json ? AsJson(diagnosis) : AsText(diagnosis));
    return static_cast<int>(diagnosis.status);
}

} // namespace

int wmain(int argc, wchar_t** argv)
{
    const int status = Run(argc, argv);
    // A call that has not come back yet is not waited for.
    TerminateProcess(GetCurrentProcess(), static_cast<UINT>(status));
    return status;
}
