// The interface's procedures by opnum.
#pragma once

#include <array>
#include <optional>
#include <string_view>

struct Procedure {
    std::wstring_view name;
    bool hasResult;
};

enum Opnum {
    kListEnroll = 2,
    kIdentifyEnroll = 8,
    kIsPbaEnable = 23,
    kProcedureCount = 32,
};

// clang-format off
constexpr std::array<Procedure, kProcedureCount> kProcedures = {{
    /*  0 */ {L"Probe",             true},
    /*  1 */ {L"Opnum1",            true},
    /*  2 */ {L"ListEnroll",        true},
    /*  3 */ {L"EnrollCapture",     true},
    /*  4 */ {L"EnrollCommit",      true},
    /*  5 */ {L"EnrollBegin",       true},
    /*  6 */ {L"EnrollCount",       true},
    /*  7 */ {L"ListUserFinger",    true},
    /*  8 */ {L"IdentifyEnroll",    true},
    /*  9 */ {L"IdleIdentifyEnroll", true},
    /* 10 */ {L"ModifyUserData",    true},
    /* 11 */ {L"DeleteFinger",      true},
    /* 12 */ {L"SetFAP",            true},
    /* 13 */ {L"GetFPVersion",      true},
    /* 14 */ {L"GetAuthUserCreds",  true},
    /* 15 */ {L"IsAdminRegister",   true},
    /* 16 */ {L"IsFAPSet",          true},
    /* 17 */ {L"ResotreUserData",   true},
    /* 18 */ {L"BackupUserData",    true},
    /* 19 */ {L"GetUserData",       true},
    /* 20 */ {L"DeleteUserData",    true},
    /* 21 */ {L"DeleteFAPUserData", true},
    /* 22 */ {L"PbaEnable",         true},
    /* 23 */ {L"IsPbaEnable",       true},
    /* 24 */ {L"Opnum24",           true},
    /* 25 */ {L"Opnum25",           true},
    /* 26 */ {L"Opnum26",           false},
    /* 27 */ {L"Opnum27",           false},
    /* 28 */ {L"Opnum28",           false},
    /* 29 */ {L"Opnum29",           true},
    /* 30 */ {L"CaptureStop",       false},
    /* 31 */ {L"Opnum31",           false},
}};
// clang-format on

constexpr std::optional<int> FindProcedure(std::wstring_view name)
{
    for (int opnum = 0; opnum < kProcedureCount; ++opnum)
        if (kProcedures[opnum].name == name)
            return opnum;
    return std::nullopt;
}

static_assert(FindProcedure(L"ListEnroll") == kListEnroll);
static_assert(FindProcedure(L"IdentifyEnroll") == kIdentifyEnroll);
static_assert(FindProcedure(L"IsPbaEnable") == kIsPbaEnable);
