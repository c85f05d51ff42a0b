#include "EventLog.h"

#include "Simulation.h"

TEST_CASE("failure notes reach the event log when their folder exists")
{
    constexpr wchar_t Switch[] = LR"(c:\FPLog)";
    const std::wstring letters(600, L'x');
    Simulation simulation(Group::Texts);
    REQUIRE(GetFileAttributesW(Switch) == INVALID_FILE_ATTRIBUTES);
    ReportFPEvent(L"unheard");
    REQUIRE(CreateDirectoryW(Switch, nullptr));
    simulation.FailNext("RegisterEventSourceW", ERROR_ACCESS_DENIED);
    ReportFPEvent(L"lost");
    CHECK(simulation->texts.events.empty());
    ReportFPEvent(L"SetupDiEnumDeviceInfo %d %s", 259, L"w\u00EFde");
    ReportFPEvent(L"%s", letters.c_str());
    RemoveDirectoryW(Switch);

    const WindowsModel::TextsState texts = simulation.windows.Snapshot().texts;
    REQUIRE(texts.events.size() == 2);
    CHECK(texts.events[0].source == L"VexaFPService");
    CHECK(texts.events[0].type == EVENTLOG_INFORMATION_TYPE);
    CHECK(texts.events[0].strings == std::vector<std::wstring>{L"SetupDiEnumDeviceInfo 259 w\u00EFde"});
    CHECK(texts.events[1].strings == std::vector{letters.substr(0, 511)});
    CHECK(simulation->ledger.Clean());
}
