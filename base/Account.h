// Questions to Windows before a fingerprint logs its user on.
#pragma once

/// 1 when Windows accepts user name and password right now, else 0. `domain` may be null. An account
/// restriction (empty password, logon hours) counts as accepted: the question is about the password alone.
/// In a session that isn't active an account of another machine is only checked weakly, without asking its
/// domain. Raises the structured exception 0x8007000E when memory is short.
int CheckUserAndPwd(const wchar_t* userName, const wchar_t* password, const wchar_t* domain);

/// Would this machine log on, or wake, without asking for a password?
bool CheckSystemAutoLogon();
