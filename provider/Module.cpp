#include "Module.h"

const CLSID CLSID_VexaFPCredentialProvider = {
    0x0ce326a8, 0xc767, 0x433f, {0x82, 0xb9, 0x60, 0x1b, 0x2a, 0x27, 0x32, 0x1e}};

HINSTANCE g_hinst = nullptr;
LONG g_cRef = 0;
HANDLE g_evnetCreSer = nullptr;

void DllAddRef()
{
    InterlockedIncrement(&g_cRef);
}

void DllRelease()
{
    InterlockedDecrement(&g_cRef);
}

void ReleaseCredentialServiceEvent()
{
    if (g_evnetCreSer == nullptr)
        return;
    SetEvent(g_evnetCreSer);
    CloseHandle(g_evnetCreSer);
    g_evnetCreSer = nullptr;
}
