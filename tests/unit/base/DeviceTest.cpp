#include "Device.h"

#include "Simulation.h"

#include <cfgmgr32.h>
#include <setupapi.h>
#include <shellapi.h>

#include <algorithm>
#include <optional>
#include <utility>

namespace {

using std::wstring;

constexpr wchar_t FailureNotes[] = LR"(c:\FPLog)";

/// A device's properties as they lie in the registry, whatever ends they have.
struct Device {
    wstring ids;
    std::optional<wstring> driver = L"driver";
    bool halved = false; ///< of the last unit of the IDs only half is there
};
/// The machine's devices; none: Windows does not even give a set of them.
std::optional<std::vector<Device>> g_devices;

struct NodeStatus {
    CONFIGRET result = CR_SUCCESS;
    ULONG status = DN_DISABLEABLE;
    ULONG problem = 0;
};
NodeStatus g_node;

BOOL WINAPI ReadProperty(HDEVINFO /*set*/, SP_DEVINFO_DATA* data, DWORD property, DWORD* /*type*/,
                         BYTE* buffer, DWORD size, DWORD* needed)
{
    const Device& device = (*g_devices)[data->DevInst];
    const bool isDriver = property == SPDRP_DRIVER;
    if (isDriver && !device.driver)
        return FALSE;
    const wstring& text = isDriver ? *device.driver : device.ids;
    const auto bytes = DWORD(text.size() * sizeof(wchar_t) - (!isDriver && device.halved));
    if (needed != nullptr)
        *needed = bytes;
    if (bytes > size)
        return FALSE;
    std::copy_n(reinterpret_cast<const BYTE*>(text.data()), bytes, buffer);
    return TRUE;
}

/// A machine with these devices alone, with failure notes switched on.
struct Devices : Simulation {
    explicit Devices(const std::vector<Device>& devices) : Simulation(Group::Texts)
    {
        g_devices = devices;
        Replace(
            "SetupDiGetClassDevsW", +[](const GUID*, PCWSTR, HWND, DWORD flags) -> HDEVINFO {
                const bool allPresent = flags == (DIGCF_PRESENT | DIGCF_ALLCLASSES);
                return allPresent && g_devices ? &g_devices : INVALID_HANDLE_VALUE;
            });
        Replace(
            "SetupDiEnumDeviceInfo", +[](HDEVINFO, DWORD index, SP_DEVINFO_DATA* device) -> BOOL {
                device->DevInst = index;
                return index < g_devices->size();
            });
        Replace("SetupDiGetDeviceRegistryPropertyW", ReadProperty);
        Replace("SetupDiDestroyDeviceInfoList", +[](HDEVINFO) { return TRUE; });
        Replace(
            "CM_Get_DevNode_Status", +[](ULONG* status, ULONG* problem, DEVINST, ULONG) {
                *status = g_node.status;
                *problem = g_node.problem;
                return g_node.result;
            });
        CreateDirectoryW(FailureNotes, nullptr);
    }
    ~Devices() { RemoveDirectoryW(FailureNotes); }

