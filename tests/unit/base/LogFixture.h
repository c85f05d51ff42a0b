// Folders and log files for the tests of the support library.
#pragma once

#include "LogFile.h"

#include <doctest/doctest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace fs = std::filesystem;

/// The raw UTF-16 units of all files of a folder.
inline std::wstring ReadText(const fs::path& folder)
{
    std::string bytes;
    if (fs::exists(folder)) {
        for (const auto& entry : fs::directory_iterator(folder)) {
            std::ifstream file(entry.path(), std::ios::binary);
            bytes.append(std::istreambuf_iterator<char>(file), {});
        }
    }
    return std::wstring(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / sizeof(wchar_t));
}

/// The same as lines; what follows the last CR LF counts as a line too.
inline std::vector<std::wstring> ReadLines(const fs::path& folder)
{
    std::vector<std::wstring> lines;
    std::wstring text = ReadText(folder);
    for (std::size_t end; !text.empty(); text.erase(0, end == text.npos ? end : end + 2)) {
        end = text.find(L"\r\n");
        lines.push_back(text.substr(0, end));
    }
    return lines;
}

/// A folder of the tests' own. Nothing is there until Create, and nothing after.
class ScratchFolder {
public:
    explicit ScratchFolder(const char* name) : path(fs::temp_directory_path() / name)
    {
        fs::remove_all(path);
    }
    ~ScratchFolder() { fs::remove_all(path); }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    void Create() const { fs::create_directories(path); }

    const fs::path path;
};

/// Has the process's log written to a folder of the tests, without the decorations that vary. The log keeps
/// its file open, so the folder is shared by all tests and stays behind.
class CapturedLog {
public:
    CapturedLog()
    {
        static const bool fresh = (fs::remove_all(Folder()), fs::create_directories(Folder()));
        REQUIRE(fresh);
        g_Log.SetLogDir(Folder().string());
        g_Log.ToggleFlags(LOG_TIME | LOG_LINE_NUMBER);
        m_before = ReadLines(Folder()).size();
    }
    ~CapturedLog()
    {
        g_Log.ToggleFlags(LOG_TIME | LOG_LINE_NUMBER);
        g_Log.SetLogDir({});
    }

    /// The lines written since.
    std::vector<std::wstring> Lines() const
    {
        std::vector<std::wstring> lines = ReadLines(Folder());
        lines.erase(lines.begin(), lines.begin() + m_before);
        return lines;
    }

private:
    static fs::path Folder() { return fs::temp_directory_path() / "vexa-captured-log"; }

    std::ptrdiff_t m_before;
};
