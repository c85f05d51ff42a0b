// Reading log files, and capturing what this process writes to its own log.
#pragma once

#include "LogFile.h"

#include <doctest/doctest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

namespace fs = std::filesystem;

/// The lines of all files of a folder; what follows the last CR LF counts as a line too.
inline std::vector<std::wstring> ReadLines(const fs::path& folder)
{
    std::vector<std::wstring> lines;
    std::error_code missing;
    for (const auto& entry : fs::directory_iterator(folder, missing)) {
        std::ifstream file(entry.path(), std::ios::binary);
        const std::string bytes(std::istreambuf_iterator<char>(file), {});
        std::wstring text(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / sizeof(wchar_t));
        for (std::size_t end; !text.empty(); text.erase(0, end == text.npos ? end : end + 2)) {
            end = text.find(L"\r\n");
            lines.push_back(text.substr(0, end));
        }
    }
    return lines;
}

/// Has the process's log written to a folder of the tests, without the decorations that vary. The log keeps
/// its file open, so the folder is shared by all tests and stays behind.
class CapturedLog {
public:
    CapturedLog()
    {
        static const bool fresh = (fs::remove_all(m_folder), fs::create_directories(m_folder));
        REQUIRE(fresh);
        m_before = ReadLines(m_folder).size();
        g_Log.SetLogDir(m_folder.string());
        g_Log.ToggleFlags(LOG_TIME | LOG_LINE_NUMBER);
    }
    ~CapturedLog()
    {
        g_Log.ToggleFlags(LOG_TIME | LOG_LINE_NUMBER);
        g_Log.SetLogDir({});
    }

    /// The lines written since.
    std::vector<std::wstring> Lines() const
    {
        std::vector<std::wstring> lines = ReadLines(m_folder);
        lines.erase(lines.begin(), lines.begin() + m_before);
        return lines;
    }

private:
    fs::path m_folder = fs::temp_directory_path() / "vexa-captured-log";
    std::ptrdiff_t m_before;
};
