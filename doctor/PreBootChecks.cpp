#include "Bounded.h"
#include "Checks.h"
#include "Events.h"
#include "PeFile.h"
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
    long openStatus;
    long status;
    unsigned char enabled;
    bool raised;
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
        answer.openStatus = Bind<decltype(vcsWavPbaOpen)>(library, "vcsWavPbaOpen")(PreBootLibraryUse);
        if (answer.openStatus != 0)
            return;
        answer.status = Bind<decltype(vcsWavIsPbaEnabled)>(library, "vcsWavIsPbaEnabled")(&answer.enabled);
        Bind<decltype(vcsWavPbaClose)>(library, "vcsWavPbaClose")();
    });
    answer.raised = guarded.raised;
    FreeLibrary(library);
    return answer;
}

/// The service does not say yes, and nothing else is left to ask.
Finding RefusedByService(const ServiceAnswer& service, const std::wstring& before)
{
    constexpr wchar_t start[] = L"Start VexaFPService, and see to it that it starts with Windows.";
    switch (service.kind) {
    case ServiceAnswer::Kind::Silent:
        return Refuse(Status::ServiceSilent,
                      before + L"the service does not answer, and creation waits for it",
                      L"Restart VexaFPService.");
    case ServiceAnswer::Kind::Raised:
        return Refuse(Status::ServiceUnreachable,
                      before + Format(L"the service can't be reached (0x%lX)", service.code), start);
    default:
        return Refuse(Status::ServiceRefuses, before + Format(L"the service answers %ld", service.pbaEnabled),
                      L"The service finds no usable sensor or pre-boot authentication off: see the product's "
                      L"settings.");
    }
}

} // namespace

Finding CheckLibraryFile(Examination&)
{
    if (PathFileExistsW(GatePath))
        return Pass(GatePath);
    return Refuse(Status::LibraryMissing, Format(L"there is no file \"%s\"", GatePath), InstallLibrary);
}

Finding CheckLibraryExports(Examination& examination)
{
    const PeFile file(LibraryPath());
    if (!file.IsExecutable() && !PathFileExistsW(LibraryPath().c_str()))
        return Skip(L"there is no library to look into");
    if (!file.Is64BitDll())
        return Refuse(Status::LibraryUnfit,
                      file.IsExecutable() ? Format(L"no 64-bit DLL (machine 0x%04X)", file.Machine())
                                          : L"the file can't be read or is damaged",
                      InstallLibrary);
    for (const char* name : {"vcsWavPbaOpen", "vcsWavIsPbaEnabled", "vcsWavPbaClose"}) {
        if (!file.Exports(name))
            return Refuse(Status::ExportMissing, Format(L"the library lacks %hs", name), InstallLibrary);
    }
    examination.libraryFit = true;
    if (!file.Exports("vcsWavPbaGetAuthUserCreds"))
        return Attention(L"the library lacks vcsWavPbaGetAuthUserCreds: no pre-boot logon is taken over",
                         InstallLibrary);
    return Pass(L"all four are there (the file was read, not loaded)");
}

Finding CheckStep1Event(Examination& examination)
{
    const KernelHandle event(OpenEventA(SYNCHRONIZE, FALSE, STR_CREDENTIAL_STEP1));
    if (!event && GetLastError() == ERROR_FILE_NOT_FOUND)
        return Note(L"absent: the next creation asks the library first, then the service");
    if (!event) {
        // Creation, too, asks the service where it can't use the event.
        examination.libraryAsked = false;
        return Attention(
            Format(L"not accessible (error %lu): the service is taken to be the one asked", GetLastError()),
            L"Run this program as administrator.");
    }
    // Manual reset: looking at it leaves it as it is.
    if (WaitForSingleObject(event.Get(), 0) == WAIT_TIMEOUT)
        return Note(L"not signalled: the next creation asks the library first, then the service");
    examination.libraryAsked = false;
    return Note(L"signalled: creation asks the service alone");
}

Finding CheckPreBoot(Examination& examination)
{
    if (!examination.libraryFit)
        return Skip(L"fails without the library");
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
                          Format(L"the library can't be loaded (error %lu)", answer->loadError),
                          InstallLibrary);
        if (call && answer->openStatus == 0 && answer->status == 0 && answer->enabled != 0)
            return Pass(L"the library says that pre-boot authentication is enabled");
        if (call)
            before = L"the library does not say yes, and ";
    }
    const ServiceAnswer& service = examination.Service();
    if (service.kind == ServiceAnswer::Kind::Answered && service.pbaEnabled == 1)
        return Pass(before + L"the service says yes");
    if (!examination.libraryAsked || examination.choices.askLibrary)
        return RefusedByService(service, before);
    Finding unknown = RefusedByService(service, {});
    unknown.outcome = Outcome::Unknown;
    unknown.text += L": a tile appears only if the library says yes";
    unknown.advice += L" With --ask-library this program asks the library, too.";
    unknown.status = Status::LibraryDecides;
    return unknown;
}
