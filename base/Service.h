// Is a Windows service running?
#pragma once

/// 1 when the service runs, 0 when it is stopped or can't be queried. A service in any other state (pending,
/// paused) is polled in its own rhythm until it settles; there is no limit to that.
int IsServiceRunning(const wchar_t* serviceName);
