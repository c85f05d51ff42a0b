// A machine that the doctor and the creation gate look at, in this process.
#pragma once

#include "Doctor.h"
#include "FitMachine/Fitness.h"
#include "ServiceClient/ServiceControl.h"
#include "ServiceClient/ServiceProcess.h"
#include "unit/base/Simulation.h"

#include <filesystem>

namespace fs = std::filesystem;

#define CLASS_ID L"{0CE326A8-C767-433F-82B9-601B2A27321E}"
#define AUTHENTICATION LR"(SOFTWARE\Microsoft\Windows\CurrentVersion\Authentication\)"
inline constexpr wchar_t ProductKey[] = LR"(SOFTWARE\VEXA\FingerPrint)";
inline constexpr wchar_t ClassKey[] = LR"(SOFTWARE\Classes\CLSID\)" CLASS_ID;
inline constexpr wchar_t ServerKey[] = LR"(SOFTWARE\Classes\CLSID\)" CLASS_ID LR"(\InprocServer32)";
inline constexpr wchar_t ListKey[] = AUTHENTICATION LR"(Credential Providers\)" CLASS_ID;
inline constexpr wchar_t FilterKey[] = AUTHENTICATION L"Credential Provider Filters";
inline constexpr wchar_t SystemPolicy[] = LR"(SOFTWARE\Microsoft\Windows\CurrentVersion\Policies\System)";
inline constexpr wchar_t GroupPolicy[] = LR"(SOFTWARE\Policies\Microsoft\Windows\System)";
inline constexpr wchar_t TextLog[] = L"C:\\CPLog";
inline constexpr wchar_t EventLog[] = L"c:\\FPLog";

fs::path OwnFolder();
void SetText(const wchar_t* key, const wchar_t* value, const std::wstring& text);
void SetNumber(const wchar_t* key, const wchar_t* value, DWORD number);
/// The gate never frees the library, and while it is loaded another can't take its place.
void UnloadLibrary();

extern ServiceClient::ServiceProcess g_service;
/// Starts the service where none runs.
void AnswerFromService(const wchar_t* command);

/// A registered provider on a fit machine whose logs are switched on.
struct Machine {
    Machine();
    ~Machine();
    static void Clear();

    Simulation simulation;
    std::optional<FitMachine::Scope> fit;
};
