// Is a Windows service running?
#pragma once

/// 1 when the service runs, 0 when it is stopped or can't be queried. A service in any other state (pending,
/// paused) is polled in the rhythm that it asks for until it settles; there is no limit to that.
///
/// `goOn(context)`, when given, is asked before each query of a service that has yet to settle; 0 is the
/// answer once it says no.
int IsServiceRunning(const wchar_t* serviceName, bool (*goOn)(void* context) = nullptr,
                     void* context = nullptr);
