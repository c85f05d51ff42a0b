// A process that does not answer, until it goes out of scope.
#pragma once

#include "base/Handle.h"

#include <doctest/doctest.h>

class Suspension {
public:
    explicit Suspension(DWORD processId) : m_process(OpenProcess(PROCESS_SUSPEND_RESUME, FALSE, processId))
    {
        REQUIRE(m_process);
        Call("NtSuspendProcess");
    }
    ~Suspension() { Call("NtResumeProcess"); }
    Suspension(const Suspension&) = delete;
    Suspension& operator=(const Suspension&) = delete;

private:
    void Call(const char* name) const
    {
        const auto function = reinterpret_cast<LONG(NTAPI*)(HANDLE)>(
            reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), name)));
        CHECK(function(m_process.Get()) == 0);
    }

    const KernelHandle m_process;
};
