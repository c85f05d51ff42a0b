// The interface's procedures by opnum.
#pragma once

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

constexpr int ProcedureCount = 32;

// clang-format off
constexpr std::array<std::wstring_view, ProcedureCount> ProcedureNames = {
    /*  0 */ L"Probe",            L"Opnum1",             L"ListEnroll",     L"EnrollCapture",
    /*  4 */ L"EnrollCommit",     L"EnrollBegin",        L"EnrollCount",    L"ListUserFinger",
    /*  8 */ L"IdentifyEnroll",   L"IdleIdentifyEnroll", L"ModifyUserData", L"DeleteFinger",
    /* 12 */ L"SetFAP",           L"GetFPVersion",       L"GetAuthUserCreds", L"IsAdminRegister",
    /* 16 */ L"IsFAPSet",         L"ResotreUserData",    L"BackupUserData", L"GetUserData",
    /* 20 */ L"DeleteUserData",   L"DeleteFAPUserData",  L"PbaEnable",      L"IsPbaEnable",
    /* 24 */ L"Opnum24",          L"Opnum25",            L"Opnum26",        L"Opnum27",
    /* 28 */ L"Opnum28",          L"Opnum29",            L"CaptureStop",    L"Opnum31",
};
// clang-format on

constexpr std::optional<int> FindProcedure(std::wstring_view name)
{
    const auto* const found = std::ranges::find(ProcedureNames, name);
    if (found == ProcedureNames.end())
        return std::nullopt;
    return static_cast<int>(found - ProcedureNames.begin());
}

constexpr bool HasResult(int opnum)
{
    return opnum != 26 && opnum != 27 && opnum != 28 && opnum != 30 && opnum != 31;
}
