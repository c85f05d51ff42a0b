// The record of a run that a person can read and a script can wait on: one line per happening, in UTF-8, on
// the standard output and, if asked for, in a file as well.
#pragma once

#include "base/CriticalSection.h"
#include "base/Handle.h"

#include <string>

struct FileHandlePolicy {
    using Type = HANDLE;
    static Type Invalid() { return INVALID_HANDLE_VALUE; }
    static void Close(Type handle) { CloseHandle(handle); }
};
using FileHandle = UniqueResource<FileHandlePolicy>;

class Transcript {
public:
    Transcript();

    /// False, with the last error set, when the file can't be written.
    bool AlsoInto(const std::wstring& path);

    /// "   12.3 ms  <kind> <text>": every line leaves at once and whole. Called from any thread.
    void Line(const wchar_t* kind, const wchar_t* format, ...);

    double ElapsedMs() const;

private:
    void Write(const std::wstring& line);

    CriticalSection m_lock;
    FileHandle m_file;
    LONGLONG m_start = 0;
    LONGLONG m_frequency = 1;
};
