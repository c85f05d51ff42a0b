#include "RPCAPI.h"

#include "FPStub.h"
#include "SehGuard.h"

namespace {

// Only the lowest bit counts to Windows, so the exception is continuable.
constexpr DWORD ReraiseFlags = 0x80001234;

/// Calls `stub` under the guard and raises again what it caught; returns 0 should a handler continue from
/// there.
template <class Stub, class... Arguments>
long CallNamed(const char* name, Stub stub, Arguments... arguments)
{
    long result = 0;
    const SehResult guarded = Guarded([&] {
        if constexpr (std::is_void_v<decltype(stub(arguments...))>)
            CallStub(stub, arguments...);
        else
            result = CallStub(stub, arguments...);
    });
    if (guarded.raised) {
        const ULONG_PTR argument = reinterpret_cast<ULONG_PTR>(name);
        RaiseException(guarded.code, ReraiseFlags, 1, &argument);
    }
    return result;
}

} // namespace

namespace RPCAPI {

long ListEnroll(byte* records, long* value, long* recordCount)
{
    return CallNamed("RPCAPI::ListEnroll", Stub_ListEnroll, records, value, recordCount);
}

long EnrollCapture(long* value)
{
    return CallNamed("RPCAPI::EnrollCapture", Stub_EnrollCapture, value);
}

long EnrollCommit(byte* record)
{
    return CallNamed("RPCAPI::EnrollCommit", Stub_EnrollCommit, record);
}

long EnrollBegin()
{
    return CallNamed("RPCAPI::EnrollBegin", Stub_EnrollBegin);
}

long EnrollCount(long* count)
{
    return CallNamed("RPCAPI::EnrollCount", Stub_EnrollCount, count);
}

long ListUserFinger(const wchar_t* first, const wchar_t* second, byte* fingers)
{
    return CallNamed("RPCAPI::ListUserFinger", Stub_ListUserFinger, first, second, fingers);
}

long IdentifyEnroll(byte* record)
{
    return CallNamed("RPCAPI::IdentifyEnroll", Stub_IdentifyEnroll, record);
}

long IdleIdentifyEnroll(byte* record)
{
    return CallNamed("RPCAPI::IdleIdentifyEnroll", Stub_IdleIdentifyEnroll, record);
}

long ModifyUserData(FP_RECORD* record, unsigned char flag)
{
    return CallNamed("RPCAPI::ModifyUserData", Stub_ModifyUserData, record, flag);
}

long DeleteFinger(const wchar_t* first, const wchar_t* second, unsigned char finger)
{
    return CallNamed("RPCAPI::DeleteFinger", Stub_DeleteFinger, first, second, finger);
}

long SetFAP(const unsigned char* first, const unsigned char* second, const wchar_t* third)
{
    return CallNamed("RPCAPI::SetFAP", Stub_SetFAP, first, second, third);
}

long GetFPVersion(wchar_t* version)
{
    return CallNamed("RPCAPI::GetFPVersion", Stub_GetFPVersion, version);
}

long GetAuthUserCreds(byte* record)
{
    return CallNamed("RPCAPI::GetAuthUserCreds", Stub_GetAuthUserCreds, record);
}

long IsAdminRegister()
{
    return CallNamed("RPCAPI::IsAdminRegister", Stub_IsAdminRegister);
}

long IsFAPSet(const wchar_t* name)
{
    return CallNamed("RPCAPI::IsFAPSet", Stub_IsFAPSet, name);
}

long ResotreUserData(byte* record, const byte* data, long byteCount)
{
    return CallNamed("RPCAPI::ResotreUserData", Stub_ResotreUserData, record, data, byteCount);
}

long BackupUserData(const wchar_t* first, const wchar_t* second, byte* data, long* byteCount)
{
    return CallNamed("RPCAPI::BackupUserData", Stub_BackupUserData, first, second, data, byteCount);
}

long GetUserData(const wchar_t* first, const wchar_t* second, byte* record)
{
    return CallNamed("RPCAPI::GetUserData", Stub_GetUserData, first, second, record);
}

long DeleteUserData(const wchar_t* first, const wchar_t* second)
{
    return CallNamed("RPCAPI::DeleteUserData", Stub_DeleteUserData, first, second);
}

long DeleteFAPUserData(const wchar_t* name, unsigned char flag)
{
    return CallNamed("RPCAPI::DeleteFAPUserData", Stub_DeleteFAPUserData, name, flag);
}

long PbaEnable(unsigned char enable)
{
    return CallNamed("RPCAPI::PbaEnable", Stub_PbaEnable, enable);
}

long IsPbaEnable()
{
    return CallNamed("RPCAPI::IsPbaEnable", Stub_IsPbaEnable);
}

void CaptureStop()
{
    CallNamed("RPCAPI::CaptureStop", Stub_CaptureStop);
}

} // namespace RPCAPI
