// The fingerprint sensor: a USB device of vendor 138A, products 0008 and 0010.
#pragma once

/// The first sensor that is present: 1 for product 0008, 2 for product 0010, 0 when there is none. `*enabled`
/// tells whether its device node is not disabled; with the result 0 it is false, or the state of another
/// product of the vendor. Failures only go to the event log.
int FindFPDevice(bool* enabled);

/// Is the vendor's first device, whichever product it is, one that can be disabled and is not?
bool IsFPDeviceEnabled();

/// Disables and enables the vendor's devices through the device console tool beside the host program's
/// folder, each time with elevation, and waits until that is done. Its failure is not told.
void RestartFPDevice();
