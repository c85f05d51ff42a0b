#include "Service.h"

#include "Handle.h"

int IsServiceRunning(const wchar_t* serviceName, bool (*goOn)(void* context), void* context)
{
    const ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, GENERIC_READ));
    if (!manager)
        return 0;
    const ServiceHandle service(OpenServiceW(manager.Get(), serviceName, SERVICE_QUERY_STATUS));
    if (!service)
        return 0;

    SERVICE_STATUS status{};
    if (!QueryServiceStatus(service.Get(), &status))
        return 0;
    // A settled service is asked twice too: the first answer's hint (usually 0) is always waited for.
    Sleep(status.dwWaitHint);
    while (QueryServiceStatus(service.Get(), &status)) {
        if (status.dwCurrentState == SERVICE_RUNNING)
            return 1;
        if (status.dwCurrentState == SERVICE_STOPPED || (goOn != nullptr && !goOn(context)))
            return 0;
        // A paused service hints at nothing: without a pause this would keep a processor busy.
        constexpr DWORD pause = 100; // ms
        Sleep(status.dwWaitHint != 0 ? status.dwWaitHint : pause);
    }
    return 0;
}
