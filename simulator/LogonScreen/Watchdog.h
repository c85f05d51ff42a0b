// Ends the process when the provider does not return from a call, or crashes: a script must get its verdict
// then too.
#pragma once

#include "Transcript.h"

class Watchdog {
public:
    explicit Watchdog(Transcript& log);
    ~Watchdog();
    Watchdog(const Watchdog&) = delete;
    Watchdog& operator=(const Watchdog&) = delete;

    /// From now on the next Allow has to come within that time.
    void Allow(DWORD ms);

private:
    PTP_TIMER m_timer;
};
