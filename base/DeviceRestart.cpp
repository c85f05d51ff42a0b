// Apart from the search for the sensor, so that a module that only searches does not import the shell.
#include "Device.h"

#include "Handle.h"

#include <shellapi.h>

#include <cwchar>
#include <iterator>

namespace {

constexpr wchar_t Tool64[] = LR"(..\devcon_x64.exe)";
constexpr wchar_t Tool32[] = LR"(..\devcon_x32.exe)";

void RunDeviceTool(const wchar_t* tool, const wchar_t* arguments)
{
    SHELLEXECUTEINFOW execution{};
    execution.cbSize = sizeof execution;
    execution.fMask = SEE_MASK_NOCLOSEPROCESS;
    execution.lpVerb = L"runas";
    execution.lpFile = tool;
    execution.lpParameters = arguments;
    execution.nShow = SW_HIDE;
    ShellExecuteExW(&execution);

    // Without a process, because the user declined for example, the wait fails at once.
    const KernelHandle process(execution.hProcess);
    WaitForSingleObject(process.Get(), INFINITE);
    // Deliberate: the tool's verdict changes nothing, the device is enabled even if it was not disabled.
    DWORD exitCode = 0;
    GetExitCodeProcess(process.Get(), &exitCode);
}

} // namespace

void RestartFPDevice()
{
    wchar_t tool[MAX_PATH + std::size(Tool64)] = {};
    GetModuleFileNameW(nullptr, tool, MAX_PATH);
    wchar_t* const lastBackslash = std::wcsrchr(tool, L'\\');
    wchar_t folder[MAX_PATH];
    // Only 64-bit Windows has a folder for its 32-bit half.
    const bool is64Bit = GetSystemWow64DirectoryW(folder, MAX_PATH) != 0;
    std::wcscpy(lastBackslash != nullptr ? lastBackslash + 1 : tool, is64Bit ? Tool64 : Tool32);

    // The blank in front belongs to the command line that the tool is used to.
    RunDeviceTool(tool, L" disable *VID_138A*");
    Sleep(1000);
    RunDeviceTool(tool, L" enable *VID_138A*");
    Sleep(2000);
}
