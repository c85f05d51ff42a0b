#include "Doctor.h"
#include "Text.h"

#include <aclapi.h>
#include <ntsecapi.h>
#include <shlwapi.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <cwchar>
#include <io.h>
#include <string_view>

namespace {

#define LOG_FOLDER LR"(C:\CPLog)"
#define EVENT_FOLDER LR"(c:\FPLog)"
#define SETTINGS_FOLDER LR"(C:\Users\Public\VEXA\FingerPrint)"

struct OrdinaryGroup {
    WELL_KNOWN_SID_TYPE kind;
    const wchar_t* name;
};

/// People belong to these who are no administrators.
constexpr OrdinaryGroup OrdinaryGroups[] = {
    {WinWorldSid, L"Everyone"},       {WinAuthenticatedUserSid, L"Authenticated Users"},
    {WinBuiltinUsersSid, L"Users"},   {WinInteractiveSid, L"Interactive"},
    {WinBuiltinGuestsSid, L"Guests"},
};

constexpr DWORD WriteRights = FILE_WRITE_DATA | FILE_APPEND_DATA | FILE_DELETE_CHILD | DELETE | WRITE_DAC |
                              WRITE_OWNER | GENERIC_WRITE | GENERIC_ALL;

/// Does an entry grant the group itself a right to write? Entries that deny are not weighed: at worst a group
/// is named in vain.
bool MayWrite(PACL list, WELL_KNOWN_SID_TYPE group)
{
    void* entry = nullptr;
    for (DWORD index = 0; list != nullptr && GetAce(list, index, &entry); ++index) {
        auto* ace = static_cast<ACCESS_ALLOWED_ACE*>(entry);
        if (ace->Header.AceType == ACCESS_ALLOWED_ACE_TYPE && (ace->Mask & WriteRights) != 0 &&
            IsWellKnownSid(&ace->SidStart, group))
            return true;
    }
    // Without a list everybody may do everything.
    return list == nullptr;
}

/// The end of the provider's newest log, as far as it is of interest, and the day of its last line.
std::wstring ReadLog(std::wstring& day)
{
    constexpr long most = 1024 * 1024;
    _wfinddata64_t entry{};
    _wfinddata64_t newest{};
    const intptr_t search = _wfindfirst64(LOG_FOLDER LR"(\??-??-??.txt)", &entry);
    if (search == -1)
        return {};
    do {
        if (entry.time_write > newest.time_write)
            newest = entry;
    } while (_wfindnext64(search, &entry) == 0);
    _findclose(search);
    wchar_t date[16] = L"";
    if (const std::tm* local = _localtime64(&newest.time_write))
        std::wcsftime(date, ARRAYSIZE(date), L"%Y-%m-%d", local);
    day = date;

    std::FILE* const file = _wfopen((LOG_FOLDER L"\\" + std::wstring(newest.name)).c_str(), L"rb");
    if (file == nullptr)
        return {};
    std::fseek(file, 0, SEEK_END);
    // An even place: there are whole units from there on.
    std::fseek(file, std::max(std::ftell(file) - most, 0L) & ~1L, SEEK_SET);
    std::wstring text(most / sizeof(wchar_t), L'\0');
    text.resize(std::fread(text.data(), sizeof(wchar_t), text.size(), file));
    std::fclose(file);
    return text;
}

/// Nothing of a line but its numbers is told on: the files may be in reach of anybody.
struct LogMark {
    std::wstring_view line;
    const wchar_t* meaning;
    const wchar_t* advice;
};

constexpr std::wstring_view ResultLine = L" CVexaFPCredential::ReportResult : Start ";

// clang-format off
constexpr LogMark LogMarks[] = {
    {L" CSample_CreateInstance : start", L"the provider's creation did not end", L""},
    {L" CSample_CreateInstance :  after", L"no tile: the sensor was disabled, or the search for it did not end", L"See the sensor's line above."},
    {L" CSample_CreateInstance :  GetDeviceVersion retry 3", L"no tile: there was no sensor", L"See the sensor's line above."},
    {L" CSample_CreateInstance :  CSample_CreateInstance 000", L"no tile: no pre-boot library, or switched off", L"See their lines above."},
    {L" CSample_CreateInstance : CSample_CreateInstance CheckPBA fail 3", L"no tile: the pre-boot check failed", L"See the pre-boot lines above."},
    {L" CheckPBA :  start", L"the pre-boot check did not end", L"See the pre-boot lines above."},
    {L" CSample_CreateInstance : return 0x0", L"there was a tile, and no finger was matched", L""},
    {L" CSample_CreateInstance : return", L"no tile: memory was short", L""},
    {L" DeamonThread : end", L"the tile gave up: three times service or sensor failed, or nobody was enrolled", L"See the services' lines above."},
    {L" CCommandWindow::WndProc : user ", L"a finger was matched, but Windows refused its account's password", L"Enrol the finger again with the account's password of today."},
    {L" CCommandWindow::WndProc : CheckUserAndPwd return", L"a finger's account was accepted, and the logon's outcome is not told", L""},
};
// clang-format on

/// What a line tells of a logon's outcome; the text is empty when that is nothing.
Finding TellLine(std::wstring_view line)
{
    for (const LogMark& mark : LogMarks) {
        if (line.starts_with(mark.line))
            return {Outcome::Note, mark.meaning, mark.advice};
    }
    if (!line.starts_with(ResultLine))
        return {Outcome::Note, {}};
    const DWORD status = std::wcstoul(std::wstring(line.substr(ResultLine.size())).c_str(), nullptr, 16);
    if (status == 0)
        return {Outcome::Note, L"Windows logged the user on"};
    return {Outcome::Note,
            Format(L"Windows refused the logon with status 0x%08lX: ", status) +
                ErrorText(LsaNtStatusToWinError(static_cast<NTSTATUS>(status))),
            L"See to the account, then try again."};
}

/// The last that the log tells; the text is empty when that is nothing.
Finding LastOutcome(std::wstring_view log, const std::wstring& day)
{
    Finding last{Outcome::Note, {}};
    while (!log.empty()) {
        std::wstring_view line = log.substr(0, log.find(L'\n'));
        log.remove_prefix(std::min(log.size(), line.size() + 1));
        // "11:09:37  VexaFPCredential.cpp L=232 CVexaFPCredential::ReportResult : Start 0 0"
        const std::wstring time(line.substr(0, 8));
        const size_t number = line.find(L" L=");
        if (number == line.npos || time.find_first_not_of(L"0123456789:") != time.npos)
            continue;
        line.remove_prefix(std::min(line.size(), line.find(L' ', number + 1)));
        Finding found = TellLine(line);
        if (found.text.empty())
            continue;
        found.text = day + L' ' + time + L": " + found.text;
        last = std::move(found);
    }
    return last;
}

} // namespace

