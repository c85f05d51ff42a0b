#include "Module.h"

#include <cstdlib>
#include <new>

const CLSID CLSID_VexaFPCredentialProvider = {
    0x0ce326a8, 0xc767, 0x433f, {0x82, 0xb9, 0x60, 0x1b, 0x2a, 0x27, 0x32, 0x1e}};

// The C++ runtime's own form throws and catches inside, which needs memory itself: with none left it would
// abort the process instead of returning null.
void* operator new(std::size_t size, const std::nothrow_t& /*tag*/) noexcept
{
    return std::malloc(size);
}

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
