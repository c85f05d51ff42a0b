// Every procedure of the interface: its number and types, its call, and what a failure of the call raises.
#include "SehGuard.h"
#include "Service.h"
#include "unit/base/Simulation.h"

#include <climits>
#include <cstring>
#include <numeric>

namespace {

/// What a call is given to write to. A record's bytes count upwards.
struct Buffers {
    byte record[386];
    byte data[5] = {1, 2, 3, 4, 5};
    byte fingers[11] = {};
    wchar_t version[81];
    long value = -7;
    long count = 1;

    Buffers()
    {
        std::iota(std::begin(record), std::end(record), byte(0));
        std::wmemset(version, L'?', std::size(version));
    }
    std::wstring User() const
    {
        const auto at = [&](size_t offset) { return reinterpret_cast<const wchar_t*>(record + offset); };
        return std::wstring(at(320)) + L"\\" + at(0) + L":" + at(132);
    }
};

constexpr long Void = 4711;

struct Procedure {
    const char* name; // of its function; null where there is none
    unsigned types;   // see TypesOf
    long (*call)(Buffers& b);
    const wchar_t* arguments; // as the service reports them
};
#define RECORD L"386 bytes fnv1a=ae2d16f4e52138ba"
// clang-format off
/// By number. Arguments of one type differ, and procedures of the same types have the same hash.
constexpr Procedure Procedures[] = {
    {nullptr,                      0x5445B66F, [](Buffers&) { return CallStub(Stub_Probe); }, L""},
    {nullptr,                      0x5445B66F, [](Buffers&) { return CallStub(Stub_Opnum1); }, L""},
    {"RPCAPI::ListEnroll",         0x7E86ED00, [](Buffers& b) { return RPCAPI::ListEnroll(b.record, &b.value, &b.count); }, L"records=" RECORD L", value=-7, recordCount=1"},
    {"RPCAPI::EnrollCapture",      0x10050AF2, [](Buffers& b) { return RPCAPI::EnrollCapture(&b.value); }, L"value=-7"},
    {"RPCAPI::EnrollCommit",       0xA40B2EB1, [](Buffers& b) { return RPCAPI::EnrollCommit(b.record); }, L"record=" RECORD},
    {"RPCAPI::EnrollBegin",        0x5445B66F, [](Buffers&) { return RPCAPI::EnrollBegin(); }, L""},
    {"RPCAPI::EnrollCount",        0x10050AF2, [](Buffers& b) { return RPCAPI::EnrollCount(&b.count); }, L"count=1"},
    {"RPCAPI::ListUserFinger",     0xC8837184, [](Buffers& b) { return RPCAPI::ListUserFinger(L"\u00C4", L"\u0416", b.fingers); }, L"first=\"\u00C4\", second=\"\u0416\""},
    {"RPCAPI::IdentifyEnroll",     0xCC54F2E9, [](Buffers& b) { return RPCAPI::IdentifyEnroll(b.record); }, L""},
    {"RPCAPI::IdleIdentifyEnroll", 0xCC54F2E9, [](Buffers& b) { return RPCAPI::IdleIdentifyEnroll(b.record); }, L""},
    {"RPCAPI::ModifyUserData",     0x87BBE495, [](Buffers& b) { return RPCAPI::ModifyUserData(&b.record, 255); }, L"record=" RECORD L", flag=255"},
    {"RPCAPI::DeleteFinger",       0x7126D893, [](Buffers&) { return RPCAPI::DeleteFinger(L"a", L"b", 255); }, L"first=\"a\", second=\"b\", finger=255"},
    {"RPCAPI::SetFAP",             0x457747D8, [](Buffers&) { return RPCAPI::SetFAP(nullptr, reinterpret_cast<const byte*>("n"), L"w"); }, L"first=null, second=\"n\", third=\"w\""},
    {"RPCAPI::GetFPVersion",       0xD8513D27, [](Buffers& b) { return RPCAPI::GetFPVersion(b.version); }, L""},
    {"RPCAPI::GetAuthUserCreds",   0xCC54F2E9, [](Buffers& b) { return RPCAPI::GetAuthUserCreds(b.record); }, L""},
    {"RPCAPI::IsAdminRegister",    0x5445B66F, [](Buffers&) { return RPCAPI::IsAdminRegister(); }, L""},
    {"RPCAPI::IsFAPSet",           0x7F675BE8, [](Buffers&) { return RPCAPI::IsFAPSet(L"a"); }, L"name=\"a\""},
    {"RPCAPI::ResotreUserData",    0x615914F1, [](Buffers& b) { return RPCAPI::ResotreUserData(b.record, b.data + 1, 3); }, L"record=" RECORD L", data=3 bytes 020304, byteCount=3"},
    {"RPCAPI::BackupUserData",     0x8CB9E97D, [](Buffers& b) { return RPCAPI::BackupUserData(L"a", L"b", b.data, &(b.count = 4)); }, L"first=\"a\", second=\"b\", data=4 bytes 01020304, byteCount=4"},
    {"RPCAPI::GetUserData",        0x38110C4D, [](Buffers& b) { return RPCAPI::GetUserData(L"a", L"b", b.record); }, L"first=\"a\", second=\"b\""},
    {"RPCAPI::DeleteUserData",     0x7C01F8EB, [](Buffers&) { return RPCAPI::DeleteUserData(L"a", L"b"); }, L"first=\"a\", second=\"b\""},
    {"RPCAPI::DeleteFAPUserData",  0x77B6F268, [](Buffers&) { return RPCAPI::DeleteFAPUserData(L"a", 255); }, L"name=\"a\", flag=255"},
    {"RPCAPI::PbaEnable",          0x601349DF, [](Buffers&) { return RPCAPI::PbaEnable(255); }, L"enable=255"},
    {"RPCAPI::IsPbaEnable",        0x5445B66F, [](Buffers&) { return RPCAPI::IsPbaEnable(); }, L""},
    {nullptr,                      0x5445B66F, [](Buffers&) { return CallStub(Stub_Opnum24); }, L""},
    {nullptr,                      0x5445B66F, [](Buffers&) { return CallStub(Stub_Opnum25); }, L""},
    {nullptr,                      0x811C9DC5, [](Buffers&) { CallStub(Stub_Opnum26); return Void; }, L""},
    {nullptr,                      0x32610B80, [](Buffers&) { CallStub(Stub_Opnum27, L"a"); return Void; }, L"text=\"a\""},
    {nullptr,                      0x8A39C275, [](Buffers&) { CallStub(Stub_Opnum28, 255); return Void; }, L"value=255"},
    {nullptr,                      0x7F675BE8, [](Buffers&) { return CallStub(Stub_Opnum29, L"a"); }, L"text=\"a\""},
    {"RPCAPI::CaptureStop",        0x811C9DC5, [](Buffers&) { RPCAPI::CaptureStop(); return Void; }, L""},
    {nullptr,                      0x8939C0E2, [](Buffers&) { CallStub(Stub_Opnum31, -128); return Void; }, L"value=-128"},
};
// clang-format on
static_assert(std::size(Procedures) == 32);

MIDL_STUB_DESC g_stub;
const byte* g_format;

CLIENT_CALL_RETURN __cdecl SeeCall(PMIDL_STUB_DESC stub, PFORMAT_STRING format, ...)
{
    g_stub = *stub;
    g_format = format;
    return {};
}

/// A hash of each parameter's direction and type, and of the result's.
unsigned TypesOf(const MIDL_STUB_DESC& stub, const byte* format)
{
    constexpr int Header = 26;
    constexpr byte UniquePointer = 0x12;
    constexpr byte WideString = 0x25;
    unsigned hash = 2166136261;
    const auto add = [&](const byte* bytes, int count) {
        for (; count > 0; --count)
            hash = (hash ^ *bytes++) * 16777619;
    };
    const auto number = [](const byte* bytes) { return *reinterpret_cast<const short*>(bytes); };
    for (const byte* parameter = format + Header; parameter < format + Header + 6 * format[15];
         parameter += 6) {
        add(parameter, 2);
        if ((parameter[0] & 0x40) != 0) { // of a base type, told right here
            add(parameter + 4, 1);
            continue;
        }
        const byte* type = stub.pFormatTypes + number(parameter + 4);
        if (type[0] == UniquePointer && type[1] == 0) {
            add(type, 2);
            type += 2 + number(type + 2);
        }
        add(type, type[0] == WideString ? 2 : 4);
    }
    return hash;
}

/// A different answer for each procedure, from both ends of the range.
constexpr long ResultOf(int opnum)
{
    return opnum % 2 != 0 ? LONG_MIN + opnum : LONG_MAX - opnum;
}

} // namespace

