#include "Provider.h"
#include "Names.h"
#include "Options.h"

namespace {

using GetClassObject = HRESULT(STDAPICALLTYPE*)(REFCLSID, REFIID, void**);
using CanUnloadNow = HRESULT(STDAPICALLTYPE*)();

// The class of the prompt window. It belongs to this program's module, whose windows the provider makes.
constexpr wchar_t WindowClass[] = L"EventWindow";

// How long threads of the provider may take to leave after its last Release.
constexpr DWORD LeaveLimitMs = 10000;
constexpr DWORD PollMs = 5;

template <class Function>
Function Export(HMODULE module, const char* name)
{
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

template <class Condition>
bool WaitUntil(Condition holds)
{
    const ULONGLONG deadline = GetTickCount64() + LeaveLimitMs;
    while (!holds()) {
        if (GetTickCount64() >= deadline)
            return false;
        Sleep(PollMs);
    }
    return true;
}

/// The windows of that class in this process.
DWORD CountWindows()
{
    DWORD count = 0;
    for (HWND window = nullptr; (window = FindWindowExW(nullptr, window, WindowClass, nullptr)) != nullptr;) {
        DWORD process = 0;
        GetWindowThreadProcessId(window, &process);
        count += process == GetCurrentProcessId();
    }
    return count;
}

bool IsClassRegistered()
{
    WNDCLASSEXW windowClass = {};
    windowClass.cbSize = sizeof(windowClass);
    return GetClassInfoExW(GetModuleHandleW(nullptr), WindowClass, &windowClass) != FALSE;
}

} // namespace

bool Provider::Load(const std::wstring& path)
{
    wchar_t full[MAX_PATH * 2] = L"";
    if (GetFullPathNameW(path.c_str(), ARRAYSIZE(full), full, nullptr) == 0)
        return false;
    m_path = full;
    // As COM loads a server: the DLL's own folder comes first for what it imports.
    m_module.Reset(m_log.Call(
        Format(L"LoadLibraryExW(%s)", Quoted(m_path).c_str()),
        [&] { return LoadLibraryExW(full, nullptr, LOAD_WITH_ALTERED_SEARCH_PATH); },
        [](HMODULE module) {
            return module != nullptr ? Format(L"%p", static_cast<void*>(module))
                                     : L"null: " + ErrorText(GetLastError());
        }));
    return IsLoaded();
}

HRESULT Provider::Create(ComRef<ICredentialProvider>& provider)
{
    const auto getClassObject = Export<GetClassObject>(m_module.Get(), "DllGetClassObject");
    if (getClassObject == nullptr) {
        m_log.Line(L"note", L"the DLL does not export DllGetClassObject: it is no COM server");
        return HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND);
    }
    ComRef<IClassFactory> factory;
    const HRESULT got =
        m_log.Ask(Format(L"DllGetClassObject(%s, IID_IClassFactory)", GuidText(ProviderClass).c_str()), [&] {
            return getClassObject(ProviderClass, IID_IClassFactory, reinterpret_cast<void**>(factory.Put()));
        });
    if (FAILED(got) || !factory)
        return FAILED(got) ? got : E_UNEXPECTED;
    const HRESULT created = m_log.Ask(L"IClassFactory::CreateInstance(null, IID_ICredentialProvider)", [&] {
        return factory.Get()->CreateInstance(nullptr, IID_ICredentialProvider,
                                             reinterpret_cast<void**>(provider.Put()));
    });
    m_log.Release(L"IClassFactory", factory.Release());
    return FAILED(created) || provider ? created : E_UNEXPECTED;
}

bool Provider::Unload()
{
    const auto canUnloadNow = Export<CanUnloadNow>(m_module.Get(), "DllCanUnloadNow");
    // COM would not unload it either, and the next life finds it as it is.
    if (canUnloadNow == nullptr || m_log.Ask(L"DllCanUnloadNow()", canUnloadNow) != S_OK) {
        m_log.LeftBehind(canUnloadNow == nullptr
                             ? L"the DLL does not export DllCanUnloadNow: COM would never unload it"
                             : L"the DLL still counts something in use: it is not unloaded");
        return false;
    }
    const HMODULE module = m_module.Release();
    m_log.Call(
        Format(L"FreeLibrary(%p)", static_cast<void*>(module)), [&] { return FreeLibrary(module); },
        [](BOOL freed) { return std::wstring(freed ? L"TRUE" : L"FALSE"); });
    const double start = m_log.ElapsedMs();
    if (!WaitUntil([&] { return GetModuleHandleW(m_path.c_str()) == nullptr; })) {
        m_log.LeftBehind(L"the DLL is still in the process");
        return false;
    }
    m_log.Line(L"unload", L"the DLL has left the process, %.1f ms after FreeLibrary",
               m_log.ElapsedMs() - start);
    return true;
}

void Provider::CheckWindows()
{
    // The window thread may still be on its way out; that is no fault as long as it gets there.
    const double start = m_log.ElapsedMs();
    if (WaitUntil([] { return CountWindows() == 0 && !IsClassRegistered(); })) {
        m_log.Line(L"unload", L"no window of the provider is left, %.1f ms later", m_log.ElapsedMs() - start);
        return;
    }
    if (const DWORD windows = CountWindows())
        m_log.LeftBehind(Format(L"%lu windows of class \"%s\" outlive the provider", windows, WindowClass));
    if (IsClassRegistered())
        m_log.LeftBehind(Format(L"the window class \"%s\" is still registered", WindowClass));
}
