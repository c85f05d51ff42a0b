// The conditions for a tile, in the order in which LogonUI, the creation gate and the workers meet them. None
// of the checks changes anything.
#pragma once

#include "Finding.h"
#include "ServiceAnswer.h"

#include <optional>
#include <span>

struct Choices {
    /// The pre-boot library's code may be run to hear whether pre-boot authentication is enabled.
    bool askLibrary = false;
    /// How long the fingerprint service or the library may take to answer.
    DWORD patience = 5000; // ms
};

/// What earlier checks leave for later ones.
struct Examination {
    const Choices& choices;
    /// The registered DLL; empty without one.
    std::wstring dll;
    /// The creation gate would find the library and bind its functions.
    bool libraryFit = false;
    /// The next creation asks the library before it asks the service.
    bool libraryAsked = true;

    /// Asked once, by the first check that needs it.
    const ServiceAnswer& Service();

private:
    std::optional<ServiceAnswer> m_service;

public:
    explicit Examination(const Choices& chosen) : choices(chosen) {}
};

struct Check {
    /// Scripts know the check by it.
    const wchar_t* key;
    const wchar_t* title;
    Finding (*look)(Examination&);
};

std::span<const Check> AllChecks();

// RegistrationChecks.cpp
Finding CheckClass(Examination& examination);
Finding CheckThreadingModel(Examination& examination);
Finding CheckProviderList(Examination& examination);
Finding CheckPolicy(Examination& examination);
Finding CheckDll(Examination& examination);

// SensorCheck.cpp
Finding CheckSensor(Examination& examination);

// PreBootChecks.cpp
Finding CheckLibraryFile(Examination& examination);
Finding CheckLibraryExports(Examination& examination);
Finding CheckStep1Event(Examination& examination);
Finding CheckPreBoot(Examination& examination);

// SettingsChecks.cpp
Finding CheckEnable(Examination& examination);
Finding CheckLockOut(Examination& examination);
Finding CheckLogFolders(Examination& examination);

// ServiceChecks.cpp
Finding CheckSensorService(Examination& examination);
Finding CheckFingerprintService(Examination& examination);
Finding CheckEndpoint(Examination& examination);
Finding CheckEnrolment(Examination& examination);
