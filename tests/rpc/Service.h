// The tests' other side: the simulated service as a child process, started when a test finds none.
#pragma once

#include "Binding.h"
#include "FPStub.h"
#include "Filter.h"
#include "RPCAPI.h"
#include "ServiceClient/ServiceControl.h"
#include "ServiceClient/ServiceProcess.h"

#include <doctest/doctest.h>

ServiceClient::ServiceProcess& ServiceProcess();

/// A service with its defaults that has received no call, and a binding to it.
struct BoundService {
    BoundService();
    ~BoundService() { UnbindFPService(); }
    BoundService(const BoundService&) = delete;
    BoundService& operator=(const BoundService&) = delete;
};

/// Calls under a filter; see CallUnderFilter.
template <class Call>
Raised RaisedBy(Call call, BOOL goOn = FALSE, long* result = nullptr)
{
    Raised raised{};
    const auto invoke = [](void* context) -> long { return (*static_cast<Call*>(context))(); };
    const long value = CallUnderFilter(invoke, &call, goOn, &raised);
    if (result != nullptr)
        *result = value;
    return raised;
}