TEST_CASE("what the stubs tell the RPC runtime")
{
    const auto& client = *static_cast<const RPC_CLIENT_INTERFACE*>(Stub_VexaFP_v1_0_c_ifspec);
    const RPC_SYNTAX_IDENTIFIER identity{
        {0x3c16ea64, 0xf870, 0x4b16, {0xb6, 0x4c, 0xed, 0x81, 0xbe, 0x35, 0xf7, 0xe4}}, {1, 0}};
    const RPC_SYNTAX_IDENTIFIER ndr{
        {0x8a885d04, 0x1ceb, 0x11c9, {0x9f, 0xe8, 0x08, 0x00, 0x2b, 0x10, 0x48, 0x60}}, {2, 0}};
    CHECK(std::memcmp(&client.InterfaceId, &identity, sizeof identity) == 0);
    CHECK(std::memcmp(&client.TransferSyntax, &ndr, sizeof ndr) == 0);
    CHECK(client.DispatchTable->DispatchTableCount == 1);
    CHECK(client.Flags == RPCFLG_HAS_CALLBACK);

    // Client and simulated service come from one definition: a changed order or type would escape them both.
    BindFPService();
    Simulation hooks;
    hooks.Replace("NdrClientCall2", SeeCall);
    for (byte opnum = 0; opnum < 32; ++opnum) {
        CAPTURE(opnum);
        Buffers buffers;
        Procedures[opnum].call(buffers);
        // Implicit primitive handle, a flags word of 0, opnum.
        const byte header[] = {0x32, 0x48, 0, 0, 0, 0, opnum, 0};
        CHECK(std::memcmp(g_format, header, sizeof header) == 0);
        CHECK(TypesOf(g_stub, g_format) == Procedures[opnum].types);
        CHECK(g_stub.RpcInterfaceInformation == &client);
        CHECK(g_stub.Version == 0x50002);
        CHECK(g_stub.fCheckBounds == 1);
        CHECK(g_stub.IMPLICIT_HANDLE_INFO.pPrimitiveHandle == &g_hFPBinding);
    }
    UnbindFPService();
}

