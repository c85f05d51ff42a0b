// One life of the provider in the DLL that ships, from its load to its unload, under whatever is made to
// fail. The fingerprint service is running.
#pragma once

#include "WindowsModel/SimulatedWindows.h"

#include <credentialprovider.h>

#include <optional>
#include <string>
#include <vector>

constexpr wchar_t Password[] = L"Planted-Secret-31";
constexpr wchar_t WrongPassword[] = L"Planted-Error-47";

struct Kind {
    std::string name;
    CREDENTIAL_PROVIDER_USAGE_SCENARIO scenario = CPUS_LOGON;
    /// Passwords on the fingers that are placed, in order.
    std::vector<std::wstring> fingers = {};
    /// The user was authenticated before boot.
    bool preBoot = false;
    /// The creation gate lets nobody in.
    bool refused = false;
    /// The provider is released after so many milliseconds, whatever it has come to.
    std::optional<DWORD> releaseAfter = {};
    /// What the service is told before the fingers.
    std::vector<std::wstring> script = {};
};

struct Fault {
    std::string function;
    /// Which call of it fails.
    unsigned call = 0;
};

/// Leads a life. Empty when all that must hold of it held; else what did not. A life without a fault has to
/// log on, unless its kind says otherwise.
std::string Lead(const Kind& kind, const std::optional<Fault>& fault = {});

/// Lives begun so far, by whatever thread; none takes longer than the limit.
long LivesLed();
constexpr DWORD HangLimit = 120000; // ms

inline WindowsModel::SimulatedWindows& Windows()
{
    return WindowsModel::SimulatedWindows::Instance();
}
