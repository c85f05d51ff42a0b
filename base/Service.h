// Is a Windows service running?
#pragma once

/// 1 when the service runs, 0 when it is stopped or can't be queried. A service in any other state (pending,
/// paused) is polled in its own rhythm until it settles; there is no limit to that.
///
/// `goOn(context)`, when given, is asked before each further query; 0 is the answer once it says no.
int IsServiceRunning(const wchar_t* serviceName, bool (*goOn)(const void* context) = nullptr,
                     const void* context = nullptr);
