// The 32 routines that the generated server stub calls, on threads of the RPC runtime. Each notes the call in
// the journal, fills its out-parameters (Outputs.h) and answers what the script says.
#include "Outputs.h"
#include "Simulation.h"
#include "VexaFP.h"
#include "ServiceClient/Rendering.h"

#include <algorithm>
#include <cstring>

namespace {

using ServiceClient::BytesText;
using ServiceClient::QuotedText;

/// The name of a procedure, looked up while compiling: a misspelt one does not build.
struct ProcedureName {
    consteval ProcedureName(const wchar_t* name) : opnum(FindProcedure(name).value()) {}
    int opnum;
};

/// One call from its arrival to its answer.
class Call {
public:
    explicit Call(ProcedureName name, std::wstring arguments = {})
        : m_opnum(name.opnum), m_id(m_simulation.Journal().Begin(m_opnum, std::move(arguments)))
    {
    }
    ~Call() { m_simulation.Journal().End(m_id, m_result, std::move(m_note)); }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    /// The scripted result, for the procedure to return.
    LONG Answer() { return Answer(m_simulation.Result(m_opnum), {}); }
    LONG Answer(LONG result, std::wstring note)
    {
        m_note = std::move(note);
        m_result = result;
        return result;
    }

private:
    Simulation& m_simulation = Simulation::Instance();
    int m_opnum;
    CallJournal::Id m_id;
    std::optional<long> m_result;
    std::wstring m_note;
};

std::wstring Named(const wchar_t* name, const std::wstring& value)
{
    return std::wstring(name) + L"=" + value;
}

std::wstring Text(const wchar_t* name, const wchar_t* value)
{
    return Named(name, QuotedText(value));
}

std::wstring Text(const wchar_t* name, const unsigned char* value)
{
    return Named(name, QuotedText(reinterpret_cast<const char*>(value)));
}

std::wstring Number(const wchar_t* name, long value)
{
    return Named(name, std::to_wstring(value));
}

std::wstring Bytes(const wchar_t* name, const void* data, long size)
{
    return Named(name, BytesText(data, std::max(size, 0L)));
}

std::wstring Record(const void* record)
{
    return Bytes(L"record", record, sizeof(UserRecord));
}

template <class... More>
std::wstring List(std::wstring first, const More&... more)
{
    ((first += L", " + more), ...);
    return first;
}

} // namespace

LONG Service_Probe()
{
    return Call(L"Probe").Answer();
}

LONG Service_Opnum1()
{
    return Call(L"Opnum1").Answer();
}

LONG Service_ListEnroll(byte* records, LONG* value, LONG* recordCount)
{
    long size = *recordCount * static_cast<long>(sizeof(UserRecord));
    Call call(L"ListEnroll", List(Bytes(L"records", records, size), Number(L"value", *value),
                                  Number(L"recordCount", *recordCount)));
    std::vector<UserRecord> enrolled = Simulation::Instance().Enrolled();
    long count = static_cast<long>(enrolled.size());
    if (records) {
        count = std::clamp(*recordCount, 0L, count);
        std::memcpy(records, enrolled.data(), count * sizeof(UserRecord));
    }
    *value += outputs::kStep;
    *recordCount = count;
    return call.Answer();
}

LONG Service_EnrollCapture(LONG* value)
{
    Call call(L"EnrollCapture", Number(L"value", *value));
    *value += outputs::kStep;
    return call.Answer();
}

LONG Service_EnrollCommit(FP_RECORD record)
{
    return Call(L"EnrollCommit", Record(record)).Answer();
}

LONG Service_EnrollBegin()
{
    return Call(L"EnrollBegin").Answer();
}

LONG Service_EnrollCount(LONG* count)
{
    Call call(L"EnrollCount", Number(L"count", *count));
    *count += outputs::kStep;
    return call.Answer();
}

LONG Service_ListUserFinger(const wchar_t* first, const wchar_t* second, byte fingers[10])
{
    Call call(L"ListUserFinger", List(Text(L"first", first), Text(L"second", second)));
    std::ranges::copy(outputs::Fingers(), fingers);
    return call.Answer();
}

LONG Service_IdentifyEnroll(FP_RECORD record)
{
    Capture& sensor = Simulation::Instance().Sensor();
    // Blocked first, noted second: who has seen the call in the journal can rely on a stop reaching it.
    Capture::Ticket ticket;
    sensor.Enter(ticket);
    Call call(L"IdentifyEnroll");
    CaptureAnswer answer = sensor.Await(ticket);
    std::memcpy(record, &answer.record, sizeof(answer.record));
    return call.Answer(answer.code, std::move(answer.note));
}

