// What a module says: debugger output, event-log records and the texts it draws with GDI+.
#pragma once

#include <windows.h>

#include <functional>
#include <string>
#include <vector>

namespace WindowsModel {

struct DebugText {
    std::string text;
    DWORD thread;
};

struct EventRecord {
    std::wstring source;
    WORD type, category;
    DWORD id;
    std::vector<std::wstring> strings;
    bool hasUserSid;
    DWORD dataBytes;
};

struct EventSource {
    HANDLE handle;
    std::wstring name;
};

/// One GdipDrawString that succeeded.
struct Prompt {
    std::wstring text;
    float x, y, width, height;
    DWORD thread;
};

/// One GdipDrawImageRect or GdipDrawImageRectI.
struct DrawnImage {
    float x, y, width, height;
};

struct TextsState {
    std::vector<DebugText> debug;
    std::vector<EventRecord> events;
    std::vector<EventSource> openSources;
    /// Calls of DeregisterEventSource, or of ReportEventW, with a handle that is not open.
    size_t wrongSources = 0;
    std::vector<Prompt> prompts;
    std::vector<DrawnImage> images;
    /// Called for each prompt on the thread that draws, after it is drawn and outside the model's lock.
    std::function<void(const std::wstring& text)> onPrompt;

    /// The text drawn last, or an empty one.
    std::wstring LastPrompt() const { return prompts.empty() ? std::wstring() : prompts.back().text; }
};

} // namespace WindowsModel
