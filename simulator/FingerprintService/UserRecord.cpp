#include "UserRecord.h"

#include "ServiceClient/Rendering.h"

#include <algorithm>

namespace {

template <size_t N>
bool Put(wchar_t (&field)[N], std::wstring_view text)
{
    if (text.size() >= N)
        return false;
    std::copy(text.begin(), text.end(), field);
    return true;
}

// A scripted record is arbitrary bytes: nothing promises that a field is terminated.
template <size_t N>
std::wstring_view Get(const wchar_t (&field)[N])
{
    return std::wstring_view(field, std::find(field, field + N, L'\0') - field);
}

} // namespace

std::optional<UserRecord> MakeRecord(std::wstring_view domain, std::wstring_view user,
                                     std::wstring_view password)
{
    UserRecord record = {};
    if (!Put(record.user, user) || !Put(record.password, password) || !Put(record.domain, domain))
        return std::nullopt;
    return record;
}

std::wstring Describe(const UserRecord& record)
{
    return L"domain=" + ServiceClient::QuotedText(Get(record.domain)) + L" user=" +
           ServiceClient::QuotedText(Get(record.user)) + L" password-length=" +
           std::to_wstring(Get(record.password).size());
}
