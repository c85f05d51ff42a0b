#include "Outputs.h"

#include <numeric>

namespace outputs {
namespace {

/// For texts that are known to fit.
UserRecord Fitting(std::wstring_view domain, std::wstring_view user, std::wstring_view password)
{
    return MakeRecord(domain, user, password).value_or(UserRecord{});
}

} // namespace

std::array<BYTE, 10> Fingers()
{
    std::array<BYTE, 10> bytes;
    std::iota(bytes.begin(), bytes.end(), BYTE{0xF0});
    return bytes;
}

std::array<BYTE, 16> Backup()
{
    std::array<BYTE, 16> bytes;
    std::iota(bytes.begin(), bytes.end(), BYTE{0xB0});
    return bytes;
}

UserRecord EnrolledUser()
{
    return Fitting(L"DOMAIN", L"enrolled-user", L"enrolled-password");
}

UserRecord IdleUser()
{
    return Fitting(L"IDLE-DOMAIN", L"idle-user", L"idle-password");
}

UserRecord AuthenticatedUser()
{
    return Fitting(L"AUTH-DOMAIN", L"auth-user", L"auth-password");
}

UserRecord UserData(std::wstring_view first, std::wstring_view second)
{
    constexpr UserRecord kSizes = {};
    return Fitting(second.substr(0, std::size(kSizes.domain) - 1),
                   first.substr(0, std::size(kSizes.user) - 1), L"user-data");
}

} // namespace outputs
