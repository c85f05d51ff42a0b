#include "Service.h"
#include "Text.h"

#include <algorithm>
#include <array>
#include <climits>
#include <set>
#include <vector>

namespace {

using ServiceClient::BytesText;
using ServiceClient::QuotedText;
using Record = std::array<byte, 386>;
using Bytes = std::vector<byte>;

/// A different answer for each procedure, from both ends of the range.
constexpr long ResultOf(int opnum)
{
    return opnum % 2 != 0 ? LONG_MIN + opnum : LONG_MAX - opnum;
}

std::string Line(int opnum, const std::wstring& arguments, const std::wstring& result)
{
    return ToUtf8(std::to_wstring(opnum) + L"(" + arguments + L") = " + result);
}

/// Calls, and what the service has to report of them.
struct Conversation : BoundService {
    std::vector<std::string> expected;

    Conversation()
    {
        for (int opnum = 0; opnum < 32;
             ++opnum) // refused for those whose result is scripted otherwise or missing
            ServiceClient::Tell(L"result " + std::to_wstring(opnum) + L" " +
                                std::to_wstring(ResultOf(opnum)));
    }
    void Answered(int opnum, const std::wstring& arguments, long result, long wanted)
    {
        CAPTURE(opnum);
        CHECK(result == wanted);
        expected.push_back(Line(opnum, arguments, std::to_wstring(wanted)));
    }
    void Answered(int opnum, const std::wstring& arguments, long result)
    {
        Answered(opnum, arguments, result, ResultOf(opnum));
    }
    void Returned(int opnum, const std::wstring& arguments)
    {
        expected.push_back(Line(opnum, arguments, L"void"));
    }
};

/// Bytes that betray a shift.
Bytes Noise(size_t count, unsigned seed)
{
    Bytes bytes(count);
    bytes.reserve(1); // not null even for none
    for (byte& b : bytes)
        b = static_cast<byte>((seed = seed * 1103515245 + 12345) >> 16);
    return bytes;
}

Record NoiseRecord(unsigned seed)
{
    Record record;
    std::ranges::copy(Noise(record.size(), seed), record.begin());
    return record;
}

Record MakeRecord(std::wstring_view user, std::wstring_view password, std::wstring_view domain)
{
    Record record{};
    std::ranges::copy(user, reinterpret_cast<wchar_t*>(record.data()));
    std::ranges::copy(password, reinterpret_cast<wchar_t*>(record.data() + 132));
    std::ranges::copy(domain, reinterpret_cast<wchar_t*>(record.data() + 320));
    return record;
}

std::wstring Number(const wchar_t* name, long value)
{
    return std::wstring(name) + L"=" + std::to_wstring(value);
}

std::wstring TwoTexts(const wchar_t* first, const wchar_t* second)
{
    return L"first=" + QuotedText(first) + L", second=" + QuotedText(second);
}

std::wstring Sent(const wchar_t* name, const Bytes& bytes)
{
    return std::wstring(name) + L"=" + BytesText(bytes.data(), bytes.size());
}

void TalkOfNumbers(Conversation& service)
{
    service.Answered(0, L"", CallStub(Stub_Probe));
    service.Answered(1, L"", CallStub(Stub_Opnum1));
    service.Answered(5, L"", RPCAPI::EnrollBegin());
    service.Answered(15, L"", RPCAPI::IsAdminRegister());
    service.Answered(23, L"", RPCAPI::IsPbaEnable());
    service.Answered(24, L"", CallStub(Stub_Opnum24));
    service.Answered(25, L"", CallStub(Stub_Opnum25));
    CallStub(Stub_Opnum26);
    service.Returned(26, L"");
    RPCAPI::CaptureStop();
    service.Returned(30, L"");
    for (const long value : {LONG_MIN, -1L, LONG_MAX - 100}) {
        long inOut = value;
        service.Answered(3, Number(L"value", value), RPCAPI::EnrollCapture(&inOut));
        CHECK(inOut == value + 100);
        inOut = value;
        service.Answered(6, Number(L"count", value), RPCAPI::EnrollCount(&inOut));
        CHECK(inOut == value + 100);
    }
    for (const int value : {0, 255}) {
        service.Answered(22, Number(L"enable", value), RPCAPI::PbaEnable(value));
        CallStub(Stub_Opnum28, static_cast<unsigned char>(value));
        service.Returned(28, Number(L"value", value));
    }
    for (const signed char value : {-128, -1, 127}) {
        CallStub(Stub_Opnum31, value);
        service.Returned(31, Number(L"value", value));
    }
}

void TalkOfTexts(Conversation& service)
{
    const std::wstring endless(3000, L'\u4E2D');
    const wchar_t* const texts[] = {L"", L"\u00C4nna \u0416 \u0645\u0631\u062D \U0001F590 \xD800 \"\\\t",
                                    endless.c_str()};
    const char* const narrowTexts[] = {nullptr, "", "\x80-\xFF"};
    for (size_t i = 0; i < std::size(texts); ++i) {
        const wchar_t* const first = texts[i];
        const wchar_t* const second = texts[(i + 1) % std::size(texts)];
        const std::wstring two = TwoTexts(first, second);
        const std::wstring name = L"name=" + QuotedText(first);
        const unsigned char number = static_cast<unsigned char>(255 * i);
        Bytes fingers(11);
        service.Answered(7, two, RPCAPI::ListUserFinger(first, second, fingers.data()));
        CHECK(fingers == Bytes{0xF0, 0xF1, 0xF2, 0xF3, 0xF4, 0xF5, 0xF6, 0xF7, 0xF8, 0xF9, 0});
        service.Answered(11, two + Number(L", finger", number), RPCAPI::DeleteFinger(first, second, number));
        const char* const a = narrowTexts[i];
        const char* const b = narrowTexts[(i + 1) % std::size(narrowTexts)];
        service.Answered(
            12, L"first=" + QuotedText(a) + L", second=" + QuotedText(b) + L", third=" + QuotedText(first),
            RPCAPI::SetFAP(reinterpret_cast<const unsigned char*>(a),
                           reinterpret_cast<const unsigned char*>(b), first));
        service.Answered(16, name, RPCAPI::IsFAPSet(first));
        service.Answered(20, two, RPCAPI::DeleteUserData(first, second));
        service.Answered(21, name + Number(L", flag", number), RPCAPI::DeleteFAPUserData(first, number));
        CallStub(Stub_Opnum27, first);
        service.Returned(27, L"text=" + QuotedText(first));
        service.Answered(29, L"text=" + QuotedText(first), CallStub(Stub_Opnum29, first));
    }
    service.Answered(21, L"name=\"\", flag=-2147483648", CallStub(Stub_DeleteFAPUserData, L"", LONG_MIN));
    std::wstring version(81, L'?');
    service.Answered(13, L"", RPCAPI::GetFPVersion(version.data()));
    CHECK((version == L"VexaFP simulator 1.0" + std::wstring(60, L'\0') + L'?'));
}

void TalkOfRecords(Conversation& service)
{
    std::wstring hex;
    for (const byte b : NoiseRecord(1)) {
        hex += L"0123456789abcdef"[b >> 4];
        hex += L"0123456789abcdef"[b & 15];
    }
    const struct {
        std::wstring script;
        long result;
        Record record;
    } identifications[] = {
        {L"place DOMAIN \u00C4nna \"\"", 0, MakeRecord(L"\u00C4nna", L"", L"DOMAIN")},
        {L"record " + hex, 0, NoiseRecord(1)},
        {L"busy 1", 501, {}},
        {L"error -2147483648", LONG_MIN, {}},
    };
    Record record = NoiseRecord(2);
    for (const auto& [script, result, expected] : identifications) {
        REQUIRE(ServiceClient::TellOk(script));
        service.Answered(8, L"", RPCAPI::IdentifyEnroll(record.data()), result);
        CHECK(record == expected);
    }
    service.Answered(9, L"", RPCAPI::IdleIdentifyEnroll(record.data()));
    CHECK(record == MakeRecord(L"idle-user", L"idle-password", L"IDLE-DOMAIN"));
    service.Answered(14, L"", RPCAPI::GetAuthUserCreds(record.data()));
    CHECK(record == MakeRecord(L"auth-user", L"auth-password", L"AUTH-DOMAIN"));
    service.Answered(19, TwoTexts(L"\u0416", L"HERE"),
                     RPCAPI::GetUserData(L"\u0416", L"HERE", record.data()));
    CHECK(record == MakeRecord(L"\u0416", L"user-data", L"HERE"));

    Bytes bytes = Noise(386, 3);
    const std::wstring sent = Sent(L"record", bytes);
    service.Answered(4, sent, RPCAPI::EnrollCommit(bytes.data()));
    Bytes inverted = bytes;
    for (byte& b : inverted)
        b = static_cast<byte>(~b);
    service.Answered(10, sent + L", flag=255",
                     RPCAPI::ModifyUserData(reinterpret_cast<FP_RECORD*>(bytes.data()), 255));
    CHECK(bytes == inverted);
    service.Answered(10, L"record=null, flag=-1", CallStub(Stub_ModifyUserData, nullptr, -1));
}

/// Fetches the service's backup into buffers of several sizes.
void TalkOfBackup(Conversation& service, const Bytes& backup)
{
    const long size = static_cast<long>(backup.size());
    const std::wstring texts = TwoTexts(L"", L"\u0416");
    long count = 5;
    service.Answered(18, texts + L", data=null, byteCount=5",
                     RPCAPI::BackupUserData(L"", L"\u0416", nullptr, &count));
    CHECK(count == size);
    for (const long room : {0, 5, 70001}) {
        Bytes data = Noise(room, 4);
        Bytes expected = data;
        std::copy_n(backup.begin(), std::min(room, size), expected.begin());
        count = room;
        const std::wstring sent = texts + Sent(L", data", data) + Number(L", byteCount", room);
        service.Answered(18, sent, RPCAPI::BackupUserData(L"", L"\u0416", data.data(), &count));
        CHECK(count == std::min(room, size));
        CHECK(data == expected);
    }
}

void TalkOfBuffers(Conversation& service)
{
    REQUIRE(ServiceClient::TellOk(L"enrol D2 second p2"));
    const std::array enrolled{MakeRecord(L"enrolled-user", L"enrolled-password", L"DOMAIN"),
                              MakeRecord(L"second", L"p2", L"D2")};
    for (const long room : {0, 1, 2, 40}) { // 40 records are several fragments on the wire
        Bytes records = Noise(room * sizeof(Record), 5);
        Bytes expected = records;
        std::copy_n(enrolled[0].data(), std::min(room, 2L) * sizeof(Record), expected.data());
        long value = -7;
        long count = room;
        const std::wstring sent = Sent(L"records", records) + L", value=-7" + Number(L", recordCount", room);
        service.Answered(2, sent, RPCAPI::ListEnroll(records.data(), &value, &count));
        CHECK(count == std::min(room, 2L));
        CHECK(value == 93);
        CHECK(records == expected);
    }
    for (const long given : {0, 40, -1}) { // no buffer, no records, whatever the count
        long value = 0;
        long count = given;
        service.Answered(2, Number(L"records=null, value=0, recordCount", given),
                         RPCAPI::ListEnroll(nullptr, &value, &count));
        CHECK(count == 2);
    }
    TalkOfBackup(service, {0xB0, 0xB1, 0xB2, 0xB3, 0xB4, 0xB5, 0xB6, 0xB7, //
                           0xB8, 0xB9, 0xBA, 0xBB, 0xBC, 0xBD, 0xBE, 0xBF});
    for (const long size : {0, 1, 70000}) {
        Bytes record = Noise(386, 6);
        const Bytes data = Noise(size, 7);
        service.Answered(17, Sent(L"record", record) + Sent(L", data", data) + Number(L", byteCount", size),
                         RPCAPI::ResotreUserData(record.data(), data.data(), size));
        TalkOfBackup(service, data);
    }
}

} // namespace

TEST_CASE_FIXTURE(Conversation,
                  "all 32 procedures: arguments reach the service, results and outputs come back")
{
    TalkOfNumbers(*this);
    TalkOfTexts(*this);
    TalkOfRecords(*this);
    TalkOfBuffers(*this);

    const auto calls = ServiceClient::Report();
    REQUIRE(calls);
    REQUIRE(calls->size() == expected.size());
    std::set<int> opnums;
    for (size_t i = 0; i < expected.size(); ++i) {
        const ServiceClient::ReportedCall& call = (*calls)[i];
        CHECK(Line(call.opnum, call.arguments, call.result) == expected[i]);
        opnums.insert(call.opnum);
    }
    CHECK(opnums.size() == 32);
}
