#include "LogFile.h"

#include "WideText.h"

#include <cwchar>
#include <ctime>
#include <io.h>
#include <iterator>

CLogFile g_Log;

namespace {

constexpr std::uint32_t LogLevel = 2;
constexpr std::size_t MessageUnits = 256;
constexpr std::uint32_t EitherFolder = 1; // as a mode for every level, as a level in every mode

/// A link in the folder's place is none: whoever made it would choose where the logon screen writes.
bool FolderExists(const std::string& folder)
{
    return _access(folder.c_str(), 0) == 0 &&
           (GetFileAttributesA(folder.c_str()) & FILE_ATTRIBUTE_REPARSE_POINT) == 0;
}

/// Local time by strftime's rules; empty when it does not fit.
template <std::size_t Size>
void FormatLocalTime(char (&text)[Size], const char* format)
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    text[0] = '\0';
    if (localtime_s(&local, &now) == 0)
        std::strftime(text, Size, format, &local);
}

/// Appends 8-bit text to `text` as far as there is room.
template <std::size_t Size>
void AppendWidened(wchar_t (&text)[Size], const char* narrow)
{
    std::size_t length = wcsnlen(text, Size);
    while (*narrow != '\0' && length + 1 < Size)
        text[length++] = static_cast<unsigned char>(*narrow++);
    text[length] = L'\0';
}

} // namespace

CLogFile::~CLogFile()
{
    CriticalSectionScope scope(m_lock);
    for (FILE* stream : {m_logStream, m_altStream}) {
        if (stream != nullptr)
            std::fclose(stream);
    }
}

void CLogFile::SetLogDir(std::string&& folder)
{
    CriticalSectionScope scope(m_lock);
    m_logDir = std::move(folder);
    folder.clear();
}

void CLogFile::SetAltDir(std::string&& folder, std::string&& file)
{
    CriticalSectionScope scope(m_lock);
    m_altDir = std::move(folder);
    m_altFile = std::move(file);
    folder.clear();
    file.clear();
}

std::uint32_t CLogFile::Write(std::uint32_t level, const wchar_t* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const std::uint32_t result = WriteV(level, format, arguments);
    va_end(arguments);
    return result;
}

std::uint32_t CLogFile::WriteV(std::uint32_t level, const wchar_t* format, va_list arguments)
{
    CriticalSectionScope scope(m_lock);
    FILE* stream = nullptr;
    switch (ChooseStream(level, stream)) {
    case Choice::NoFolder:
        return NO_FOLDER;
    case Choice::Skip:
        return WRITTEN;
    case Choice::Stream:
        break;
    }
    if (stream == nullptr)
        return NO_STREAM;
    WriteLine(stream, format, arguments);
    return WRITTEN;
}

CLogFile::Choice CLogFile::ChooseStream(std::uint32_t level, FILE*& stream)
{
    const bool eitherFolder = m_mode == EitherFolder || level == EitherFolder;
    if (!eitherFolder && level != LogLevel)
        return Choice::Stream;
    if (FolderExists(m_logDir)) {
        stream = Reopen(m_logStream, m_logDir, m_logFile);
        return Choice::Stream;
    }
    if (!eitherFolder)
        return Choice::Skip;
    if (FolderExists(m_altDir)) {
        stream = Reopen(m_altStream, m_altDir, m_altFile);
        return Choice::Stream;
    }
    return Choice::NoFolder;
}

FILE* CLogFile::Reopen(FILE*& stream, const std::string& folder, std::string& file)
{
    if (file.empty()) {
        char name[32];
        FormatLocalTime(name, "%H-%M-%S.txt");
        file = name;
    }
    if (stream != nullptr)
        std::fclose(stream);
    stream = nullptr;
    char path[MAX_PATH];
    const int length = std::snprintf(path, sizeof path, "%s\\%s", folder.c_str(), file.c_str());
    if (length > 0 && static_cast<std::size_t>(length) < sizeof path)
        stream = std::fopen(path, "ab");
    return stream;
}

void CLogFile::WriteLine(FILE* stream, const wchar_t* format, va_list arguments) const
{
    wchar_t line[16 + MessageUnits] = {};
    if ((m_flags & LOG_TIME) != 0) {
        char stamp[16];
        FormatLocalTime(stamp, "%H:%M:%S ");
        AppendWidened(line, stamp);
    }
    wchar_t message[MessageUnits] = {};
    FormatWideText(message, format, arguments);
    std::wcscat(line, message);

    std::fwrite(line, sizeof(wchar_t), std::wcslen(line), stream);
    std::fwrite(L"\r\n", sizeof(wchar_t), 2, stream);
    std::fflush(stream);
}

void LogStatement(const LogSite& site, const wchar_t* message, ...)
{
    wchar_t text[2 * MessageUnits] = {};
    char part[256];
    const std::uint32_t flags = g_Log.GetFlags();
    if ((flags & LOG_SOURCE_FILE) != 0) {
        std::snprintf(part, sizeof part, " %s", site.source);
        AppendWidened(text, part);
    }
    if ((flags & LOG_LINE_NUMBER) != 0) {
        std::snprintf(part, sizeof part, " L=%d", site.line);
        AppendWidened(text, part);
    }
    if ((flags & LOG_FUNCTION) != 0) {
        std::snprintf(part, sizeof part, " %s", site.label);
        AppendWidened(text, part);
    }
    AppendWidened(text, " : ");
    std::wcsncat(text, message, std::size(text) - std::wcslen(text) - 1);

    // The decorated text is itself the format: the message's placeholders are filled by Write.
    va_list arguments;
    va_start(arguments, message);
    g_Log.WriteV(LogLevel, text, arguments);
    va_end(arguments);
}
