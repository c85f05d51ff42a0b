// What a module says: debugger output, event-log records and the texts it draws with GDI+.
#pragma once

#include <windows.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace WindowsModel {

struct DebugText {
    std::string text;
    DWORD thread;
};

struct EventRecord {
    std::wstring source;
    WORD type;
    std::vector<std::wstring> strings;
};

/// One GdipDrawString that succeeded.
struct Prompt {
    std::wstring text;
    float x, y;
};

/// One GdipDrawImageRectI.
struct DrawnImage {
    int x, y, width, height;
};

struct TextsState {
    std::vector<DebugText> debug;
    std::vector<EventRecord> events;
    /// Names of the event sources that were opened.
    std::map<HANDLE, std::wstring> sources;
    std::vector<Prompt> prompts;
    std::vector<DrawnImage> images;
    /// Starts of GDI+ that succeeded and were not taken back.
    int gdiplusUsers = 0;
    /// Called for each prompt on the thread that draws, after it is drawn and outside the model's lock.
    std::function<void(const std::wstring& text)> onPrompt;
};

} // namespace WindowsModel
