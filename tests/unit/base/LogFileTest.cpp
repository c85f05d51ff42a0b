#include "LogFixture.h"

#include "Handle.h"
#include "Simulation.h"

#include <algorithm>
#include <ctime>

namespace {

constexpr char LogSource[] = "Source.cpp";

/// The folders are missing before and after each test.
struct Folders {
    const fs::path log = fs::temp_directory_path() / "vexa-log";
    const fs::path other = fs::temp_directory_path() / "vexa-log-other";

    Folders() { Remove(); }
    ~Folders() { Remove(); }
    void Remove() const
    {
        fs::remove_all(log);
        fs::remove_all(other);
    }
};

std::wstring LocalTime(std::time_t time, const wchar_t* format)
{
    wchar_t text[32];
    return std::wstring(text, std::wcsftime(text, std::size(text), format, std::localtime(&time)));
}

TEST_CASE_FIXTURE(Folders, "the log folder's existence is the switch")
{
    static std::time_t now = 1'700'000'000;
    Simulation simulation;
    simulation.Replace("_time64", +[](std::time_t*) { return now; });
    CLogFile writer;
    CHECK(writer.Write(2, L"nowhere") == CLogFile::NO_FOLDER);
    writer.SetLogDir(log.string());
    CHECK(writer.Write(2, L"nowhere") == CLogFile::NO_FOLDER);
    CHECK_FALSE(fs::exists(log));

    fs::create_directory(log);
    CHECK(writer.Write(2, L"first %s %d", L"w\u00EFde \u4E2D", 5) == CLogFile::WRITTEN);
    CHECK(ReadLines(log) == std::vector{LocalTime(now, L"%H:%M:%S ") + L"first w\u00EFde \u4E2D 5"});

    // A folder that is not there loses its own lines only, and the file's name stays for life.
    const std::wstring file = LocalTime(now, L"%H-%M-%S.txt");
    now += 12345;
    writer.SetLogDir(other.string());
    CHECK(writer.Write(2, L"lost") == CLogFile::NO_FOLDER);
    fs::create_directory(other);
    CHECK(writer.Write(2, L"elsewhere") == CLogFile::WRITTEN);
    CHECK(fs::exists(other / file));
    CHECK(ReadLines(other) == std::vector{LocalTime(now, L"%H:%M:%S ") + L"elsewhere"});
}

TEST_CASE_FIXTURE(Folders, "a link in the log folder's place counts as missing")
{
    Simulation simulation;
    simulation.Replace(
        "GetFileAttributesA", +[](const char* /*path*/) -> DWORD {
            return FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
        });
    fs::create_directories(log);
    CLogFile writer;
    writer.SetLogDir(log.string());
    CHECK(writer.Write(2, L"nowhere") == CLogFile::NO_FOLDER);
    CHECK(fs::is_empty(log));
}

TEST_CASE("a logging statement is decorated as the flags ask")
{
    const CapturedLog log;
    const std::uint32_t before = g_Log.GetFlags();
    CHECK((before | LOG_TIME | LOG_LINE_NUMBER) == 0xFFFFFFFF);
    for (const std::uint32_t flags : {4, 8, 16, 0}) {
        CAPTURE(flags);
        g_Log.ToggleFlags(g_Log.GetFlags() ^ flags);
        std::wstring expected = flags == 4 ? L" Source.cpp" : flags == 16 ? L" Class::Method" : L"";
        expected += flags == 8 ? L" L=" + std::to_wstring(__LINE__ + 1) : L"";
        FP_LOG("Class::Method", L"user %s, %d%%", L"\u00C4nna", 7);
        CHECK(log.Lines().back() == expected + L" : user \u00C4nna, 7%");
    }
    g_Log.ToggleFlags(g_Log.GetFlags() ^ before);
}

TEST_CASE("an over-long line keeps its first 255 units")
{
    const CapturedLog log;
    const std::wstring letters(700, L'x');
    for (const std::size_t length : {254u, 255u, 256u, 700u}) {
        CHECK(g_Log.Write(2, L"%s", letters.substr(0, length).c_str()) == CLogFile::WRITTEN);
        CHECK(log.Lines().back() == letters.substr(0, std::min<std::size_t>(length, 255)));
    }
    FP_LOG("Label", letters.c_str());
    CHECK(log.Lines().back() == (L" Source.cpp Label : " + letters).substr(0, 255));
}

TEST_CASE_FIXTURE(Folders, "mode and level choose among log and fallback folder")
{
    struct Row {
        std::uint8_t mode;
        std::uint32_t level;
        bool logExists, otherExists;
        std::uint32_t result;
        std::size_t logLines, otherLines;
    };
    for (const Row& row : {Row{1, 2, true, true, CLogFile::WRITTEN, 1, 0},
                           {1, 2, false, true, CLogFile::WRITTEN, 0, 1},
                           {2, 2, true, true, CLogFile::WRITTEN, 1, 0},
                           {2, 2, false, true, CLogFile::WRITTEN, 0, 0},
                           {2, 1, false, true, CLogFile::WRITTEN, 0, 1},
                           {2, 1, false, false, CLogFile::NO_FOLDER, 0, 0},
                           {2, 3, true, true, CLogFile::NO_STREAM, 0, 0}}) {
        INFO(int(row.mode), " ", row.level);
        Remove();
        if (row.logExists)
            fs::create_directory(log);
        if (row.otherExists)
            fs::create_directories(other / "taken");
        CLogFile writer;
        writer.SetLogDir(log.string());
        writer.SetAltDir(other.string(), "other.txt");
        writer.SetMode(row.mode);
        CHECK(writer.Write(row.level, L"line") == row.result);
        CHECK(ReadLines(log).size() == row.logLines);
        CHECK(ReadLines(other).size() == row.otherLines);
    }
    // A file that can't be opened drops the line, nothing more.
    CLogFile writer;
    writer.SetAltDir(other.string(), "taken");
    CHECK(writer.Write(2, L"line") == CLogFile::NO_STREAM);
}

TEST_CASE("lines of several threads never interleave")
{
    // Gives other threads their chance between any two steps of a line.
    static decltype(&std::fwrite) write;
    Simulation simulation;
    simulation.Replace(
        "fwrite",
        +[](const void* data, std::size_t size, std::size_t count, FILE* stream) {
            Sleep(1);
            return write(data, size, count, stream);
        },
        &write);
    const auto writeLines = [](void* text) -> DWORD {
        for (int line = 0; line < 20; ++line)
            FP_LOG("Thread", L"%s", text);
        return 0;
    };
    const CapturedLog log;
    std::vector<KernelHandle> threads;
    std::vector<std::wstring> expected;
    wchar_t texts[][8] = {L"aaaaaaa", L"bbbbbbb", L"ccccccc", L"ddddddd"};
    for (wchar_t* text : texts) {
        threads.emplace_back(CreateThread(nullptr, 0, writeLines, text, 0, nullptr));
        expected.insert(expected.end(), 20, std::wstring(L" Source.cpp Thread : ") + text);
    }
    for (const KernelHandle& thread : threads)
        REQUIRE(WaitForSingleObject(thread.Get(), 60000) == WAIT_OBJECT_0);
    std::vector<std::wstring> lines = log.Lines();
    std::ranges::sort(lines);
    CHECK(lines == expected);
}

} // namespace
