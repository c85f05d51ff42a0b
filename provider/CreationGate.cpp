#include "CreationGate.h"

#include "Device.h"
#include "EventLog.h"
#include "Events.h"
#include "LogFile.h"
#include "Module.h"
#include "PreBootCheck.h"
#include "Registry.h"

#include <shlwapi.h>

namespace {

constexpr char LogSource[] = "VexaFPProvider.cpp";
constexpr char Label[] = "CSample_CreateInstance";

constexpr wchar_t PreBootLibraryPath[] = LR"(c:\windows\system32\vcsWavePba.dll)";

/// Is a sensor there, and `*enabled`? One that comes up late is waited for.
bool FindDevice(bool* enabled)
{
    constexpr int retryLimit = 3;
    constexpr DWORD pause = 2000; // ms
    int retries = 0;
    while (FindFPDevice(enabled) == 0) {
        Sleep(pause);
        ++retries;
        FP_LOG(Label, L" GetDeviceVersion retry %d times", retries);
        if (retries == retryLimit)
            return false;
    }
    return true;
}

bool IsSwitchedOn()
{
    if (PathFileExistsW(PreBootLibraryPath) && GetFPEnable())
        return true;
    OutputDebugStringA("CSample_CreateInstance 000");
    ReportFPEvent(L"CSample_CreateInstance 000");
    FP_LOG(Label, L" CSample_CreateInstance 000");
    return false;
}

bool PassPreBootCheck()
{
    constexpr int attempts = 3;
    for (int attempt = 1; attempt <= attempts; ++attempt) {
        if (CheckPBA()) {
            ReportFPEvent(L"CSample_CreateInstance CheckPBA pass");
            FP_LOG(Label, L"CSample_CreateInstance CheckPBA pass");
            return true;
        }
        ReportFPEvent(L"CSample_CreateInstance CheckPBA fail");
        FP_LOG(Label, L"CSample_CreateInstance CheckPBA fail %d times", attempt);
    }
    return false;
}

HRESULT Check()
{
    bool enabled = false;
    if (!FindDevice(&enabled))
        return E_OUTOFMEMORY;
    if (!enabled)
        return E_NOTIMPL;
    return IsSwitchedOn() && PassPreBootCheck() ? S_OK : E_OUTOFMEMORY;
}

} // namespace

HRESULT PassCreationGate()
{
    g_Log.SetLogDir("C:\\CPLog");
    FP_LOG(Label, L"start");
    if (g_evnetCreSer == nullptr)
        g_evnetCreSer = createCredetialSeviceEvent();
    FP_LOG(Label, L" after  createCredetialSeviceEvent");
    const HRESULT result = Check();
    if (FAILED(result))
        ReleaseCredentialServiceEvent();
    return result;
}
