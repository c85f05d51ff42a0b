// The DLL's entry point and its exports; everything else is in the libraries that it links.
#include "ClassFactory.h"
#include "Module.h"

BOOL WINAPI DllMain(HINSTANCE hinst, DWORD reason, void* /*reserved*/)
{
    // Has no effect with this runtime, which gives the DLL a TLS directory; Windows then refuses.
    if (reason == DLL_PROCESS_ATTACH)
        DisableThreadLibraryCalls(hinst);
    g_hinst = hinst;
    return TRUE;
}

STDAPI DllCanUnloadNow()
{
    return g_cRef > 0 ? S_FALSE : S_OK;
}

STDAPI DllGetClassObject(REFCLSID rclsid, REFIID riid, void** ppv)
{
    return GetProviderClassObject(rclsid, riid, ppv);
}
