// Doctor.exe tells why the logon screen offers no fingerprint tile, and changes nothing.
#include "Doctor.h"
#include "Text.h"

#include <string_view>

namespace {

constexpr wchar_t UsageHead[] = LR"(Usage: Doctor [--json] [--ask-library]

Walks the conditions for a fingerprint tile in the order in which the logon screen meets them, and tells the
first that is not met. It changes nothing. Run it as administrator.

  --json            one JSON object
  --ask-library     also asks the sensor vendor's library whether pre-boot authentication is enabled, which
                    runs its code
  --help, -h, /?    this text

Lines are marked ok, NO (no tile), ! (a tile, but a logon may not succeed), * (a logon succeeds, but something
is not as it should be), ? (can't be told), or - (does not come into play).

Exit status:
)";

std::wstring Usage()
{
    std::wstring text = UsageHead;
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
            PrintError(L"Doctor: there is no option " + Quoted(word) +
                       L". There are --json, --ask-library and --help.\n");
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
