// The hand-over of a logon that the user authenticated before boot.
#pragma once

/// Fetches the pre-boot user's credentials into `record` (386 bytes, laid out as FPData). 0 on success;
/// otherwise the library's status, or the code of the structured exception that a missing library raises, and
/// the record is left as it is. Called on the identification thread.
long GetAuthUserCreds(void* record);
