// Every procedure of the interface: its number and types, its call, and what a failure of the call raises.
#include "SehGuard.h"
#include "Service.h"
#include "Text.h"
#include "unit/base/Simulation.h"

#include <climits>
#include <cstring>
#include <numeric>
#include <span>

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
    const char* name;     // of its function; null where there is none
    const wchar_t* types; // see TypesOf
    long (*call)(Buffers& b);
    const wchar_t* arguments; // as the service reports them
};
#define RECORD L"386 bytes fnv1a=ae2d16f4e52138ba"
// clang-format off
/// By number. Arguments of one type differ.
constexpr Procedure Procedures[] = {
    {nullptr,                      L"700008",                                       [](Buffers&) { return CallStub(Stub_Probe); }, L""},
    {nullptr,                      L"700008",                                       [](Buffers&) { return CallStub(Stub_Opnum1); }, L""},
    {"RPCAPI::ListEnroll",         L"1b0012001b000100580108580108700008",           [](Buffers& b) { return RPCAPI::ListEnroll(b.record, &b.value, &b.count); }, L"records=" RECORD L", value=-7, recordCount=1"},
    {"RPCAPI::EnrollCapture",      L"580108700008",                                 [](Buffers& b) { return RPCAPI::EnrollCapture(&b.value); }, L"value=-7"},
    {"RPCAPI::EnrollCommit",       L"0a001d008201700008",                           [](Buffers& b) { return RPCAPI::EnrollCommit(b.record); }, L"record=" RECORD},
    {"RPCAPI::EnrollBegin",        L"700008",                                       [](Buffers&) { return RPCAPI::EnrollBegin(); }, L""},
    {"RPCAPI::EnrollCount",        L"580108700008",                                 [](Buffers& b) { return RPCAPI::EnrollCount(&b.count); }, L"count=1"},
    {"RPCAPI::ListUserFinger",     L"0b01255c0b01255c12001d000a00700008",           [](Buffers& b) { return RPCAPI::ListUserFinger(L"\u00C4", L"\u0416", b.fingers); }, L"first=\"\u00C4\", second=\"\u0416\""},
    {"RPCAPI::IdentifyEnroll",     L"12001d008201700008",                           [](Buffers& b) { return RPCAPI::IdentifyEnroll(b.record); }, L""},
    {"RPCAPI::IdleIdentifyEnroll", L"12001d008201700008",                           [](Buffers& b) { return RPCAPI::IdleIdentifyEnroll(b.record); }, L""},
    {"RPCAPI::ModifyUserData",     L"1a0012001d008201480008700008",                 [](Buffers& b) { return RPCAPI::ModifyUserData(&b.record, 255); }, L"record=" RECORD L", flag=255"},
    {"RPCAPI::DeleteFinger",       L"0b01255c0b01255c480002700008",                 [](Buffers&) { return RPCAPI::DeleteFinger(L"a", L"b", 255); }, L"first=\"a\", second=\"b\", finger=255"},
    {"RPCAPI::SetFAP",             L"0b001208225c0b001208225c0b01255c700008",       [](Buffers&) { return RPCAPI::SetFAP(nullptr, reinterpret_cast<const byte*>("n"), L"w"); }, L"first=null, second=\"n\", third=\"w\""},
    {"RPCAPI::GetFPVersion",       L"12001d01a000700008",                           [](Buffers& b) { return RPCAPI::GetFPVersion(b.version); }, L""},
    {"RPCAPI::GetAuthUserCreds",   L"12001d008201700008",                           [](Buffers& b) { return RPCAPI::GetAuthUserCreds(b.record); }, L""},
    {"RPCAPI::IsAdminRegister",    L"700008",                                       [](Buffers&) { return RPCAPI::IsAdminRegister(); }, L""},
    {"RPCAPI::IsFAPSet",           L"0b01255c700008",                               [](Buffers&) { return RPCAPI::IsFAPSet(L"a"); }, L"name=\"a\""},
    {"RPCAPI::ResotreUserData",    L"0a001d0082010b011b000100480008700008",         [](Buffers& b) { return RPCAPI::ResotreUserData(b.record, b.data + 1, 3); }, L"record=" RECORD L", data=3 bytes 020304, byteCount=3"},
    {"RPCAPI::BackupUserData",     L"0b01255c0b01255c1b0012001b000100580108700008", [](Buffers& b) { return RPCAPI::BackupUserData(L"a", L"b", b.data, &(b.count = 4)); }, L"first=\"a\", second=\"b\", data=4 bytes 01020304, byteCount=4"},
    {"RPCAPI::GetUserData",        L"0b01255c0b01255c12001d008201700008",           [](Buffers& b) { return RPCAPI::GetUserData(L"a", L"b", b.record); }, L"first=\"a\", second=\"b\""},
    {"RPCAPI::DeleteUserData",     L"0b01255c0b01255c700008",                       [](Buffers&) { return RPCAPI::DeleteUserData(L"a", L"b"); }, L"first=\"a\", second=\"b\""},
    {"RPCAPI::DeleteFAPUserData",  L"0b01255c480008700008",                         [](Buffers&) { return RPCAPI::DeleteFAPUserData(L"a", 255); }, L"name=\"a\", flag=255"},
    {"RPCAPI::PbaEnable",          L"480002700008",                                 [](Buffers&) { return RPCAPI::PbaEnable(255); }, L"enable=255"},
    {"RPCAPI::IsPbaEnable",        L"700008",                                       [](Buffers&) { return RPCAPI::IsPbaEnable(); }, L""},
    {nullptr,                      L"700008",                                       [](Buffers&) { return CallStub(Stub_Opnum24); }, L""},
    {nullptr,                      L"700008",                                       [](Buffers&) { return CallStub(Stub_Opnum25); }, L""},
    {nullptr,                      L"",                                             [](Buffers&) { CallStub(Stub_Opnum26); return Void; }, L""},
    {nullptr,                      L"0b01255c",                                     [](Buffers&) { CallStub(Stub_Opnum27, L"a"); return Void; }, L"text=\"a\""},
    {nullptr,                      L"480002",                                       [](Buffers&) { CallStub(Stub_Opnum28, 255); return Void; }, L"value=255"},
    {nullptr,                      L"0b01255c700008",                               [](Buffers&) { return CallStub(Stub_Opnum29, L"a"); }, L"text=\"a\""},
    {"RPCAPI::CaptureStop",        L"",                                             [](Buffers&) { RPCAPI::CaptureStop(); return Void; }, L""},
    {nullptr,                      L"480003",                                       [](Buffers&) { CallStub(Stub_Opnum31, -128); return Void; }, L"value=-128"},
};
// clang-format on
static_assert(std::size(Procedures) == 32);

