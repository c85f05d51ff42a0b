// The service's named procedures as functions. Each has its procedure's parameters and result. A structured
// exception that the call raises (RPC failures arrive so) is raised again with the same code, continuable,
// and one argument: the address of the function's own name, e.g. "RPCAPI::ListEnroll". Records are 386 bytes:
// see FP_RECORD. Strings are zero-terminated and never null unless stated.
#pragma once

#include "VexaFP.h"

namespace RPCAPI {

/// `records`: null, or *recordCount * 386 bytes.
long ListEnroll(byte* records, long* value, long* recordCount);
long EnrollCapture(long* value);
long EnrollCommit(byte* record);
long EnrollBegin();
long EnrollCount(long* count);
/// `fingers`: receives 10 bytes.
long ListUserFinger(const wchar_t* first, const wchar_t* second, byte* fingers);
/// Blocks in the service until a finger is placed or CaptureStop is called. 0: matched, `record` is filled;
/// 501: busy.
long IdentifyEnroll(byte* record);
long IdleIdentifyEnroll(byte* record);
/// `record` may be null.
long ModifyUserData(FP_RECORD* record, unsigned char flag);
long DeleteFinger(const wchar_t* first, const wchar_t* second, unsigned char finger);
/// `first` and `second` may be null.
long SetFAP(const unsigned char* first, const unsigned char* second, const wchar_t* third);
/// `version`: receives 80 units.
long GetFPVersion(wchar_t* version);
long GetAuthUserCreds(byte* record);
long IsAdminRegister();
long IsFAPSet(const wchar_t* name);
long ResotreUserData(byte* record, const byte* data, long byteCount);
/// `data`: null, or *byteCount bytes.
long BackupUserData(const wchar_t* first, const wchar_t* second, byte* data, long* byteCount);
long GetUserData(const wchar_t* first, const wchar_t* second, byte* record);
long DeleteUserData(const wchar_t* first, const wchar_t* second);
long DeleteFAPUserData(const wchar_t* name, unsigned char flag);
long PbaEnable(unsigned char enable);
long IsPbaEnable();
void CaptureStop();

} // namespace RPCAPI
