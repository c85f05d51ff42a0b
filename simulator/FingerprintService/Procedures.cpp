// The 32 routines that the generated server stub calls, on threads of the RPC runtime. Each notes the call in
// the journal, fills its out-parameters and answers what the script says. What is handed out besides the
// result is fixed data that a client can tell from anything that it sent itself.
#include "Procedures.h"

#include "ServiceState.h"
#include "Text.h"
#include "VexaFP.h"

#include <cstdint>
#include <cstring>
#include <numeric>

namespace {

/// What is added to a number that comes in and goes out.
constexpr long Step = 100;
constexpr long LongestFullHex = 16;

/// The name of a procedure, looked up while compiling: a misspelt one does not build.
struct ProcedureName {
    consteval ProcedureName(const wchar_t* name) : opnum(FindProcedure(name).value()) {}
    int opnum;
};

template <class... Arguments>
std::wstring List(const Arguments&... arguments)
{
    std::wstring list;
    ((list += (list.empty() ? L"" : L", ") + arguments), ...);
    return list;
}

/// One call from its arrival to its answer.
class Call {
public:
    template <class... Arguments>
    explicit Call(ProcedureName name, const Arguments&... arguments)
        : m_entry(Locked()->Begin(name.opnum, List(arguments...)))
    {
    }
    ~Call() { Locked()->End(*m_entry); }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    /// The scripted result, for the procedure to return.
    LONG Answer()
    {
        const Locked state;
        const long result = state->script.results[m_entry->opnum];
        m_entry->result = result;
        return result;
    }

private:
    std::shared_ptr<JournalEntry> m_entry;
};

std::wstring Named(const wchar_t* name, const std::wstring& value)
{
    return std::wstring(name) + L"=" + value;
}

std::wstring Text(const wchar_t* name, const wchar_t* value)
{
    return Named(name, value ? Quoted(value) : L"null");
}

/// The code page of 8-bit text is unknown; each byte stands there as the character of its number.
std::wstring Text(const wchar_t* name, const unsigned char* value)
{
    std::wstring wide;
    for (const unsigned char* byte = value; byte && *byte; ++byte)
        wide += *byte;
    return Text(name, value ? wide.c_str() : nullptr);
}

std::wstring Number(const wchar_t* name, long value)
{
    return Named(name, std::to_wstring(value));
}

/// "3 bytes 0a0b0c", or "386 bytes fnv1a=<64-bit FNV-1a>" for what would be long.
std::wstring Bytes(const wchar_t* name, const void* data, long size)
{
    if (!data)
        return Named(name, L"null");
    std::wstring hex;
    uint64_t hash = 0xcbf29ce484222325;
    for (long i = 0; i < size; ++i) {
        const uint8_t value = static_cast<const uint8_t*>(data)[i];
        hash = (hash ^ value) * 0x100000001b3;
        if (size <= LongestFullHex)
            hex += Format(L"%02x", value);
    }
    if (size > LongestFullHex)
        hex = Format(L"fnv1a=%016I64x", hash);
    return Named(name, Format(L"%ld bytes %s", std::max(size, 0L), hex.c_str()));
}

std::wstring Record(const void* record)
{
    return Bytes(L"record", record, sizeof(UserRecord));
}

/// For texts that are known to fit.
void Fill(FP_RECORD record, std::wstring_view domain, std::wstring_view user, std::wstring_view password)
{
    const UserRecord filled = MakeRecord(domain, user, password).value();
    std::memcpy(record, &filled, sizeof(filled));
}

} // namespace

// Those that give nothing but their result.
// clang-format off
LONG Service_Probe() { return Call(L"Probe").Answer(); }
LONG Service_Opnum1() { return Call(L"Opnum1").Answer(); }
LONG Service_EnrollCommit(FP_RECORD record) { return Call(L"EnrollCommit", Record(record)).Answer(); }
LONG Service_EnrollBegin() { return Call(L"EnrollBegin").Answer(); }
LONG Service_IsAdminRegister() { return Call(L"IsAdminRegister").Answer(); }
LONG Service_IsFAPSet(const wchar_t* name) { return Call(L"IsFAPSet", Text(L"name", name)).Answer(); }
LONG Service_PbaEnable(unsigned char enable) { return Call(L"PbaEnable", Number(L"enable", enable)).Answer(); }
LONG Service_IsPbaEnable() { return Call(L"IsPbaEnable").Answer(); }
LONG Service_Opnum24() { return Call(L"Opnum24").Answer(); }
LONG Service_Opnum25() { return Call(L"Opnum25").Answer(); }
void Service_Opnum26() { const Call call(L"Opnum26"); }
void Service_Opnum27(const wchar_t* text) { const Call call(L"Opnum27", Text(L"text", text)); }
void Service_Opnum28(unsigned char value) { const Call call(L"Opnum28", Number(L"value", value)); }
LONG Service_Opnum29(const wchar_t* text) { return Call(L"Opnum29", Text(L"text", text)).Answer(); }
void Service_Opnum31(small value) { const Call call(L"Opnum31", Number(L"value", value)); }
// clang-format on

LONG Service_DeleteFinger(const wchar_t* first, const wchar_t* second, unsigned char finger)
{
    return Call(L"DeleteFinger", Text(L"first", first), Text(L"second", second), Number(L"finger", finger))
        .Answer();
}

LONG Service_SetFAP(const unsigned char* first, const unsigned char* second, const wchar_t* third)
{
    return Call(L"SetFAP", Text(L"first", first), Text(L"second", second), Text(L"third", third)).Answer();
}

