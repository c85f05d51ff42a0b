#include "Device.h"

#include "Simulation.h"

#include <cfgmgr32.h>
#include <setupapi.h>
#include <shellapi.h>

#include <algorithm>
#include <optional>

namespace {

using std::wstring;
using WindowsModel::ImportHooks;

constexpr wchar_t UsbKey[] = LR"(System\CurrentControlSet\Enum\USB)";
constexpr wchar_t FailureNotes[] = LR"(c:\FPLog)";
constexpr wchar_t DriverText[] = LR"({53D29EF7-377C-4D14-864B-EB3A85769359}\0000)";

/// One device of the vendor. Enumerated in the order of `key`, which need not tell the same as `ids`.
struct Entry {
    wstring key;
    wstring ids; ///< without the terminators of a list
    std::optional<wstring> driver = DriverText;
    DWORD type = REG_MULTI_SZ;
    std::size_t oddBytes = 0;
};

Entry Sensor(const wstring& key, const wstring& hardwareId)
{
    return {key, hardwareId + wstring(2, L'\0')};
}

/// A machine whose only devices of the vendor are the ones added here, with failure notes switched on.
struct Devices {
    Devices() : simulation(Group::Devices | Group::Failures | Group::Texts)
    {
        RemoveVendor();
        CreateDirectoryW(FailureNotes, nullptr);
    }
    ~Devices()
    {
        RemoveVendor();
        RemoveDirectoryW(FailureNotes);
    }

    void Add(const Entry& entry)
    {
        HKEY key = nullptr;
        const wstring path = wstring(UsbKey) + LR"(\VID_138A&)" + entry.key + LR"(\0001)";
        REQUIRE(RegCreateKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS, nullptr,
                                &key, nullptr) == ERROR_SUCCESS);
        Set(key, L"ClassGUID", REG_SZ, L"{53D29EF7-377C-4D14-864B-EB3A85769359}");
        Set(key, L"HardwareID", entry.type, entry.ids, entry.oddBytes);
        if (entry.driver)
            Set(key, L"Driver", REG_SZ, *entry.driver);
        RegCloseKey(key);
    }

    /// The notes in the event log since the last call.
    std::vector<wstring> Notes()
    {
        const auto locked = simulation.windows.Lock();
        std::vector<wstring> notes;
        for (const WindowsModel::EventRecord& event : locked->texts.events)
            notes.push_back(event.strings.at(0));
        locked->texts.events.clear();
        return notes;
    }

    Simulation simulation;

private:
    static void Set(HKEY key, const wchar_t* name, DWORD type, const wstring& text, std::size_t oddBytes = 0)
    {
        const auto bytes = static_cast<DWORD>(text.size() * sizeof(wchar_t) + oddBytes);
        REQUIRE(RegSetValueExW(key, name, 0, type, reinterpret_cast<const BYTE*>(text.c_str()), bytes) ==
                ERROR_SUCCESS);
    }

    static void RemoveVendor()
    {
        HKEY usb = nullptr;
        if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, UsbKey, 0, KEY_ALL_ACCESS, &usb) != ERROR_SUCCESS)
            return;
        std::vector<wstring> keys;
        wchar_t name[256];
        for (DWORD index = 0; RegEnumKeyW(usb, index, name, std::size(name)) == ERROR_SUCCESS; ++index) {
            if (wstring(name).starts_with(L"VID_138A"))
                keys.emplace_back(name);
        }
        for (const wstring& key : keys)
            RegDeleteTreeW(usb, key.c_str());
        RegCloseKey(usb);
    }
};

struct Found {
    int model;
    bool enabled;
    bool operator==(const Found&) const = default;
};
doctest::String toString(const Found& found)
{
    return doctest::toString(found.model) + (found.enabled ? " enabled" : " not enabled");
}

Found Find()
{
    bool enabled = true;
    const int model = FindFPDevice(&enabled);
    return {model, enabled};
}

/// All present devices, ours and the system's, and the index of the first one of ours.
struct Enumeration {
    int count = 0;
    int ours = -1;

    Enumeration()
    {
        const HDEVINFO set =
            SetupDiGetClassDevsW(nullptr, nullptr, nullptr, DIGCF_PRESENT | DIGCF_ALLCLASSES);
        SP_DEVINFO_DATA device{};
        device.cbSize = sizeof device;
        for (; SetupDiEnumDeviceInfo(set, count, &device); ++count) {
            wchar_t id[256] = {};
            SetupDiGetDeviceInstanceIdW(set, &device, id, std::size(id), nullptr);
            if (ours < 0 && wstring(id).find(L"VID_138A") != wstring::npos)
                ours = count;
        }
        SetupDiDestroyDeviceInfoList(set);
    }
};

bool Holds(const std::vector<wstring>& notes, const wstring& note)
{
    return std::find(notes.begin(), notes.end(), note) != notes.end();
}

