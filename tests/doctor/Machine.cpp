#include "Machine.h"

ServiceClient::ServiceProcess g_service;

fs::path OwnFolder()
{
    wchar_t path[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return fs::path(path).parent_path();
}

void SetText(const wchar_t* key, const wchar_t* value, const std::wstring& text)
{
    REQUIRE(RegSetKeyValueW(HKEY_LOCAL_MACHINE, key, value, REG_SZ, text.c_str(),
                            DWORD((text.size() + 1) * sizeof(wchar_t))) == ERROR_SUCCESS);
}

void SetNumber(const wchar_t* key, const wchar_t* value, DWORD number)
{
    REQUIRE(RegSetKeyValueW(HKEY_LOCAL_MACHINE, key, value, REG_DWORD, &number, sizeof number) ==
            ERROR_SUCCESS);
}

void UnloadLibrary()
{
    while (const HMODULE library = GetModuleHandleW(L"vcsWavePba.dll"))
        FreeLibrary(library);
}

void AnswerFromService(const wchar_t* command)
{
    REQUIRE((g_service.IsRunning() || g_service.Start()));
    REQUIRE(ServiceClient::TellOk(command));
}

Machine::Machine()
    : simulation(Group::Clock | Group::Devices | Group::Failures | Group::Services | Group::Texts)
{
    Clear();
    REQUIRE(fit.emplace().IsFit());
    SetText(ServerKey, nullptr, (OwnFolder() / "VexaFPCredentialProvider.dll").wstring());
    SetText(ServerKey, L"ThreadingModel", L"Apartment");
    SetText(ListKey, nullptr, L"FingerPrint");
    fs::create_directory(TextLog);
    fs::create_directory(EventLog);
    simulation->clock.sleepScale = 0.01;
    simulation->services.Script(L"vcsFPService", {{SERVICE_RUNNING, 0}});
    simulation->services.Script(L"VexaFPService", {{SERVICE_RUNNING, 0}});
}

Machine::~Machine()
{
    Clear();
    if (g_service.IsRunning())
        ServiceClient::TellOk(L"reset");
}

void Machine::Clear()
{
    UnloadLibrary();
    FitMachine::RemovePreBootLibrary();
    // Also the sensor that a run of the logon leaves plugged in.
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, LR"(System\CurrentControlSet\Enum\USB\VID_138A&PID_0010)");
    for (const wchar_t* key : {ClassKey, ListKey, FilterKey})
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, key);
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, ProductKey, L"Enable");
    for (const wchar_t* key : {SystemPolicy, GroupPolicy})
        RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, key, L"ExcludedCredentialProviders");
    std::error_code error;
    for (const wchar_t* path : {TextLog, EventLog, LR"(C:\Users\Public\VEXA\FingerPrint\config.ini)"})
        fs::remove_all(path, error);
}
