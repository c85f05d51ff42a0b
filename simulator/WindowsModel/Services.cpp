#include "WindowsModel/Services.h"

#include "WindowsModel/Replacement.h"

namespace WindowsModel {

namespace {

SC_HANDLE Open(State& state, const std::wstring& name, DWORD access)
{
    const HANDLE handle = state.ledger.Open();
    state.services.opens.push_back({name, access, handle});
    return reinterpret_cast<SC_HANDLE>(handle);
}

/// Null when the handle is not open.
const ServiceOpen* FindOpen(const State& state, SC_HANDLE wanted)
{
    const HANDLE handle = reinterpret_cast<HANDLE>(wanted);
    const auto& opens = state.services.opens;
    const auto open = std::find_if(opens.begin(), opens.end(), [&](const ServiceOpen& candidate) {
        return candidate.handle == handle && state.ledger.Holds(handle);
    });
    return open == opens.end() ? nullptr : &*open;
}

SC_HANDLE ModelOpenSCManagerW(const wchar_t* /*machine*/, const wchar_t* /*database*/, DWORD access)
{
    return Open(*ModelState(), L"", access);
}

DWORD OpenNamed(SC_HANDLE manager, const wchar_t* name, DWORD access, SC_HANDLE& service)
{
    const ModelState state;
    const ServiceOpen* const open = FindOpen(*state, manager);
    if (open == nullptr || !open->service.empty())
        return ERROR_INVALID_HANDLE;
    if (state->services.Find(name) == nullptr)
        return ERROR_SERVICE_DOES_NOT_EXIST;
    service = Open(*state, name, access);
    return ERROR_SUCCESS;
}

SC_HANDLE ModelOpenServiceW(SC_HANDLE manager, const wchar_t* name, DWORD access)
{
    SC_HANDLE service = nullptr;
    Answer(OpenNamed(manager, name, access, service));
    return service;
}

DWORD Query(SC_HANDLE handle, SERVICE_STATUS& status)
{
    const ModelState state;
    const ServiceOpen* const open = FindOpen(*state, handle);
    ScriptedService* const service = open == nullptr ? nullptr : state->services.Find(open->service);
    if (service == nullptr)
        return ERROR_INVALID_HANDLE;
    if (!(open->access & (SERVICE_QUERY_STATUS | GENERIC_READ)))
        return ERROR_ACCESS_DENIED;
    const ServiceStep step = service->steps.empty() ? ServiceStep() : service->steps.front();
    if (service->steps.size() > 1)
        service->steps.pop_front();
    if (step.error != ERROR_SUCCESS)
        return step.error;
    status = {};
    status.dwCurrentState = step.state;
    status.dwWaitHint = step.waitHint;
    return ERROR_SUCCESS;
}

BOOL ModelQueryServiceStatus(SC_HANDLE service, SERVICE_STATUS* status)
{
    return Answer(Query(service, *status));
}

BOOL ModelCloseServiceHandle(SC_HANDLE handle)
{
    return Answer(ModelState()->ledger.Close(handle) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE);
}

const Replacement g_replacements[] = {
    SIM_MODELLED(Services, LastError, OpenSCManagerW, ModelOpenSCManagerW),
    SIM_MODELLED(Services, LastError, OpenServiceW, ModelOpenServiceW),
    SIM_MODELLED(Services, LastError, QueryServiceStatus, ModelQueryServiceStatus),
    SIM_MODELLED(Services, LastError, CloseServiceHandle, ModelCloseServiceHandle),
};
const Table g_table(g_replacements);

} // namespace

void ServicesState::Script(const std::wstring& name, std::deque<ServiceStep> steps)
{
    if (ScriptedService* const service = Find(name))
        service->steps = std::move(steps);
    else
        services.push_back({name, std::move(steps)});
}

ScriptedService* ServicesState::Find(const std::wstring& name)
{
    const auto service =
        std::find_if(services.begin(), services.end(),
                     [&](const ScriptedService& candidate) { return SameName(candidate.name, name); });
    return service == services.end() ? nullptr : &*service;
}

} // namespace WindowsModel