TEST_CASE("the first sensor in the order of enumeration is found")
{
    const wstring otherProduct = LR"(USB\VID_138A&PID_0011&REV_0001)";
    const wstring sensor8 = LR"(USB\VID_138A&PID_0008&REV_0001)";
    const wstring sensor10 = LR"(USB\VID_138A&PID_0010&REV_0001)";
    struct Row {
        const char* what;
        std::vector<Entry> entries;
        Found found;
    };
    const Row rows[] = {
        {"none", {}, {0, false}},
        {"product 0008", {Sensor(L"PID_0008", sensor8)}, {1, true}},
        {"product 0010", {Sensor(L"PID_0010", sensor10)}, {2, true}},
        {"lower case", {Sensor(L"PID_0010", LR"(usb\vid_138a&pid_0010)")}, {2, true}},
        {"another product", {Sensor(L"PID_0011", otherProduct)}, {0, true}},
        {"another vendor", {Sensor(L"PID_0010", LR"(USB\VID_138B&PID_0010)")}, {0, false}},
        {"0008, 0010", {Sensor(L"1", sensor8), Sensor(L"2", sensor10)}, {1, true}},
        {"0010, 0008", {Sensor(L"1", sensor10), Sensor(L"2", sensor8)}, {2, true}},
        {"another, 0010", {Sensor(L"1", otherProduct), Sensor(L"2", sensor10)}, {2, true}},
        {"both at once", {Sensor(L"1", sensor10 + L"&PID_0008")}, {1, true}},
        {"not the first ID", {Sensor(L"1", LR"(USB\COMPOSITE)" + wstring(1, L'\0') + sensor8)}, {0, false}},
    };
    for (const Row& row : rows) {
        CAPTURE(row.what);
        Devices devices;
        for (const Entry& entry : row.entries)
            devices.Add(entry);
        const Enumeration enumeration;
        REQUIRE((enumeration.ours >= 0) == !row.entries.empty());
        CHECK(Find() == row.found);
        // The count of devices is noted at the end only, which a sensor keeps it from reaching.
        const wstring end = L"SetupDiEnumDeviceInfo " + std::to_wstring(enumeration.count) + L" ";
        CHECK(Holds(devices.Notes(), end) == (row.found.model == 0));

        devices.simulation->devices.problem = CM_PROB_DISABLED;
        CHECK(Find() == Found{row.found.model, false});
        devices.simulation->devices.problem = CM_PROB_HARDWARE_DISABLED;
        CHECK(Find() == row.found);
        devices.simulation.FailNext("CM_Get_DevNode_Status", CR_NO_SUCH_DEVNODE);
        CHECK(Find() == row.found);
    }
}

TEST_CASE("a device whose properties can't be read is noted and skipped")
{
    const wstring id = LR"(USB\VID_138A&PID_0010)";
    struct Row {
        const char* what;
        Entry entry;
        int model;
        const wchar_t* note; ///< its beginning
    };
    const wchar_t* const first = L"1 SetupDiGetDeviceRegistryPropertyW ";
    const wchar_t* const second = L"2 SetupDiGetDeviceRegistryPropertyW ";
    const auto filled = [&](std::size_t units) { return id + wstring(units - id.size(), L'x'); };
    const Row rows[] = {
        {"no driver", {L"1", id, std::nullopt}, 0, first},
        {"over-long driver", {L"1", id, wstring(256, L'd')}, 0, first},
        {"over-long IDs", {L"1", filled(257), DriverText, REG_BINARY}, 0, second},
        {"IDs that fill the buffer", {L"1", filled(256), DriverText, REG_BINARY}, 2, nullptr},
        {"no terminator", {L"1", id, DriverText, REG_BINARY}, 2, nullptr},
        {"half a unit more", {L"1", id + L'x', DriverText, REG_BINARY, 1}, 2, nullptr},
        {"half a unit missing", {L"1", id.substr(0, id.size() - 1), DriverText, REG_BINARY, 1}, 0, nullptr},
        {"no ID at all", {L"1", L"", LR"(USB\VID_138A&PID_0010)", REG_BINARY}, 0, nullptr},
        {"ends in the driver's text",
         {L"1", id.substr(0, 17), wstring(17, L'd') + L"0010", REG_BINARY},
         0,
         nullptr},
    };
    for (const Row& row : rows) {
        CAPTURE(row.what);
        Devices devices;
        devices.Add(row.entry);
        const wstring index = std::to_wstring(Enumeration().ours) + L" ";
        CHECK(Find().model == row.model);
        const std::vector<wstring> notes = devices.Notes();
        CHECK(Holds(notes, first + index) == (row.note == first));
        CHECK(Holds(notes, second + index) == (row.note == second));

        devices.Add(Sensor(L"2", LR"(USB\VID_138A&PID_0008)"));
        CHECK(Find().model == (row.model == 0 ? 1 : row.model));
    }
}

TEST_CASE("without a set of devices there is no sensor")
{
    Devices devices;
    devices.Add(Sensor(L"PID_0010", LR"(USB\VID_138A&PID_0010)"));
    devices.simulation.FailNext("SetupDiGetClassDevsW", ERROR_ACCESS_DENIED, 2);
    CHECK(Find() == Found{0, false});
    CHECK_FALSE(IsFPDeviceEnabled());
    CHECK(devices.Notes() == std::vector<wstring>(2, L"SetupDiGetClassDevs Fail"));
    CHECK(Find() == Found{2, true});
}

