// The process-wide binding to the fingerprint service, and the probes that tell whether it answers.
// The binding is an unguarded global: a probe may rebind while another thread is inside a call.
#pragma once

#include "VexaFP.h"

/// Composes the string binding and makes the handle; returns 0 or the status of the call that failed. An
/// earlier binding is overwritten, not freed.
RPC_STATUS BindFPService();

/// Frees both, once.
void UnbindFPService();

/// Leaves the binding to a call that is still on it, as the next BindFPService would; nobody frees it.
void ForgetFPService();

/// Binds and calls the service: 1 when it answered, 0 when an exception was raised.
int ConnectFPService();

/// 1: sensor present and enabled; -1: no connection; otherwise what the service answered.
long CheckDeviceIsEnable();

/// Waits for service and sensor: 10 connects 300 ms apart, then 5 checks 200 ms apart. 0 when both are there,
/// -1 otherwise.
int WaitFPService();
