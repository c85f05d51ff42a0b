// The sensor vendor's pre-boot authentication library, as this system calls it. Each function returns a
// status, 0 for success. Calls linked through this header are bound when they are first made, and raise a
// structured exception when the library or the function is missing.
#pragma once

extern "C" {

/// Opens the library for the caller; `use` selects for what.
__declspec(dllimport) long vcsWavPbaOpen(unsigned char use);

/// Sets *enabled to non-zero when pre-boot authentication is enabled.
__declspec(dllimport) long vcsWavIsPbaEnabled(unsigned char* enabled);

/// With a null buffer, reports the size in bytes that is needed; with a buffer, fills it.
__declspec(dllimport) long vcsWavPbaGetAuthUserCreds(unsigned char* buffer, long* size);

/// Ends the use that vcsWavPbaOpen began.
__declspec(dllimport) long vcsWavPbaClose();
}
