#include "ServiceTiming.h"

#include "ServiceClient/ServiceControl.h"

namespace ServiceTiming {

namespace {

// A service that is there answers at once; one that is not must not hold the logon screen up.
constexpr DWORD g_patienceMs = 100;
constexpr double g_unitsPerMs = 10000.0;

} // namespace

void Write(Transcript& transcript, long long stamp)
{
    const auto calls = ServiceClient::Report(g_patienceMs);
    if (!calls)
        return;
    const ServiceClient::ReportedCall* last = nullptr;
    for (const ServiceClient::ReportedCall& call : *calls) {
        const bool answered = call.answered != 0 && call.answered <= stamp;
        if (answered && call.name == L"IdentifyEnroll" && (last == nullptr || call.answered > last->answered))
            last = &call;
    }
    if (last == nullptr)
        return;
    transcript.Line(L"timing", L"service's answer to CredentialsChanged: %.3f ms",
                    static_cast<double>(stamp - last->answered) / g_unitsPerMs);
}

} // namespace ServiceTiming