TEST_CASE("all 32 procedures: arguments reach the service, results and outputs come back")
{
    const BoundService service;
    for (int opnum = 0; opnum < 32;
         ++opnum) // refused for those without a result or with a script of their own
        ServiceClient::Tell(L"result " + std::to_wstring(opnum) + L" " + std::to_wstring(ResultOf(opnum)));
    REQUIRE(ServiceClient::TellOk(L"place DOMAIN \u00C4nna \"\""));
    Buffers b[32];
    long results[32];
    for (int opnum = 0; opnum < 32; ++opnum)
        results[opnum] = Procedures[opnum].call(b[opnum]);

    const auto calls = ServiceClient::Report();
    REQUIRE(calls);
    REQUIRE(calls->size() == 32);
    for (int opnum = 0; opnum < 32; ++opnum) {
        CAPTURE(opnum);
        const ServiceClient::ReportedCall& call = (*calls)[opnum];
        CHECK(call.opnum == opnum);
        CHECK(call.arguments == Procedures[opnum].arguments);
        const bool isVoid = results[opnum] == Void;
        CHECK(call.result == (isVoid ? L"void" : std::to_wstring(results[opnum])));
        CHECK((isVoid || results[opnum] == (opnum == 8 ? 0 : ResultOf(opnum))));
    }
    CHECK(b[2].User() == L"DOMAIN\\enrolled-user:enrolled-password");
    CHECK(b[2].value == 93);
    CHECK(b[3].value == 93);
    CHECK(b[6].count == 101);
    CHECK(std::string(reinterpret_cast<char*>(b[7].fingers)) == "\xF0\xF1\xF2\xF3\xF4\xF5\xF6\xF7\xF8\xF9");
    CHECK(b[8].User() == L"DOMAIN\\\u00C4nna:");
    CHECK(b[9].User() == L"IDLE-DOMAIN\\idle-user:idle-password");
    CHECK((b[10].record[0] == 0xFF && b[10].record[385] == byte(~385)));
    CHECK(std::wstring(b[13].version, 81) == L"VexaFP simulator 1.0" + std::wstring(60, L'\0') + L'?');
    CHECK(b[14].User() == L"AUTH-DOMAIN\\auth-user:auth-password");
    CHECK((b[18].count == 3 && std::memcmp(b[18].data, "\2\3\4\4\5", 5) == 0)); // what 17 has stored
    CHECK(b[19].User() == L"b\\a:user-data");

    REQUIRE(ServiceClient::TellOk(L"error -2147483648"));
    CHECK(RPCAPI::IdentifyEnroll(b[8].record) == LONG_MIN);
}

namespace {

struct Raise {
    DWORD code;
    DWORD flags;
    const char* name;
};
std::vector<Raise> g_raises;
decltype(&RaiseException) g_raise;

/// Notes an exception that is raised under a function's name, and goes on behind it as a handler may do.
void WINAPI NoteRaise(DWORD code, DWORD flags, DWORD count, const ULONG_PTR* arguments)
{
    if (count == 1)
        g_raises.push_back({code, flags, reinterpret_cast<const char*>(arguments[0])});
    else
        g_raise(code, flags, count, arguments);
}

void CheckEveryFunction(DWORD code)
{
    Simulation hooks;
    hooks.Replace("RaiseException", NoteRaise, &g_raise);
    for (const Procedure& procedure : Procedures) {
        if (procedure.name == nullptr)
            continue;
        CAPTURE(procedure.name);
        g_raises.clear();
        Buffers buffers;
        const long result = procedure.call(buffers);
        CHECK((result == 0 || result == Void)); // as it stood before the call
        REQUIRE(g_raises.size() == 1);
        CHECK(g_raises[0].code == code);
        CHECK(g_raises[0].flags == 0x80001234); // its lowest bit makes it continuable
        CHECK(std::string(g_raises[0].name) == procedure.name);
    }
}

} // namespace

TEST_SUITE_BEGIN("service loss");

TEST_CASE("each named function raises again, under its own name, what its call raised")
{
    const BoundService service;
    CHECK(Guarded([] { RPCAPI::IsFAPSet(nullptr); }).code == RPC_X_NULL_REF_POINTER);
    CHECK(RPCAPI::IsPbaEnable() == 1);
    UnbindFPService(); // though the service is there
    CheckEveryFunction(RPC_S_INVALID_BINDING);
    g_service.Kill();
    BindFPService(); // and so without the connection to it
    CheckEveryFunction(RPC_S_SERVER_UNAVAILABLE);
}

TEST_SUITE_END();
