// Does pre-boot authentication allow a fingerprint tile?
#pragma once

/// Binds the sensor vendor's library for CheckPBA. False when the library or one of its functions is missing.
/// It is never freed.
bool LoadvcsWavePbaFun();

/// Asks the library as long as nobody on this machine has, the fingerprint service from then on; the step-1
/// event is the mark between the two. Called on LogonUI's thread. Leaves no binding to the service.
bool CheckPBA();
