// The hand-over of a logon that the user authenticated before boot.
#pragma once

/// Fetches the pre-boot user's credentials into `record` (386 bytes, laid out as FPData). 0 on success;
/// otherwise the record is left as it is.
long GetAuthUserCreds(void* record);
