// One life of a fingerprint tile, led step by step: by the DLL that ships, or by a bare program that makes
// the same calls of Windows and of the service in the same order.
#pragma once

#include "base/Handle.h"

#include <atomic>
#include <memory>
#include <string>
#include <vector>

/// The moment, as ServiceClient::Now(), at which something happened for the first time since Reset.
class Signal {
public:
    void Reset();
    void Raise();
    /// Throws when it does not come within 20 s.
    long long Await() const;

private:
    std::atomic<long long> m_at = 0;
    KernelHandle m_raised{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
};

struct Signals {
    Signal painted;   // a prompt
    Signal announced; // the identified user, to the logon screen
};

/// What the bare program writes at the places where the shipped DLL does: its own texts, learned from its
/// log.
struct LogTexts {
    std::vector<std::wstring> match; // from the service's answer to the announcement
    std::wstring single;
};

class Life {
public:
    virtual ~Life() = default;

    /// The creation gate, up to the provider.
    virtual void Create() = 0;
    /// Brings the window up; `painted` follows.
    virtual void Start() = 0;
    virtual void Serialize() = 0;
    virtual void LogLine() = 0;
    virtual void Release() = 0;
    /// Waits until nothing of the life is left.
    virtual void AwaitEnd() = 0;
    virtual HWND Window() const = 0;
};

std::unique_ptr<Life> MakeShippedLife(Signals& signals);

/// In BareProgram.dll. Without texts it writes no log. `stopApart`: at its release it stops the capture on a
/// thread of its own, as the shipped DLL has to, since a service that hangs must not hold the logon screen.
extern "C" __declspec(dllexport) Life* MakeBareLife(Signals& signals, const LogTexts* texts, bool stopApart);

/// Throws std::runtime_error with `what` unless `holds`.
void Require(bool holds, const char* what);
