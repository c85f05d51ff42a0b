#include "Service.h"

#include "Handle.h"

namespace {

/// Waits as long as the service itself proposed, then asks again.
bool QueryAfterWaitHint(const ServiceHandle& service, SERVICE_STATUS& status)
{
    Sleep(status.dwWaitHint);
    return QueryServiceStatus(service.Get(), &status) != FALSE;
}

} // namespace

int IsServiceRunning(const wchar_t* serviceName, bool (*goOn)(const void* context), const void* context)
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
    do {
        if (goOn != nullptr && !goOn(context))
            return 0;
        if (!QueryAfterWaitHint(service, status))
            return 0;
    } while (status.dwCurrentState != SERVICE_RUNNING && status.dwCurrentState != SERVICE_STOPPED);
    return status.dwCurrentState == SERVICE_RUNNING ? 1 : 0;
}