Finding CheckFolderRights(Examination&)
{
    std::wstring open;
    for (const wchar_t* folder : {LOG_FOLDER, EVENT_FOLDER, SETTINGS_FOLDER}) {
        PACL list = nullptr;
        PSECURITY_DESCRIPTOR descriptor = nullptr;
        const DWORD status = GetNamedSecurityInfoW(folder, SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                                                   nullptr, &list, nullptr, &descriptor);
        if (status == ERROR_FILE_NOT_FOUND || status == ERROR_PATH_NOT_FOUND)
            continue;
        if (status != ERROR_SUCCESS)
            return CantTell(status);
        for (const OrdinaryGroup& group : OrdinaryGroups) {
            if (MayWrite(list, group.kind))
                open += (open.empty() ? L"" : L"; ") + std::wstring(folder) + L" by " + group.name;
        }
        LocalFree(descriptor);
    }
    if (open.empty())
        return {Outcome::Pass, L"ordinary users can't write what the provider reads or logs"};
    return {
        Outcome::Warning, L"may be written: " + open,
        L"Let only administrators and SYSTEM write there: the folders hold the log and the lock-out limit, "
        L"and switch logs on."};
}

Finding CheckLogFolders(Examination&)
{
    const bool text = PathFileExistsW(LOG_FOLDER) != FALSE;
    const bool records = PathFileExistsW(EVENT_FOLDER) != FALSE;
    return {Outcome::Note,
            Format(LOG_FOLDER L" %s, " EVENT_FOLDER L" %s", text ? L"is there" : L"is absent",
                   records ? L"is there" : L"is absent"),
            text && records ? L""
                            : L"To have the provider tell more, "
                              L"create " LOG_FOLDER L" (text log) and " EVENT_FOLDER L" (event log)."};
}

Finding CheckLastLogon(Examination&)
{
    if (!PathFileExistsW(LOG_FOLDER))
        return {Outcome::Skipped, L"the provider's log is switched off"};
    std::wstring day;
    const std::wstring log = ReadLog(day);
    Finding last = LastOutcome(log, day);
    return last.text.empty() ? Finding{Outcome::Skipped, L"the provider's log tells of none"} : last;
}
