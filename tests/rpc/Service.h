// The tests' other side: the simulated service as a child process, started when a test finds none.
#pragma once

#include "Binding.h"
#include "FPStub.h"
#include "RPCAPI.h"
#include "ServiceClient/ServiceControl.h"
#include "ServiceClient/ServiceProcess.h"

#include <doctest/doctest.h>

inline ServiceClient::ServiceProcess g_service;

/// A service with its defaults that has received no call, and a binding to it.
inline void BindFreshService()
{
    REQUIRE((g_service.IsRunning() || g_service.Start()));
    REQUIRE(ConnectFPService() == 1);
    REQUIRE(ServiceClient::TellOk(L"reset"));
    REQUIRE(ServiceClient::TellOk(L"clear"));
}
