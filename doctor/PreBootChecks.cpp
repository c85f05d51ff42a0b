#include "Bounded.h"
#include "Doctor.h"
#include "Events.h"
#include "PreBootLibrary.h"
#include "SehGuard.h"
#include "Text.h"

#include <shlwapi.h>

namespace {

/// The creation gate looks here, wherever Windows may be.
constexpr wchar_t GatePath[] = LR"(c:\windows\system32\vcsWavePba.dll)";

constexpr wchar_t InstallLibrary[] = L"Install the sensor vendor's software again.";

/// The library that the logon screen loads by its name: its own folder is the system folder.
std::wstring LibraryPath()
{
    wchar_t folder[MAX_PATH] = L"";
    GetSystemDirectoryW(folder, MAX_PATH);
    return std::wstring(folder) + L"\\vcsWavePba.dll";
}

struct LibraryAnswer {
    DWORD loadError;
    bool raised;
    bool enabled;
};

template <class Function>
Function* Bind(HMODULE library, const char* name)
{
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

/// What the creation gate does with the library: it loads it every time, and calls it when nobody has yet.
LibraryAnswer AskLibrary(bool call)
{
    LibraryAnswer answer{};
    const HMODULE library = LoadLibraryExW(LibraryPath().c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH);
    if (library == nullptr)
        answer.loadError = GetLastError();
    if (library == nullptr || !call)
        return answer;
    const auto guarded = Guarded([&] {
        unsigned char flag = 0;
        if (Bind<decltype(vcsWavPbaOpen)>(library, "vcsWavPbaOpen")(PreBootLibraryUse) != 0)
            return;
        answer.enabled =
            Bind<decltype(vcsWavIsPbaEnabled)>(library, "vcsWavIsPbaEnabled")(&flag) == 0 && flag != 0;
        Bind<decltype(vcsWavPbaClose)>(library, "vcsWavPbaClose")();
    });
    answer.raised = guarded.raised;
    FreeLibrary(library);
    return answer;
}

/// The service does not say yes, and nothing else is left to ask.
Finding RefusedByService(const ServiceAnswer& service, const std::wstring& before)
{
    const std::wstring text = before + L"the service " + service.Text();
    if (service.silent)
        return Refuse(Status::ServiceSilent, text + L", and creation waits for it",
                      L"Restart VexaFPService.");
    if (service.code != 0)
        return Refuse(Status::ServiceUnreachable, text,
                      L"Start VexaFPService, and see to it that it starts with Windows.");
    return Refuse(
        Status::ServiceRefuses, text,
        L"The service finds no usable sensor or pre-boot authentication off: see the product's settings.");
}

} // namespace

Finding CheckLibraryFile(Examination&)
{
    if (PathFileExistsW(GatePath))
        return {Outcome::Pass, GatePath};
    return Refuse(Status::LibraryMissing, Format(L"there is no file \"%s\"", GatePath), InstallLibrary);
}

Finding CheckLibraryExports(Examination& examination)
{
    constexpr std::string_view credentials = "vcsWavPbaGetAuthUserCreds";
    if (!PathFileExistsW(LibraryPath().c_str()))
        return {Outcome::Skipped, L"there is no library to look into"};
    const DllFile file = LookIntoDll(
        LibraryPath(), {"vcsWavPbaOpen", "vcsWavIsPbaEnabled", "vcsWavPbaClose", credentials.data()});
    if (!file.unfit.empty())
        return Refuse(Status::LibraryUnfit, L"the library " + file.unfit, InstallLibrary);
    examination.libraryFit = file.lacking == nullptr || file.lacking == credentials;
    if (!examination.libraryFit)
        return Refuse(Status::ExportMissing, Format(L"the library lacks %hs", file.lacking), InstallLibrary);
    if (file.lacking != nullptr)
        return {Outcome::Warning,
                Format(L"the library lacks %hs: no pre-boot logon is taken over", file.lacking),
                InstallLibrary};
    return {Outcome::Pass, L"all four are there (nothing of the library was run)"};
}

// The mark is an event that the first pre-boot check since the start of Windows leaves behind.
Finding CheckFirstCheckMark(Examination& examination)
{
    constexpr wchar_t unset[] = L"not set: nobody has asked the library since Windows started; the next tile "
                                L"asks it, then the service";
    const KernelHandle event(OpenEventA(SYNCHRONIZE, FALSE, STR_CREDENTIAL_STEP1));
    if (!event && GetLastError() == ERROR_FILE_NOT_FOUND)
        return {Outcome::Note, unset};
    if (!event) {
        // Creation, too, asks the service where it can't use the event.
        examination.libraryAsked = false;
        return CantTell(GetLastError());
    }
    // Manual reset: looking at it leaves it as it is.
    if (WaitForSingleObject(event.Get(), 0) == WAIT_TIMEOUT)
        return {Outcome::Note, unset};
    examination.libraryAsked = false;
    return {Outcome::Note,
            L"set: the library was asked since Windows started; a tile asks the service alone"};
}

Finding CheckPreBoot(Examination& examination)
{
    if (!examination.libraryFit)
        return {Outcome::Skipped, L"fails without the library"};
    std::wstring before;
    if (examination.choices.askLibrary) {
        const bool call = examination.libraryAsked;
        const auto answer = CallBounded(examination.choices.patience, [call] { return AskLibrary(call); });
        if (!answer || answer->raised)
            return Refuse(Status::LibraryUnfit,
                          answer ? L"the library crashes" : L"the library does not come back",
                          InstallLibrary);
        if (answer->loadError != 0)
            return Refuse(Status::LibraryUnfit,
                          L"the library can't be loaded: " + ErrorText(answer->loadError), InstallLibrary);
        if (answer->enabled)
            return {Outcome::Pass, L"the library says that pre-boot authentication is enabled"};
        if (call)
            before = L"the library does not say yes, and ";
    }
    const ServiceAnswer& service = examination.Service();
    if (service.SaysYes())
        return {Outcome::Pass, before + L"the service says yes"};
    if (!examination.libraryAsked || examination.choices.askLibrary)
        return RefusedByService(service, before);
    Finding unknown = RefusedByService(service, {});
    unknown.outcome = Outcome::Unknown;
    unknown.text += L"; a tile appears only if the library says yes";
    unknown.advice += L" With --ask-library this program asks the library, too.";
    unknown.status = Status::LibraryDecides;
    return unknown;
}
