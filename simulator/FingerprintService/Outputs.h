// What the procedures hand out besides their result: fixed data that a client can tell from anything that it
// sent itself. Everything else about a procedure is in its result, its report line, or both.
//
//  opnum  procedure           out-parameters
//  2      ListEnroll          value + 100; without a buffer the count becomes the number enrolled; with a
//                             buffer the records that fit, and the count becomes theirs: what goes back over
//                             the wire is as long as the count says and must not exceed what the client sent
//  3, 6   EnrollCapture, EnrollCount   the value + 100
//  7      ListUserFinger      the bytes F0 F1 .. F9
//  8      IdentifyEnroll      as scripted; all zero with any result but 0
//  9      IdleIdentifyEnroll  domain IDLE-DOMAIN, user idle-user, password idle-password
//  10     ModifyUserData      every byte of the record inverted; a null record stays null
//  13     GetFPVersion        "VexaFP simulator 1.0", rest zero
//  14     GetAuthUserCreds    domain AUTH-DOMAIN, user auth-user, password auth-password
//  17     ResotreUserData     nothing; its bytes are kept for BackupUserData
//  18     BackupUserData      the bytes kept, at first B0 B1 .. BF; without a buffer the count becomes their
//                             number, with one the number that fits
//  19     GetUserData         the strings it was given, cut to their fields: the first as user, the second as
//                             domain; password user-data
#pragma once

#include "UserRecord.h"

#include <array>

namespace outputs {

constexpr long kStep = 100;
constexpr wchar_t kVersion[] = L"VexaFP simulator 1.0";

std::array<BYTE, 10> Fingers();
std::array<BYTE, 16> Backup();
UserRecord EnrolledUser(); ///< the one account enrolled by default
UserRecord IdleUser();
UserRecord AuthenticatedUser();
UserRecord UserData(std::wstring_view first, std::wstring_view second);

} // namespace outputs
