#include "UserRecord.h"

#include "Text.h"

#include <cwchar>

namespace {

template <size_t N>
bool Put(wchar_t (&field)[N], std::wstring_view text)
{
    text.copy(field, N - 1);
    return text.size() < N;
}

// A scripted record is arbitrary bytes: nothing promises that a field is terminated.
template <size_t N>
std::wstring_view Get(const wchar_t (&field)[N])
{
    return {field, wcsnlen(field, N)};
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
    return L"domain=" + Quoted(Get(record.domain)) + L" user=" + Quoted(Get(record.user)) +
           L" password-length=" + std::to_wstring(Get(record.password).size());
}
