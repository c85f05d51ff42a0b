#include "LogFixture.h"

#include "Handle.h"

#include <doctest/doctest.h>

#include <ctime>

namespace {

constexpr char LogSource[] = "Source.cpp";

/// The local time between two readings of the clock, in the given format.
bool IsTimeBetween(std::time_t from, std::time_t to, const char* format, const std::string& text)
{
    for (std::time_t time = from; time <= to; ++time) {
        char expected[32];
        std::strftime(expected, sizeof expected, format, std::localtime(&time));
        if (text == expected)
            return true;
    }
    return false;
}

std::string Narrow(const std::wstring& text)
{
    return std::string(text.begin(), text.end());
}

TEST_CASE("the log folder's existence is the switch")
{
    const ScratchFolder folder("vexa-log");
    const ScratchFolder other("vexa-log-2");
    CLogFile log;
    CHECK(log.Write(2, L"nowhere") == CLogFile::NO_FOLDER);

    std::string name = folder.path.string();
    log.SetLogDir(std::move(name));
    CHECK(name.empty());
    CHECK(log.Write(2, L"nowhere") == CLogFile::NO_FOLDER);
    CHECK_FALSE(fs::exists(folder.path));

    folder.Create();
    const std::time_t before = std::time(nullptr);
    CHECK(log.Write(2, L"first %s %d", L"w\u00EFde \u4E2D", 5) == CLogFile::WRITTEN);
    const std::time_t after = std::time(nullptr);
    const std::wstring text = ReadText(folder.path);
    CHECK(IsTimeBetween(before, after, "%H:%M:%S ", Narrow(text.substr(0, 9))));
    CHECK(text.substr(9) == L"first w\u00EFde \u4E2D 5\r\n");
    const std::string file = fs::directory_iterator(folder.path)->path().filename().string();
    CHECK(IsTimeBetween(before, after, "%H-%M-%S.txt", file));

    // A folder that is gone loses its own lines only, and the file's name stays for life.
    Sleep(1100);
    log.SetLogDir(other.path.string());
    CHECK(log.Write(2, L"lost") == CLogFile::NO_FOLDER);
    other.Create();
    CHECK(log.Write(2, L"elsewhere") == CLogFile::WRITTEN);
    CHECK(fs::exists(other.path / file));
    CHECK(fs::remove(folder.path / file));
    log.SetLogDir(folder.path.string());
    CHECK(log.Write(2, L"again") == CLogFile::WRITTEN);
    CHECK(fs::exists(folder.path / file));
    CHECK(ReadText(folder.path).substr(9) == L"again\r\n");
}

TEST_CASE("a logging statement is decorated as the flags ask")
{
    const CapturedLog log;
    const std::uint32_t before = g_Log.GetFlags();
    CHECK((before | LOG_TIME | LOG_LINE_NUMBER) == 0xFFFFFFFF);
    for (const std::uint32_t flags : {4 | 8 | 16, 4, 8, 16, 0}) {
        CAPTURE(flags);
        g_Log.ToggleFlags(g_Log.GetFlags() ^ flags);
        std::wstring expected = (flags & 4) != 0 ? L" Source.cpp" : L"";
        expected += (flags & 8) != 0 ? L" L=" + std::to_wstring(__LINE__ + 2) : L"";
        expected += (flags & 16) != 0 ? L" Class::Method" : L"";
        FP_LOG("Class::Method", L"user %s, %d%%", L"\u00C4nna", 7);
        CHECK(log.Lines().back() == expected + L" : user \u00C4nna, 7%");
    }
    g_Log.ToggleFlags(g_Log.GetFlags() ^ before);
}

TEST_CASE("an over-long line keeps its first 255 units and harms no other")
{
    const CapturedLog log;
    const std::wstring letters(700, L'x');
    for (const std::size_t length : {254u, 255u, 256u, 700u})
        CHECK(g_Log.Write(2, L"%s", letters.substr(0, length).c_str()) == CLogFile::WRITTEN);
    FP_LOG("Label", letters.c_str());
    FP_LOG("Label", L"short");

    std::vector<std::wstring> lines = log.Lines();
    REQUIRE(lines.size() == 6);
    CHECK(lines[0] == letters.substr(0, 254));
    for (int i = 1; i <= 3; ++i)
        CHECK(lines[i] == letters.substr(0, 255));
    CHECK(lines[4] == (L" Source.cpp Label : " + letters).substr(0, 255));
    CHECK(lines[5] == L" Source.cpp Label : short");
}

TEST_CASE("mode and level choose among log and fallback folder")
{
    struct Row {
        std::uint8_t mode;
        std::uint32_t level;
        bool logDir, altDir;
        std::uint32_t result;
        int logLines, altLines;
    };
    for (const Row& row : {
             Row{1, 2, true, true, CLogFile::WRITTEN, 1, 0},
             Row{1, 2, false, true, CLogFile::WRITTEN, 0, 1},
             Row{1, 7, false, true, CLogFile::WRITTEN, 0, 1},
             Row{1, 2, false, false, CLogFile::NO_FOLDER, 0, 0},
             Row{2, 2, true, true, CLogFile::WRITTEN, 1, 0},
             Row{2, 2, false, true, CLogFile::WRITTEN, 0, 0},
             Row{2, 1, false, true, CLogFile::WRITTEN, 0, 1},
             Row{0, 1, false, false, CLogFile::NO_FOLDER, 0, 0},
             Row{2, 3, true, true, CLogFile::NO_STREAM, 0, 0},
         }) {
        CAPTURE(int(row.mode));
        CAPTURE(row.level);
        const ScratchFolder logDir("vexa-log");
        const ScratchFolder altDir("vexa-alt");
        if (row.logDir)
            logDir.Create();
        if (row.altDir)
            altDir.Create();
        CLogFile log;
        log.SetLogDir(logDir.path.string());
        log.SetAltDir(altDir.path.string(), "alt.txt");
        log.SetMode(row.mode);
        CHECK(log.Write(row.level, L"line") == row.result);
        CHECK(int(ReadLines(logDir.path).size()) == row.logLines);
        CHECK(int(ReadLines(altDir.path).size()) == row.altLines);
        CHECK(fs::exists(altDir.path / "alt.txt") == (row.altLines > 0));
    }

    // A file that can't be opened drops the line, nothing more.
    const ScratchFolder folder("vexa-alt");
    folder.Create();
    fs::create_directory(folder.path / "taken");
    CLogFile log;
    log.SetAltDir(folder.path.string(), "taken");
    CHECK(log.Write(2, L"line") == CLogFile::NO_STREAM);
    log.SetAltDir(folder.path.string(), "free.txt");
    CHECK(log.Write(2, L"line") == CLogFile::WRITTEN);
}

TEST_CASE("lines of several threads never interleave")
{
    constexpr int Threads = 4;
    constexpr int LinesPerThread = 50;
    const CapturedLog log;
    std::vector<KernelHandle> threads;
    for (int i = 0; i < Threads; ++i) {
        const auto body = [](void* argument) -> DWORD {
            const std::wstring filler(40, static_cast<wchar_t>(reinterpret_cast<std::uintptr_t>(argument)));
            for (int line = 0; line < LinesPerThread; ++line)
                FP_LOG("Thread", L"%s", filler.c_str());
            return 0;
        };
        threads.emplace_back(
            CreateThread(nullptr, 0, body, reinterpret_cast<void*>(std::uintptr_t(L'A' + i)), 0, nullptr));
    }
    for (const KernelHandle& thread : threads)
        REQUIRE(WaitForSingleObject(thread.Get(), 60000) == WAIT_OBJECT_0);

    int linesOf[Threads] = {};
    for (const std::wstring& line : log.Lines()) {
        const wchar_t letter = line.back();
        REQUIRE((letter >= L'A' && letter < L'A' + Threads));
        CHECK(line == L" Source.cpp Thread : " + std::wstring(40, letter));
        ++linesOf[letter - L'A'];
    }
    for (const int count : linesOf)
        CHECK(count == LinesPerThread);
}

} // namespace
