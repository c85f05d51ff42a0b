#include "Outputs.h"

#include <numeric>

namespace outputs {

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

UserRecord IdleUser()
{
    return *MakeRecord(L"IDLE-DOMAIN", L"idle-user", L"idle-password");
}

UserRecord AuthenticatedUser()
{
    return *MakeRecord(L"AUTH-DOMAIN", L"auth-user", L"auth-password");
}

UserRecord UserData(std::wstring_view first, std::wstring_view second)
{
    constexpr UserRecord kSizes = {};
    return *MakeRecord(second.substr(0, std::size(kSizes.domain) - 1),
                       first.substr(0, std::size(kSizes.user) - 1), L"user-data");
}

} // namespace outputs
