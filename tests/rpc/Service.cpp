#include "Service.h"

control::ServiceProcess& ServiceProcess()
{
    static control::ServiceProcess process;
    return process;
}

BoundService::BoundService()
{
    if (!ServiceProcess().IsRunning())
        REQUIRE(ServiceProcess().Start());
    REQUIRE(ConnectFPService() == 1);
    REQUIRE(control::TellOk(L"reset"));
    REQUIRE(control::TellOk(L"clear"));
}