struct NodeStatus {
    CONFIGRET result = CR_SUCCESS;
    ULONG status = DN_DISABLEABLE | DN_STARTED;
    ULONG problem = 0;
};
NodeStatus g_node;

CONFIGRET WINAPI ScriptedStatus(ULONG* status, ULONG* problem, DEVINST, ULONG)
{
    *status = g_node.status;
    *problem = g_node.problem;
    return g_node.result;
}

TEST_CASE("the vendor's device is enabled when it could be disabled and is not")
{
    Devices devices;
    ImportHooks hooks(GetModuleHandleW(nullptr));
    REQUIRE(hooks.Replace("CM_Get_DevNode_Status", ScriptedStatus) == ImportHooks::Result::Replaced);
    const auto enabled = [](const NodeStatus& node) {
        g_node = node;
        return IsFPDeviceEnabled();
    };
    CHECK_FALSE(enabled({}));
    devices.Add(Sensor(L"PID_0010", LR"(usb\vid_138a&pid_0010)"));
    CHECK_FALSE(enabled({}));
    devices.Add(Sensor(L"PID_0011", LR"(USB\VID_138A&PID_0011)"));
    CHECK(enabled({}));
    CHECK(enabled({.problem = CM_PROB_FAILED_START}));
    CHECK_FALSE(enabled({.problem = CM_PROB_DISABLED}));
    CHECK_FALSE(enabled({.problem = CM_PROB_HARDWARE_DISABLED}));
    CHECK_FALSE(enabled({.status = DN_STARTED}));
    CHECK_FALSE(enabled({.result = CR_NO_SUCH_DEVNODE}));
}

/// What RestartFPDevice asks of Windows, in order.
struct Steps {
    std::vector<wstring> list;
    bool toolStarts = true;
    bool is64Bit = true;
    std::vector<HANDLE> processes;
};
Steps g_steps;

BOOL WINAPI RecordedExecute(SHELLEXECUTEINFOW* info)
{
    const bool asExpected = info->cbSize == sizeof *info && (info->fMask & SEE_MASK_NOCLOSEPROCESS) != 0 &&
                            info->nShow == SW_HIDE && info->lpDirectory == nullptr;
    g_steps.list.push_back(
        asExpected ? wstring(info->lpVerb) + L"|" + info->lpFile + L"|" + info->lpParameters : L"wrong call");
    if (!g_steps.toolStarts)
        return FALSE;
    info->hProcess = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    g_steps.processes.push_back(info->hProcess);
    return TRUE;
}

DWORD WINAPI RecordedWait(HANDLE object, DWORD milliseconds)
{
    const HANDLE expected = g_steps.toolStarts ? g_steps.processes.back() : nullptr;
    g_steps.list.push_back(object == expected && milliseconds == INFINITE ? L"wait" : L"wrong wait");
    return object == nullptr ? WAIT_FAILED : WAIT_OBJECT_0;
}

void WINAPI RecordedSleep(DWORD milliseconds)
{
    g_steps.list.push_back(std::to_wstring(milliseconds));
}

UINT WINAPI ScriptedWow64Directory(wchar_t*, UINT)
{
    return g_steps.is64Bit ? 1 : 0;
}

TEST_CASE("the device is restarted by the tool beside the program's folder")
{
    ImportHooks hooks(GetModuleHandleW(nullptr));
    REQUIRE(hooks.Replace("ShellExecuteExW", RecordedExecute) == ImportHooks::Result::Replaced);
    REQUIRE(hooks.Replace("WaitForSingleObject", RecordedWait) == ImportHooks::Result::Replaced);
    REQUIRE(hooks.Replace("Sleep", RecordedSleep) == ImportHooks::Result::Replaced);
    REQUIRE(hooks.Replace("GetSystemWow64DirectoryW", ScriptedWow64Directory) ==
            ImportHooks::Result::Replaced);
    wchar_t program[MAX_PATH] = {};
    REQUIRE(GetModuleFileNameW(nullptr, program, MAX_PATH) != 0);
    const wstring folder = wstring(program).substr(0, wstring(program).find_last_of(L'\\') + 1);

    for (const auto& [is64Bit, tool] : {std::pair(true, L"devcon_x64.exe"), {false, L"devcon_x32.exe"}}) {
        for (const bool toolStarts : {true, false}) {
            g_steps = {{}, toolStarts, is64Bit, {}};
            RestartFPDevice();
            const wstring call = L"runas|" + folder + LR"(..\)" + tool;
            CHECK(g_steps.list == std::vector<wstring>{call + L"| disable *VID_138A*", L"wait", L"1000",
                                                       call + L"| enable *VID_138A*", L"wait", L"2000"});
            for (const HANDLE process : g_steps.processes) {
                DWORD flags = 0;
                CHECK_FALSE(GetHandleInformation(process, &flags));
            }
        }
    }
}

} // namespace
