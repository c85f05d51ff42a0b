// Why is there no tile? What each check finds, what that means for the tile, and the answer that comes of it.
#pragma once

#include <windows.h>

#include <optional>
#include <span>
#include <string>
#include <vector>

/// The program's exit statuses: one for each reason why there is no tile. Scripts go by these numbers: none
/// is ever given another meaning.
// clang-format off
enum class Status : int {
    Offered = 0, Usage = 2,
    ClassMissing = 10, ThreadingModel, ProviderNotListed, ProviderDisabled, ProviderExcluded, DllMissing, DllUnfit,
    NoSensor = 20, SensorDisabled, LibraryMissing, SwitchedOff, WrongView, LibraryUnfit, ExportMissing,
    ServiceUnreachable, ServiceRefuses, ServiceSilent, LibraryDecides, CheckSilent,
};
// clang-format on

struct StatusInfo {
    Status status;
    const wchar_t* key;
    /// What the provider's creation answers LogonUI; S_OK where it is not what refuses.
    HRESULT result;
    const wchar_t* meaning;
};

/// In the order of the numbers.
std::span<const StatusInfo> AllStatuses();
const StatusInfo& Describe(Status status);

enum class Outcome {
    Pass,      ///< In order.
    Note,      ///< Neither for nor against the tile.
    Warning,   ///< A logon succeeds, but something is not as it should be.
    Attention, ///< The tile appears, but a logon with it may not succeed.
    Unknown,   ///< Can't be told; bears on the tile when its status is other than Offered.
    Refusal,   ///< No tile.
    Skipped,   ///< Does not come into play as things stand.
};

struct Finding {
    Outcome outcome;
    std::wstring text;
    /// What to do about it; empty when there is nothing to do.
    std::wstring advice = {};
    Status status = Status::Offered;
};

inline Finding Refuse(Status status, std::wstring text, std::wstring advice)
{
    return {Outcome::Refusal, std::move(text), std::move(advice), status};
}
/// Windows did not answer the question itself.
Finding CantTell(DWORD error);

struct Choices {
    /// The pre-boot library's code may be run to hear whether pre-boot authentication is enabled.
    bool askLibrary = false;
    /// How long the fingerprint service or the library may take to answer.
    DWORD patience = 5000; // ms
    /// How long a check may take as a whole: Windows itself may be stuck.
    DWORD limit = 15000; // ms
};

/// What the fingerprint service answers to the questions that the provider asks it.
struct ServiceAnswer {
    /// Nothing came in time.
    bool silent = true;
    /// Of the exception in which the first or second call ended; 0 without: nobody listens, for example.
    DWORD code = 0;
    /// 1: sensor present and enabled.
    long pbaEnabled = 0;
    /// The enrolments, if they could be counted.
    std::optional<long> enrolled = {};

    bool SaysYes() const { return !silent && code == 0 && pbaEnabled == 1; }
    /// "answers 0" and the like.
    std::wstring Text() const;
};

/// What earlier checks leave for later ones.
struct Examination {
    Choices choices = {};
    /// The registered DLL; empty without one.
    std::wstring dll = {};
    /// The creation gate would find the library and bind its functions.
    bool libraryFit = false;
    /// The next creation asks the library before it asks the service.
    bool libraryAsked = true;
    std::optional<ServiceAnswer> service = {};

    /// Asked once, by the first check that needs it. A service that is not running stays so.
    const ServiceAnswer& Service();
};

/// A file seen as a DLL; nothing of it is run.
struct DllFile {
    /// "is a program, not a DLL" and the like; empty for a DLL that a 64-bit process can load.
    std::wstring unfit = {};
    /// The first of the functions that it does not export, if any.
    const char* lacking = nullptr;
};
DllFile LookIntoDll(const std::wstring& path, std::initializer_list<const char*> functions);

// The conditions for a tile, in the order in which LogonUI, the creation gate and the workers meet them. None
// of the checks changes anything.
using Look = Finding(Examination&);
Look CheckClass, CheckThreadingModel, CheckProviderList, CheckPolicy, CheckFilters, CheckDll;
Look CheckSensor;
Look CheckLibraryFile, CheckLibraryExports, CheckFirstCheckMark, CheckPreBoot;
Look CheckSensorService, CheckFingerprintService, CheckEndpoint, CheckEnrolment;
Look CheckEnable, CheckLockOut, CheckLogFolders, CheckFolderRights, CheckLastLogon;

struct Check {
    /// Scripts know the check by it.
    const wchar_t* key;
    const wchar_t* title;
    Look* look;
};

std::span<const Check> AllChecks();
/// What the check finds within the examination's limit.
Finding LookBounded(const Check& check, Examination& examination);

struct Diagnosis {
    std::wstring computer;
    bool elevated = false;
    /// What each of AllChecks() found, in their order.
    std::vector<Finding> findings;
    /// The place of the finding that decides: the first refusal, or else the first that can't be told.
    std::optional<size_t> decisive;
    Status status = Status::Offered;
};

Diagnosis Diagnose(const Choices& choices);

/// As people read it.
std::wstring AsText(const Diagnosis& diagnosis);
/// As programs read it: one object on one line.
std::wstring AsJson(const Diagnosis& diagnosis);
