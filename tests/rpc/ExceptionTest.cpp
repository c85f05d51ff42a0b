#include "Service.h"
#include "base/Handle.h"
#include "WindowsModel/ImportHooks.h"

namespace {

FP_RECORD g_record;
wchar_t g_version[80];
long g_first;
long g_second;

struct Row {
    const char* name;
    long (*call)();
};
// clang-format off
constexpr Row Rows[] = {
    {"RPCAPI::ListEnroll",         [] { return RPCAPI::ListEnroll(nullptr, &g_first, &g_second); }},
    {"RPCAPI::EnrollCapture",      [] { return RPCAPI::EnrollCapture(&g_first); }},
    {"RPCAPI::EnrollCommit",       [] { return RPCAPI::EnrollCommit(g_record); }},
    {"RPCAPI::EnrollBegin",        [] { return RPCAPI::EnrollBegin(); }},
    {"RPCAPI::EnrollCount",        [] { return RPCAPI::EnrollCount(&g_first); }},
    {"RPCAPI::ListUserFinger",     [] { return RPCAPI::ListUserFinger(L"", L"", g_record); }},
    {"RPCAPI::IdentifyEnroll",     [] { return RPCAPI::IdentifyEnroll(g_record); }},
    {"RPCAPI::IdleIdentifyEnroll", [] { return RPCAPI::IdleIdentifyEnroll(g_record); }},
    {"RPCAPI::ModifyUserData",     [] { return RPCAPI::ModifyUserData(&g_record, 1); }},
    {"RPCAPI::DeleteFinger",       [] { return RPCAPI::DeleteFinger(L"", L"", 1); }},
    {"RPCAPI::SetFAP",             [] { return RPCAPI::SetFAP(nullptr, nullptr, L""); }},
    {"RPCAPI::GetFPVersion",       [] { return RPCAPI::GetFPVersion(g_version); }},
    {"RPCAPI::GetAuthUserCreds",   [] { return RPCAPI::GetAuthUserCreds(g_record); }},
    {"RPCAPI::IsAdminRegister",    [] { return RPCAPI::IsAdminRegister(); }},
    {"RPCAPI::IsFAPSet",           [] { return RPCAPI::IsFAPSet(L""); }},
    {"RPCAPI::ResotreUserData",    [] { return RPCAPI::ResotreUserData(g_record, g_record, 1); }},
    {"RPCAPI::BackupUserData",     [] { return RPCAPI::BackupUserData(L"", L"", nullptr, &g_first); }},
    {"RPCAPI::GetUserData",        [] { return RPCAPI::GetUserData(L"", L"", g_record); }},
    {"RPCAPI::DeleteUserData",     [] { return RPCAPI::DeleteUserData(L"", L""); }},
    {"RPCAPI::DeleteFAPUserData",  [] { return RPCAPI::DeleteFAPUserData(L"", 1); }},
    {"RPCAPI::PbaEnable",          [] { return RPCAPI::PbaEnable(1); }},
    {"RPCAPI::IsPbaEnable",        [] { return RPCAPI::IsPbaEnable(); }},
    {"RPCAPI::CaptureStop",        [] { RPCAPI::CaptureStop(); return 0L; }},
};
// clang-format on
static_assert(std::size(Rows) == 23);

decltype(&RaiseException) g_raise;
DWORD g_flagsGiven;

void WINAPI NoteFlags(DWORD code, DWORD flags, DWORD count, const ULONG_PTR* arguments)
{
    g_flagsGiven = flags;
    g_raise(code, flags, count, arguments);
}

void CheckRaised(const Raised& raised, DWORD code, const char* name)
{
    CHECK(raised.times == 1);
    CHECK(raised.record.ExceptionCode == code);
    CHECK((raised.record.ExceptionFlags & EXCEPTION_NONCONTINUABLE) == 0);
    REQUIRE(raised.record.NumberParameters == 1);
    CHECK(std::string(reinterpret_cast<const char*>(raised.record.ExceptionInformation[0])) == name);
}

void CheckEveryFunction(DWORD code)
{
    WindowsModel::ImportHooks hooks(GetModuleHandleW(nullptr));
    REQUIRE(hooks.Replace("RaiseException", NoteFlags, &g_raise) ==
            WindowsModel::ImportHooks::Result::Replaced);
    for (const Row& row : Rows) {
        CAPTURE(row.name);
        g_flagsGiven = 0;
        CheckRaised(RaisedBy(row.call), code, row.name);
        CHECK(g_flagsGiven == 0x80001234);
        // A handler that lets execution continue gets the result as it stood before the call.
        long result = -1;
        CheckRaised(RaisedBy(row.call, TRUE, &result), code, row.name);
        CHECK(result == 0);
    }
}

/// An identification on a thread of its own.
struct Identification {
    long result = 0;
    Raised raised{};
    KernelHandle thread;

