#include "Service.h"

ServiceClient::ServiceProcess& ServiceProcess()
{
    static ServiceClient::ServiceProcess process;
    return process;
}

BoundService::BoundService()
{
    if (!ServiceProcess().IsRunning())
        REQUIRE(ServiceProcess().Start());
    REQUIRE(ConnectFPService() == 1);
    REQUIRE(ServiceClient::TellOk(L"reset"));
    REQUIRE(ServiceClient::TellOk(L"clear"));
}