LONG Service_IdleIdentifyEnroll(FP_RECORD record)
{
    Call call(L"IdleIdentifyEnroll");
    UserRecord user = outputs::IdleUser();
    std::memcpy(record, &user, sizeof(user));
    return call.Answer();
}

LONG Service_ModifyUserData(FP_RECORD* record, LONG flag)
{
    Call call(L"ModifyUserData", List(Record(record), Number(L"flag", flag)));
    if (record)
        for (byte& b : *record)
            b = static_cast<byte>(~b);
    return call.Answer();
}

LONG Service_DeleteFinger(const wchar_t* first, const wchar_t* second, unsigned char finger)
{
    return Call(L"DeleteFinger",
                List(Text(L"first", first), Text(L"second", second), Number(L"finger", finger)))
        .Answer();
}

LONG Service_SetFAP(const unsigned char* first, const unsigned char* second, const wchar_t* third)
{
    return Call(L"SetFAP", List(Text(L"first", first), Text(L"second", second), Text(L"third", third)))
        .Answer();
}

LONG Service_GetFPVersion(wchar_t version[80])
{
    Call call(L"GetFPVersion");
    std::fill_n(version, 80, L'\0');
    std::ranges::copy(outputs::kVersion, version);
    return call.Answer();
}

LONG Service_GetAuthUserCreds(FP_RECORD record)
{
    Call call(L"GetAuthUserCreds");
    UserRecord user = outputs::AuthenticatedUser();
    std::memcpy(record, &user, sizeof(user));
    return call.Answer();
}

LONG Service_IsAdminRegister()
{
    return Call(L"IsAdminRegister").Answer();
}

LONG Service_IsFAPSet(const wchar_t* name)
{
    return Call(L"IsFAPSet", Text(L"name", name)).Answer();
}

LONG Service_ResotreUserData(FP_RECORD record, const byte* data, LONG byteCount)
{
    Call call(L"ResotreUserData",
              List(Record(record), Bytes(L"data", data, byteCount), Number(L"byteCount", byteCount)));
    Simulation::Instance().SetBackup(std::vector<BYTE>(data, data + std::max(byteCount, 0L)));
    return call.Answer();
}

LONG Service_BackupUserData(const wchar_t* first, const wchar_t* second, byte* data, LONG* byteCount)
{
    Call call(L"BackupUserData", List(Text(L"first", first), Text(L"second", second),
                                      Bytes(L"data", data, *byteCount), Number(L"byteCount", *byteCount)));
    std::vector<BYTE> backup = Simulation::Instance().Backup();
    long count = static_cast<long>(backup.size());
    if (data) {
        count = std::clamp(*byteCount, 0L, count);
        std::copy_n(backup.begin(), count, data);
    }
    *byteCount = count;
    return call.Answer();
}

LONG Service_GetUserData(const wchar_t* first, const wchar_t* second, FP_RECORD record)
{
    Call call(L"GetUserData", List(Text(L"first", first), Text(L"second", second)));
    UserRecord user = outputs::UserData(first, second);
    std::memcpy(record, &user, sizeof(user));
    return call.Answer();
}

LONG Service_DeleteUserData(const wchar_t* first, const wchar_t* second)
{
    return Call(L"DeleteUserData", List(Text(L"first", first), Text(L"second", second))).Answer();
}

LONG Service_DeleteFAPUserData(const wchar_t* name, LONG flag)
{
    return Call(L"DeleteFAPUserData", List(Text(L"name", name), Number(L"flag", flag))).Answer();
}

LONG Service_PbaEnable(unsigned char enable)
{
    return Call(L"PbaEnable", Number(L"enable", enable)).Answer();
}

LONG Service_IsPbaEnable()
{
    return Call(L"IsPbaEnable").Answer();
}

LONG Service_Opnum24()
{
    return Call(L"Opnum24").Answer();
}

LONG Service_Opnum25()
{
    return Call(L"Opnum25").Answer();
}

void Service_Opnum26()
{
    Call call(L"Opnum26");
}

void Service_Opnum27(const wchar_t* text)
{
    Call call(L"Opnum27", Text(L"text", text));
}

void Service_Opnum28(unsigned char value)
{
    Call call(L"Opnum28", Number(L"value", value));
}

LONG Service_Opnum29(const wchar_t* text)
{
    return Call(L"Opnum29", Text(L"text", text)).Answer();
}

void Service_CaptureStop()
{
    Call call(L"CaptureStop");
    Simulation::Instance().Sensor().Stop();
}

void Service_Opnum31(small value)
{
    Call call(L"Opnum31", Number(L"value", value));
}