    Identification() : thread(CreateThread(nullptr, 0, Run, this, 0, nullptr))
    {
        REQUIRE(ServiceClient::TellOk(L"wait IdentifyEnroll"));
    }
    ~Identification() { WaitForSingleObject(thread.Get(), INFINITE); }
    bool Ended(DWORD milliseconds) const
    {
        return WaitForSingleObject(thread.Get(), milliseconds) == WAIT_OBJECT_0;
    }
    static DWORD WINAPI Run(void* parameter)
    {
        auto* const self = static_cast<Identification*>(parameter);
        self->raised = RaisedBy([] { return RPCAPI::IdentifyEnroll(g_record); }, FALSE, &self->result);
        return 0;
    }
};

} // namespace

TEST_CASE("CaptureStop from another thread frees a blocked identification")
{
    const BoundService service;
    const Identification identification;
    CHECK_FALSE(identification.Ended(50));
    RPCAPI::CaptureStop();
    REQUIRE(identification.Ended(10000));
    CHECK(identification.raised.times == 0);
    CHECK(identification.result == ERROR_CANCELLED);
}

TEST_CASE("the service's reset frees an identification that ignores the stop")
{
    const BoundService service;
    REQUIRE(ServiceClient::TellOk(L"ignore-stop on"));
    const Identification identification;
    RPCAPI::CaptureStop();
    CHECK_FALSE(identification.Ended(50));
    REQUIRE(ServiceClient::TellOk(L"reset"));
    REQUIRE(identification.Ended(10000));
    CHECK(identification.result == ERROR_CANCELLED);
}

TEST_SUITE_BEGIN("service loss");

TEST_CASE("each named function raises again, under its own name, what its call raised")
{
    const BoundService service;
    SUBCASE("without a binding, though the service is there")
    {
        UnbindFPService();
        CheckEveryFunction(RPC_S_INVALID_BINDING);
    }
    SUBCASE("without the service")
    {
        ServiceProcess().Kill();
        UnbindFPService();
        BindFPService(); // and so without the connection to it
        CheckEveryFunction(RPC_S_SERVER_UNAVAILABLE);
    }
    SUBCASE("when the arguments can't be marshalled")
    {
        CheckRaised(RaisedBy([] { return RPCAPI::IsFAPSet(nullptr); }), RPC_X_NULL_REF_POINTER,
                    "RPCAPI::IsFAPSet");
        CHECK(RPCAPI::IsPbaEnable() == 1);
    }
}

TEST_CASE("a service that dies in mid-call raises; its successor is reached after binding again")
{
    const BoundService service;
    {
        const Identification identification;
        REQUIRE(ServiceClient::TellOk(L"die"));
        REQUIRE(identification.Ended(10000));
        CheckRaised(identification.raised, RPC_S_CALL_FAILED, "RPCAPI::IdentifyEnroll");
    }
    REQUIRE(ServiceProcess().WaitForEnd(10000));
    CHECK(ConnectFPService() == 0);
    REQUIRE(ServiceProcess().Start());
    UnbindFPService();
    REQUIRE(BindFPService() == RPC_S_OK);
    CHECK(RPCAPI::IsPbaEnable() == 1);
}

TEST_SUITE_END();
