#include "ProviderModule.h"
#include "Names.h"

namespace {

using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
using CanUnloadNow = HRESULT(STDAPICALLTYPE*)();

constexpr DWORD g_pollMs = 5;

template <class Function>
Function Export(HMODULE module, const char* name)
{
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

} // namespace

bool ProviderModule::Load(const std::wstring& path)
{
    wchar_t full[MAX_PATH * 2] = L"";
    if (GetFullPathNameW(path.c_str(), ARRAYSIZE(full), full, nullptr) == 0)
        return false;
    m_path = full;

    // As COM loads a server: the DLL's own folder comes first for what it imports.
    Call call(m_log, Format(L"LoadLibraryExW(%s)", Quoted(m_path).c_str()));
    m_module.Reset(LoadLibraryExW(full, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH));
    const DWORD error = GetLastError();
    call.ReturnedText(m_module ? Format(L"%p", static_cast<void*>(m_module.Get()))
                               : Format(L"null, error %lu", error));
    return IsLoaded();
}

HRESULT ProviderModule::CreateProvider(REFCLSID clsid, ComRef<ICredentialProvider>& provider)
{
    const auto getClassObject = Export<GetClassObject>(m_module.Get(), "DllGetClassObject");
    if (getClassObject == nullptr) {
        m_log.Lines().Line(L"note", L"the DLL does not export DllGetClassObject: it is no COM server");
        return HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND);
    }

    ComRef<IClassFactory> factory;
    Call get(m_log, Format(L"DllGetClassObject(%s, IID_IClassFactory)", GuidText(clsid).c_str()));
    const HRESULT got = get.Returned(
        get.Took(getClassObject(clsid, IID_IClassFactory, reinterpret_cast<void**>(factory.Put()))));
    if (FAILED(got) || !factory)
        return FAILED(got) ? got : E_UNEXPECTED;

    HRESULT created;
    {
        Call create(m_log, L"IClassFactory::CreateInstance(null, IID_ICredentialProvider)");
        created = create.Took(factory.Get()->CreateInstance(nullptr, IID_ICredentialProvider,
                                                            reinterpret_cast<void**>(provider.Put())));
        create.Returned(created);
    }
    LoggedRelease(m_log, L"IClassFactory", factory.Release());
    return FAILED(created) || provider ? created : E_UNEXPECTED;
}

bool ProviderModule::CanUnload()
{
    const auto canUnloadNow = Export<CanUnloadNow>(m_module.Get(), "DllCanUnloadNow");
    if (canUnloadNow == nullptr) {
        m_log.Lines().Line(L"note", L"the DLL does not export DllCanUnloadNow: COM would never unload it");
        return false;
    }
    Call call(m_log, L"DllCanUnloadNow()");
    return call.Returned(call.Took(canUnloadNow())) == S_OK;
}

void ProviderModule::Free()
{
    const HMODULE module = m_module.Release();
    Call call(m_log, Format(L"FreeLibrary(%p)", static_cast<void*>(module)));
    call.ReturnedText(FreeLibrary(module) ? L"TRUE" : L"FALSE");
}

bool ProviderModule::WaitUntilGone(DWORD limitMs)
{
    const double start = m_log.Lines().ElapsedMs();
    const ULONGLONG deadline = GetTickCount64() + limitMs;
    while (GetModuleHandleW(m_path.c_str()) != nullptr) {
        if (GetTickCount64() >= deadline)
            return false;
        Sleep(g_pollMs);
    }
    m_log.Lines().Line(L"unload", L"the DLL has left the process, %.1f ms after FreeLibrary",
                       m_log.Lines().ElapsedMs() - start);
    return true;
}
