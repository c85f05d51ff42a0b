// Services by script: the states that a service goes through as it is asked.
#pragma once

#include <windows.h>

#include <deque>
#include <string>
#include <vector>

namespace WindowsModel {

struct ServiceStep {
    DWORD state = SERVICE_RUNNING;
    DWORD waitHint = 0;
    /// Other than ERROR_SUCCESS makes the query fail with it.
    DWORD error = ERROR_SUCCESS;
};

struct ScriptedService {
    std::wstring name;
    /// One step for each QueryServiceStatus; the last one stays.
    std::deque<ServiceStep> steps;
};

struct ServiceOpen {
    /// Empty for the service manager itself.
    std::wstring service;
    DWORD access;
    HANDLE handle;
};

struct ServicesState {
    /// A service that is not listed does not exist.
    std::vector<ScriptedService> services;
    /// Every handle opened, in order.
    std::vector<ServiceOpen> opens;

    /// Lists the service, or gives it a new script.
    void Script(const std::wstring& name, std::deque<ServiceStep> steps);
    ScriptedService* Find(const std::wstring& name);
};

} // namespace WindowsModel