MIDL_STUB_DESC g_stub;
const byte* g_format;

CLIENT_CALL_RETURN __cdecl FailCall(PMIDL_STUB_DESC stub, PFORMAT_STRING format, ...)
{
    g_stub = *stub;
    g_format = format;
    RaiseException(RPC_S_CALL_FAILED, 0, 0, nullptr);
    return {};
}

using Raise = std::tuple<DWORD, DWORD, std::string>; // code, flags, name
Raise g_raised;
decltype(&RaiseException) g_raise;

/// Notes an exception that is raised under a function's name, and goes on behind it as a handler may do.
void WINAPI NoteRaise(DWORD code, DWORD flags, DWORD count, const ULONG_PTR* arguments)
{
    if (count == 1)
        g_raised = {code, flags, reinterpret_cast<const char*>(arguments[0])};
    else
        g_raise(code, flags, count, arguments);
}

/// Each parameter's direction and type, and the result's, in the codes of the format strings.
std::wstring TypesOf(const MIDL_STUB_DESC& stub, const byte* format)
{
    struct Parameter {
        char flags[2];
        short place;
        short type;
    };
    constexpr int Header = 26;
    constexpr byte UniquePointer = 0x12;
    constexpr byte WideString = 0x25;
    std::string types;
    const auto* const parameters = reinterpret_cast<const Parameter*>(format + Header);
    for (const Parameter& parameter : std::span(parameters, format[15])) {
        types.append(parameter.flags, 2);
        if ((parameter.flags[0] & 0x40) != 0) { // of a base type, told right here
            types += char(parameter.type);
            continue;
        }
        const auto* type = reinterpret_cast<const char*>(stub.pFormatTypes) + parameter.type;
        if (type[0] == UniquePointer && type[1] == 0) {
            types.append(type, 2);
            type += 2 + reinterpret_cast<const short*>(type)[1];
        }
        types.append(type, type[0] == WideString ? 2 : 4);
    }
    std::wstring digits;
    for (const char code : types)
        digits += Format(L"%02x", BYTE(code));
    return digits;
}

} // namespace