    /// The notes in the event log since the last call.
    std::vector<wstring> Notes()
    {
        std::vector<wstring> notes;
        for (const WindowsModel::EventRecord& event : std::exchange((*this)->texts.events, {}))
            notes.push_back(event.strings.at(0));
        return notes;
    }
};

using Found = std::pair<int, bool>; // model, enabled

Found Find(ULONG problem = 0)
{
    g_node = {.problem = problem};
    bool enabled = true;
    const int model = FindFPDevice(&enabled);
    return {model, enabled};
}

TEST_CASE("the first sensor is found, and what can't be read is noted and skipped")
{
    const wstring sensor8 = LR"(USB\VID_138A&PID_0008)";
    const wstring sensor10 = LR"(USB\VID_138A&PID_0010)";
    const wchar_t* const driver = L"1 SetupDiGetDeviceRegistryPropertyW 0 ";
    const wchar_t* const ids = L"2 SetupDiGetDeviceRegistryPropertyW 0 ";
    const auto filled = [&](std::size_t units) { return sensor10 + wstring(units - sensor10.size(), L'x'); };
    struct Row {
        const char* what;
        Device device;
        Found found;
        const wchar_t* note = nullptr;
    };
    const Row rows[] = {
        {"product 0008", {sensor8 + wstring(2, L'\0')}, {1, true}},
        {"lower case", {LR"(usb\vid_138a&pid_0010)"}, {2, true}},
        {"another product", {LR"(USB\VID_138A&PID_0011)"}, {0, true}},
        {"another vendor", {LR"(USB\VID_138B&PID_0010)"}, {0, false}},
        {"both at once", {sensor10 + L"&PID_0008"}, {1, true}},
        {"not the first ID", {LR"(USB\COMPOSITE)" + wstring(1, L'\0') + sensor8}, {0, false}},
        {"no driver", {sensor10, std::nullopt}, {0, false}, driver},
        {"over-long driver", {sensor10, wstring(257, L'd')}, {0, false}, driver},
        {"over-long IDs", {filled(257)}, {0, false}, ids},
        {"IDs that fill the buffer", {filled(256)}, {2, true}},
        {"half a unit missing", {sensor10, L"driver", true}, {0, true}},
        {"ends in the driver's text", {sensor10.substr(0, 17), wstring(17, L'd') + L"0010"}, {0, true}},
    };
    for (const Row& row : rows) {
        CAPTURE(row.what);
        Devices devices({row.device});
        CHECK(Find() == row.found);
        std::vector<wstring> notes;
        if (row.note != nullptr)
            notes.push_back(row.note);
        if (row.found.first == 0)
            notes.push_back(L"SetupDiEnumDeviceInfo 1 ");
        CHECK(devices.Notes() == notes);
        CHECK(Find(CM_PROB_DISABLED) == Found{row.found.first, false});
        CHECK(Find(CM_PROB_HARDWARE_DISABLED) == row.found);

        g_devices->push_back({sensor8});
        CHECK(Find() == Found{row.found.first == 0 ? 1 : row.found.first, true});
    }
}

TEST_CASE("without a set of devices there is no sensor")
{
    Devices devices({});
    g_devices.reset();
    CHECK(Find() == Found{0, false});
    CHECK_FALSE(IsFPDeviceEnabled());
    CHECK(devices.Notes() == std::vector<wstring>(2, L"SetupDiGetClassDevs Fail"));
}

TEST_CASE("the vendor's device is enabled when it could be disabled and is not")
{
    const Devices devices({{LR"(usb\vid_138a&pid_0010)"}});
    g_node = {};
    CHECK_FALSE(IsFPDeviceEnabled());
    g_devices->push_back({LR"(USB\VID_138A&PID_0011)"});
    CHECK(IsFPDeviceEnabled());
    g_node.problem = CM_PROB_FAILED_START;
    CHECK(IsFPDeviceEnabled());
    for (const NodeStatus& node :
         {NodeStatus{.problem = CM_PROB_DISABLED}, NodeStatus{.problem = CM_PROB_HARDWARE_DISABLED},
          NodeStatus{.status = DN_STARTED}, NodeStatus{.result = CR_NO_SUCH_DEVNODE}}) {
        g_node = node;
        CHECK_FALSE(IsFPDeviceEnabled());
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
    simulation.Replace("Sleep", +[](DWORD milliseconds) { steps.push_back(std::to_wstring(milliseconds)); });
    simulation.Replace("GetSystemWow64DirectoryW", +[](wchar_t*, UINT) { return UINT(is64Bit); });
    wchar_t program[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, program, MAX_PATH);
    const wstring folder = wstring(program).substr(0, wstring(program).find_last_of(L'\\') + 1);

    for (const bool works : {true, false}) {
        steps.clear();
        toolStarts = is64Bit = works;
        RestartFPDevice();
        const wstring call =
            L"runas|" + folder + (is64Bit ? LR"(..\devcon_x64.exe)" : LR"(..\devcon_x32.exe)");
        CHECK(steps == std::vector<wstring>{call + L"| disable *VID_138A*", L"wait", L"1000",
                                            call + L"| enable *VID_138A*", L"wait", L"2000"});
    }
}

} // namespace
