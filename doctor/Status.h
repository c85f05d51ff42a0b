// The program's exit statuses: one for each reason why there is no tile.
#pragma once

#include <windows.h>

#include <span>

/// Scripts go by these numbers: none is ever given another meaning.
enum class Status : int {
    Offered = 0,
    Usage = 2,
    ClassMissing = 10,
    ThreadingModel = 11,
    ProviderNotListed = 12,
    ProviderDisabled = 13,
    ProviderExcluded = 14,
    DllMissing = 15,
    DllUnfit = 16,
    NoSensor = 20,
    SensorDisabled = 21,
    LibraryMissing = 22,
    SwitchedOff = 23,
    WrongView = 24,
    LibraryUnfit = 25,
    ExportMissing = 26,
    ServiceUnreachable = 27,
    ServiceRefuses = 28,
    ServiceSilent = 29,
    LibraryDecides = 30,
};

struct StatusInfo {
    Status status;
    const wchar_t* key;
    /// What the provider's creation answers LogonUI; S_OK where it is not what refuses.
    HRESULT result;
    const wchar_t* meaning;
};

/// In the order of the numbers.
std::span<const StatusInfo> AllStatuses();
const StatusInfo& Describe(Status status);