TEST_CASE("what the stubs tell the RPC runtime, and what the named functions make of its exceptions")
{
    const auto& client = *static_cast<const RPC_CLIENT_INTERFACE*>(Stub_VexaFP_v1_0_c_ifspec);
    const RPC_SYNTAX_IDENTIFIER identity{
        {0x3c16ea64, 0xf870, 0x4b16, {0xb6, 0x4c, 0xed, 0x81, 0xbe, 0x35, 0xf7, 0xe4}}, {1, 0}};
    CHECK(std::memcmp(&client.InterfaceId, &identity, sizeof identity) == 0);
    CHECK(client.DispatchTable->DispatchTableCount == 1);
    CHECK(client.Flags == RPCFLG_HAS_CALLBACK);

    // Client and simulated service come from one definition: a changed order or type would escape them both.
    BindFPService();
    Simulation hooks;
    hooks.Replace("NdrClientCall2", FailCall);
    hooks.Replace("RaiseException", NoteRaise, &g_raise);
    for (byte opnum = 0; opnum < 32; ++opnum) {
        CAPTURE(opnum);
        const Procedure& procedure = Procedures[opnum];
        Buffers buffers;
        long result = 0;
        g_raised = {};
        Guarded([&] { result = procedure.call(buffers); });
        // Implicit primitive handle, a flags word of 0, opnum.
        const byte header[] = {0x32, 0x48, 0, 0, 0, 0, opnum, 0};
        CHECK(std::memcmp(g_format, header, sizeof header) == 0);
        CHECK((TypesOf(g_stub, g_format) == procedure.types));
        CHECK(g_stub.RpcInterfaceInformation == &client);
        CHECK(g_stub.Version == 0x50002);
        CHECK(g_stub.fCheckBounds == 1);
        CHECK(g_stub.IMPLICIT_HANDLE_INFO.pPrimitiveHandle == &g_hFPBinding);
        // Raised again under the function's own name; the flags' lowest bit makes it continuable.
        if (procedure.name != nullptr)
            CHECK((g_raised == Raise{RPC_S_CALL_FAILED, 0x80001234, procedure.name}));
        CHECK((result == 0 || result == Void)); // as it stood before the call
    }
    UnbindFPService();
}

TEST_CASE("all 32 procedures: arguments reach the service, results and outputs come back")
{
    BindFreshService();
    // Refused for those without a result or with a script of their own.
    for (int opnum = 0; opnum < 32; ++opnum)
        ServiceClient::Tell(L"result " + std::to_wstring(opnum) + L" " + std::to_wstring(LONG_MIN + opnum));
    REQUIRE(ServiceClient::TellOk(L"place DOMAIN \u00C4nna \"\""));
    Buffers b[32];
    for (int opnum = 0; opnum < 32; ++opnum) {
        CAPTURE(opnum);
        const long result = Procedures[opnum].call(b[opnum]);
        CHECK((result == Void || result == (opnum == 8 ? 0 : LONG_MIN + opnum)));
    }
    const auto calls = ServiceClient::Report();
    REQUIRE((calls && calls->size() == 32));
    for (int opnum = 0; opnum < 32; ++opnum) {
        CAPTURE(opnum);
        CHECK((*calls)[opnum].opnum == opnum);
        CHECK((*calls)[opnum].arguments == Procedures[opnum].arguments);
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

    REQUIRE(ServiceClient::TellOk(L"error 2147483647"));
    CHECK(RPCAPI::IdentifyEnroll(b[8].record) == LONG_MAX);
}

// The last case of all: once a client has missed a service, Wine's RPC runtime may not find the next one.
TEST_CASE("exceptions of the RPC runtime itself, and of a call without a binding")
{
    BindFreshService();
    CHECK(Guarded([] { RPCAPI::IsFAPSet(nullptr); }).code == RPC_X_NULL_REF_POINTER);
    CHECK(RPCAPI::IsPbaEnable() == 1);
    UnbindFPService(); // though the service is there
    CHECK(Guarded([] { RPCAPI::IsPbaEnable(); }).code == RPC_S_INVALID_BINDING);
    g_service.Kill();
    BindFPService(); // and so without the connection to it
    CHECK(Guarded([] { RPCAPI::IsPbaEnable(); }).code == RPC_S_SERVER_UNAVAILABLE);
}
