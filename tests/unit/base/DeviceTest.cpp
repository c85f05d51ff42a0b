#include "Device.h"

#include "Simulation.h"

#include <cfgmgr32.h>
#include <setupapi.h>
#include <shellapi.h>

#include <optional>
#include <set>
#include <utility>

namespace {

using std::wstring;

constexpr wchar_t UsbKey[] = LR"(System\CurrentControlSet\Enum\USB)";
constexpr wchar_t FailureNotes[] = LR"(c:\FPLog)";

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

/// One device of the vendor. Enumerated in the order of `key`, which need not tell the same as `ids`.
struct Entry {
    wstring key;
    wstring ids; ///< a list's terminators included
    std::optional<wstring> driver = LR"({53D29EF7-377C-4D14-864B-EB3A85769359}\0000)";
    DWORD type = REG_MULTI_SZ;
    std::size_t oddBytes = 0;
};

Entry Sensor(const wstring& key, const wstring& hardwareId)
{
    return {key, hardwareId + wstring(2, L'\0')};
}

/// A machine whose only devices of the vendor are the ones added here, with failure notes switched on.
struct Devices : Simulation {
    explicit Devices(const std::vector<Entry>& entries = {})
        : Simulation(Group::Devices | Group::Failures | Group::Texts)
    {
        Replace("CM_Get_DevNode_Status", ScriptedStatus);
        g_node = {};
        RemoveVendor();
        for (const Entry& entry : entries)
            Add(entry);
        CreateDirectoryW(FailureNotes, nullptr);
    }
    ~Devices()
    {
        RemoveVendor();
        RemoveDirectoryW(FailureNotes);
    }

    void Add(const Entry& entry)
    {
        const wstring key = wstring(UsbKey) + LR"(\VID_138A&)" + entry.key + LR"(\0001)";
        Set(key, L"ClassGUID", REG_SZ, L"{53D29EF7-377C-4D14-864B-EB3A85769359}");
        Set(key, L"HardwareID", entry.type, entry.ids, entry.oddBytes);
        if (entry.driver)
            Set(key, L"Driver", REG_SZ, *entry.driver);
    }

    /// The notes in the event log since the last call.
    std::multiset<wstring> Notes()
    {
        std::multiset<wstring> notes;
        for (const WindowsModel::EventRecord& event : std::exchange((*this)->texts.events, {}))
            notes.insert(event.strings.at(0));
        return notes;
    }

private:
    static void Set(const wstring& key, const wchar_t* name, DWORD type, const wstring& text,
                    std::size_t oddBytes = 0)
    {
        const auto bytes = static_cast<DWORD>(text.size() * sizeof(wchar_t) + oddBytes);
        REQUIRE(RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, type, text.c_str(), bytes) ==
                ERROR_SUCCESS);
    }

    static void RemoveVendor()
    {
        HKEY usb = nullptr;
        if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, UsbKey, 0, KEY_ALL_ACCESS, &usb) != ERROR_SUCCESS)
            return;
        wchar_t name[256];
        for (DWORD index = 0; RegEnumKeyW(usb, index, name, std::size(name)) == ERROR_SUCCESS;) {
            if (!wstring(name).starts_with(L"VID_138A") || RegDeleteTreeW(usb, name) != ERROR_SUCCESS)
                ++index;
        }
        RegCloseKey(usb);
    }
};

using Found = std::pair<int, bool>; // model, enabled

Found Find(const NodeStatus& node = {})
{
    g_node = node;
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
        Devices devices(row.entries);
        const Enumeration enumeration;
        REQUIRE((enumeration.ours >= 0) == !row.entries.empty());
        CHECK(Find() == row.found);
        // The count of devices is noted at the end only, which a sensor keeps it from reaching.
        const wstring end = L"SetupDiEnumDeviceInfo " + std::to_wstring(enumeration.count) + L" ";
        CHECK(devices.Notes().contains(end) == (row.found.first == 0));
        CHECK(Find({.problem = CM_PROB_DISABLED}) == Found{row.found.first, false});
        CHECK(Find({.problem = CM_PROB_HARDWARE_DISABLED}) == row.found);
        CHECK(Find({.result = CR_NO_SUCH_DEVNODE}) == row.found);
    }
}