LONG Service_DeleteUserData(const wchar_t* first, const wchar_t* second)
{
    return Call(L"DeleteUserData", Text(L"first", first), Text(L"second", second)).Answer();
}

LONG Service_DeleteFAPUserData(const wchar_t* name, LONG flag)
{
    return Call(L"DeleteFAPUserData", Text(L"name", name), Number(L"flag", flag)).Answer();
}

/// Without a buffer the count becomes the number enrolled. With one it becomes the number of records that
/// fit: what goes back over the wire is as long as the count says and must not exceed what the client sent.
LONG Service_ListEnroll(byte* records, LONG* value, LONG* recordCount)
{
    Call call(L"ListEnroll", Bytes(L"records", records, *recordCount * static_cast<long>(sizeof(UserRecord))),
              Number(L"value", *value), Number(L"recordCount", *recordCount));
    const std::vector<UserRecord> enrolled = Locked()->script.enrolled;
    long count = static_cast<long>(enrolled.size());
    if (records) {
        count = std::clamp(*recordCount, 0L, count);
        std::memcpy(records, enrolled.data(), count * sizeof(UserRecord));
    }
    *value += Step;
    *recordCount = count;
    return call.Answer();
}

LONG Service_EnrollCapture(LONG* value)
{
    Call call(L"EnrollCapture", Number(L"value", *value));
    *value += Step;
    return call.Answer();
}

LONG Service_EnrollCount(LONG* count)
{
    Call call(L"EnrollCount", Number(L"count", *count));
    *count += Step;
    return call.Answer();
}

LONG Service_ListUserFinger(const wchar_t* first, const wchar_t* second, byte fingers[10])
{
    Call call(L"ListUserFinger", Text(L"first", first), Text(L"second", second));
    std::iota(fingers, fingers + 10, byte{0xF0});
    return call.Answer();
}

/// As scripted; the record is all zero with any result but 0.
LONG Service_IdentifyEnroll(FP_RECORD record)
{
    Locked state;
    if (state->script.dieAtNextCapture)
        Die();
    std::optional<CaptureAnswer> answer;
    // Blocked first, noted second: who has seen the call in the journal can rely on a stop reaching it.
    state->blocked.push_back(&answer);
    const std::shared_ptr<JournalEntry> entry = state->Begin(ProcedureName(L"IdentifyEnroll").opnum);
    state->MatchAnswers();
    if (state->closing)
        state->AnswerBlocked(ServiceStopping);
    state.Wait([&] { return answer.has_value(); });
    std::memcpy(record, &answer->record, sizeof(answer->record));
    entry->note = answer->note;
    entry->result = answer->code;
    state->End(*entry);
    return answer->code;
}

void Service_CaptureStop()
{
    Call call(L"CaptureStop");
    const Locked state;
    if (!state->script.ignoreStop)
        state->AnswerBlocked(CaptureStopped);
}

LONG Service_IdleIdentifyEnroll(FP_RECORD record)
{
    Call call(L"IdleIdentifyEnroll");
    Fill(record, L"IDLE-DOMAIN", L"idle-user", L"idle-password");
    return call.Answer();
}

/// Every byte of the record inverted; a null record stays null.
LONG Service_ModifyUserData(FP_RECORD* record, LONG flag)
{
    Call call(L"ModifyUserData", Record(record), Number(L"flag", flag));
    if (record)
        for (byte& b : *record)
            b = static_cast<byte>(~b);
    return call.Answer();
}

LONG Service_GetFPVersion(wchar_t version[80])
{
    Call call(L"GetFPVersion");
    std::fill_n(version, 80, L'\0');
    std::wstring_view(L"VexaFP simulator 1.0").copy(version, 80);
    return call.Answer();
}

LONG Service_GetAuthUserCreds(FP_RECORD record)
{
    Call call(L"GetAuthUserCreds");
    Fill(record, L"AUTH-DOMAIN", L"auth-user", L"auth-password");
    return call.Answer();
}

/// Its bytes are kept for BackupUserData.
LONG Service_ResotreUserData(FP_RECORD record, const byte* data, LONG byteCount)
{
    Call call(L"ResotreUserData", Record(record), Bytes(L"data", data, byteCount),
              Number(L"byteCount", byteCount));
    Locked()->script.backup.assign(data, data + std::max(byteCount, 0L));
    return call.Answer();
}

/// The bytes kept. Without a buffer the count becomes their number, with one the number that fits.
LONG Service_BackupUserData(const wchar_t* first, const wchar_t* second, byte* data, LONG* byteCount)
{
    Call call(L"BackupUserData", Text(L"first", first), Text(L"second", second),
              Bytes(L"data", data, *byteCount), Number(L"byteCount", *byteCount));
    const std::vector<BYTE> backup = Locked()->script.backup;
    long count = static_cast<long>(backup.size());
    if (data) {
        count = std::clamp(*byteCount, 0L, count);
        std::copy_n(backup.begin(), count, data);
    }
    *byteCount = count;
    return call.Answer();
}

/// The strings it was given, cut to their fields: the first as user, the second as domain.
LONG Service_GetUserData(const wchar_t* first, const wchar_t* second, FP_RECORD record)
{
    Call call(L"GetUserData", Text(L"first", first), Text(L"second", second));
    constexpr UserRecord sizes = {};
    Fill(record, std::wstring_view(second).substr(0, std::size(sizes.domain) - 1),
         std::wstring_view(first).substr(0, std::size(sizes.user) - 1), L"user-data");
    return call.Answer();
}
