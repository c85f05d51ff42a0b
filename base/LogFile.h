// The text log: one line per statement, in a file of the log folder as long as that folder exists.
#pragma once

#include "CriticalSection.h"

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <string>

/// Decorations of a line, bits of CLogFile's flags. All are on unless toggled.
enum LogFlags : std::uint32_t {
    LOG_TIME = 2,
    LOG_SOURCE_FILE = 4,
    LOG_LINE_NUMBER = 8,
    LOG_FUNCTION = 16,
};

/// Writes UTF-16LE lines without a byte-order mark. The file is reopened by its name for every line; the name
/// is the time of the process's first line. The folder is never created: its existence is the switch; a link
/// in its place counts as missing. Any thread may write; a line allocates nothing itself.
class CLogFile {
public:
    enum Result : std::uint32_t {
        WRITTEN = 0,
        NO_STREAM = 6,
        NO_FOLDER = 8,
    };

    CLogFile() = default;
    ~CLogFile();

    /// The argument is moved in and left empty.
    void SetLogDir(std::string&& folder);
    void SetAltDir(std::string&& folder, std::string&& file);
    void SetMode(std::uint8_t mode) { m_mode = mode; }
    std::uint32_t GetFlags() const { return m_flags; }
    void AddFlags(std::uint32_t flags) { m_flags |= flags; }
    void ToggleFlags(std::uint32_t flags) { m_flags ^= flags; }

    /// Formats by the Windows rule (%s is wide text); what exceeds 255 units is cut. Returns a Result.
    std::uint32_t Write(std::uint32_t level, const wchar_t* format, ...);
    std::uint32_t WriteV(std::uint32_t level, const wchar_t* format, va_list arguments);

private:
    enum class Choice { Stream, Skip, NoFolder };

    Choice ChooseStream(std::uint32_t level, FILE*& stream);
    static FILE* Reopen(FILE*& stream, const std::string& folder, std::string& file);
    void WriteLine(FILE* stream, const wchar_t* format, va_list arguments) const;

    std::uint32_t m_flags = 0xFFFFFFFF;
    std::string m_altDir;
    std::string m_altFile;
    std::string m_logFile;
    std::string m_logDir;
    FILE* m_altStream = nullptr;
    FILE* m_logStream = nullptr;
    CriticalSection m_lock;
    std::uint8_t m_mode = 1;
};

extern CLogFile g_Log;

/// Where a logging statement stands.
struct LogSite {
    const char* source;
    int line;
    const char* label;
};

/// Decorates `message` as the logger's flags ask and writes it at level 2, with printf-style arguments.
void LogStatement(const LogSite& site, const wchar_t* message, ...);

/// FP_LOG("CClass::Method", L"text %d", number). The file that uses it states its tag as `LogSource`.
#define FP_LOG(label, ...) LogStatement({LogSource, __LINE__, label}, __VA_ARGS__)

/// A handle or address as the log's "0x%x" prints it: its low 32 bits.
inline unsigned HandleForLog(const volatile void* value)
{
    return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(value));
}