TEST_CASE("a device whose properties can't be read is noted and skipped")
{
    const wstring id = LR"(USB\VID_138A&PID_0010)";
    const wchar_t* const driver = L"1 SetupDiGetDeviceRegistryPropertyW ";
    const wchar_t* const ids = L"2 SetupDiGetDeviceRegistryPropertyW ";
    const auto filled = [&](std::size_t units) { return id + wstring(units - id.size(), L'x'); };
    const auto raw = [](const wstring& text, std::size_t oddBytes = 0, const wstring& driver = L"d") {
        return Entry{L"1", text, driver, REG_BINARY, oddBytes};
    };
    struct Row {
        const char* what;
        Entry entry;
        int model;
        const wchar_t* note; // its beginning
    };
    const Row rows[] = {
        {"no driver", {L"1", id, std::nullopt}, 0, driver},
        {"over-long driver", {L"1", id, wstring(256, L'd')}, 0, driver},
        {"over-long IDs", raw(filled(257)), 0, ids},
        {"IDs that fill the buffer", raw(filled(256)), 2, nullptr},
        {"no terminator", raw(id), 2, nullptr},
        {"half a unit more", raw(id + L'x', 1), 2, nullptr},
        {"half a unit missing", raw(id.substr(0, id.size() - 1), 1), 0, nullptr},
        {"no ID at all", raw(L"", 0, id), 0, nullptr},
        {"ends in the driver's text", raw(id.substr(0, 17), 0, wstring(17, L'd') + L"0010"), 0, nullptr},
    };
    for (const Row& row : rows) {
        CAPTURE(row.what);
        Devices devices({row.entry});
        const wstring index = std::to_wstring(Enumeration().ours) + L" ";
        CHECK(Find().first == row.model);
        const auto notes = devices.Notes();
        CHECK(notes.contains(driver + index) == (row.note == driver));
        CHECK(notes.contains(ids + index) == (row.note == ids));

        devices.Add(Sensor(L"2", LR"(USB\VID_138A&PID_0008)"));
        CHECK(Find().first == (row.model == 0 ? 1 : row.model));
    }
}

TEST_CASE("devices that are unplugged don't count, and without a set of devices there is no sensor")
{
    Devices devices({Sensor(L"PID_0010", LR"(USB\VID_138A&PID_0010)")});
    static decltype(&SetupDiGetClassDevsW) original;
    static std::vector<DWORD> asked;
    devices.Replace(
        "SetupDiGetClassDevsW",
        +[](const GUID* of, PCWSTR enumerator, HWND parent, DWORD flags) {
            asked.push_back(flags);
            return original(of, enumerator, parent, flags);
        },
        &original);
    CHECK(Find() == Found{2, true});
    devices.FailNext("SetupDiGetClassDevsW", ERROR_ACCESS_DENIED, 2);
    CHECK(Find() == Found{0, false});
    CHECK_FALSE(IsFPDeviceEnabled());
    CHECK(devices.Notes() ==
          std::multiset<wstring>{L"SetupDiGetClassDevs Fail", L"SetupDiGetClassDevs Fail"});
    CHECK(asked == std::vector<DWORD>(3, DIGCF_PRESENT | DIGCF_ALLCLASSES));
}

TEST_CASE("the vendor's device is enabled when it could be disabled and is not")
{
    struct Row {
        NodeStatus node;
        bool enabled;
    };
    Devices devices({Sensor(L"PID_0010", LR"(usb\vid_138a&pid_0010)")});
    CHECK_FALSE(IsFPDeviceEnabled());
    devices.Add(Sensor(L"PID_0011", LR"(USB\VID_138A&PID_0011)"));
    for (const Row& row :
         {Row{{}, true}, Row{{.problem = CM_PROB_FAILED_START}, true},
          Row{{.problem = CM_PROB_DISABLED}, false}, Row{{.problem = CM_PROB_HARDWARE_DISABLED}, false},
          Row{{.status = DN_STARTED}, false}, Row{{.result = CR_NO_SUCH_DEVNODE}, false}}) {
        g_node = row.node;
        CHECK(IsFPDeviceEnabled() == row.enabled);
    }
}

TEST_CASE("the device is restarted by the tool beside the program's folder")
{
    static std::vector<wstring> steps;
    static bool toolStarts, is64Bit;
    static HANDLE process;
    Simulation simulation;
    simulation.Replace(
        "ShellExecuteExW", +[](SHELLEXECUTEINFOW* info) {
            CHECK((info->fMask & SEE_MASK_NOCLOSEPROCESS) != 0);
            CHECK(info->nShow == SW_HIDE);
            steps.push_back(wstring(info->lpVerb) + L"|" + info->lpFile + L"|" + info->lpParameters);
            process = info->hProcess = toolStarts ? CreateEventW(nullptr, TRUE, FALSE, nullptr) : nullptr;
            return BOOL(toolStarts);
        });
    simulation.Replace(
        "WaitForSingleObject", +[](HANDLE object, DWORD milliseconds) {
            steps.push_back(object == process && milliseconds == INFINITE ? L"wait" : L"wrong wait");
            return DWORD(object == nullptr ? WAIT_FAILED : WAIT_OBJECT_0);
        });
    simulation.Replace(
        "Sleep", +[](DWORD milliseconds) {
            DWORD flags = 0;
            CHECK_FALSE(GetHandleInformation(process, &flags));
            steps.push_back(std::to_wstring(milliseconds));
        });
    simulation.Replace("GetSystemWow64DirectoryW", +[](wchar_t*, UINT) { return UINT(is64Bit); });
    wchar_t program[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    const wstring folder = wstring(program).substr(0, wstring(program).find_last_of(L'\\') + 1);

    for (const int round : {0, 1, 2, 3}) {
        steps.clear();
        toolStarts = (round & 1) != 0;
        is64Bit = (round & 2) != 0;
        RestartFPDevice();
        const wstring call =
            L"runas|" + folder + (is64Bit ? LR"(..\devcon_x64.exe)" : LR"(..\devcon_x32.exe)");
        CHECK(steps == std::vector<wstring>{call + L"| disable *VID_138A*", L"wait", L"1000",
                                            call + L"| enable *VID_138A*", L"wait", L"2000"});
    }
}

} // namespace
