// The texts that the prompt window shows, in twelve languages.
#pragma once

#include <windows.h>

#include <array>

enum MessageRole {
    MSG_MANUAL_LOGON,   // the lock-out count of matches was reached
    MSG_SCAN_FINGER,    // ready, waiting for a finger
    MSG_WRONG_PASSWORD, // the password stored for the finger was rejected
    MSG_SCAN_AGAIN,     // right after a wrong password
    MSG_LOADING,        // at first
    MSG_SENSOR_FAILED,  // nobody is enrolled, or identification failed for good
    MESSAGE_COUNT,
};

/// One language's texts by role, static storage.
using MessageSet = std::array<const wchar_t*, MESSAGE_COUNT>;

/// The current texts: English until a command window is constructed. Written before any worker thread exists.
extern MessageSet g_Messages;

/// Makes the texts of a language current. The whole identifier counts, sort order included.
void SelectMessages(LCID lcid);
