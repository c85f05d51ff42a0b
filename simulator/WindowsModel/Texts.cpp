#include "WindowsModel/Texts.h"

#include "WindowsModel/Replacement.h"

#include <cwchar>

namespace WindowsModel {

namespace {

/// GDI+'s RectF, whose header brings its whole C++ world along.
struct Rectangle {
    float x, y, width, height;
};
constexpr int GdiplusOk = 0;

using DrawString = int(void* graphics, const wchar_t* text, int length, const void* font,
                       const Rectangle* layout, const void* format, const void* brush);
using DrawImageRect = int(void* graphics, void* image, float x, float y, float width, float height);
using DrawImageRectI = int(void* graphics, void* image, int x, int y, int width, int height);

void ModelOutputDebugStringA(const char* text)
{
    if (text != nullptr)
        ModelState()->texts.debug.push_back({text, GetCurrentThreadId()});
    SIM_ORIGINAL(OutputDebugStringA)(text);
}

HANDLE ModelRegisterEventSourceW(const wchar_t* /*server*/, const wchar_t* source)
{
    if (source == nullptr) {
        Answer(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    const ModelState state;
    const HANDLE handle = NewHandle();
    state->texts.openSources.push_back({handle, source});
    return handle;
}

EventSource* FindSource(TextsState& texts, HANDLE handle)
{
    for (EventSource& source : texts.openSources) {
        if (source.handle == handle)
            return &source;
    }
    ++texts.wrongSources;
    return nullptr;
}

DWORD Report(HANDLE handle, EventRecord record)
{
    const ModelState state;
    const EventSource* const source = FindSource(state->texts, handle);
    if (source == nullptr)
        return ERROR_INVALID_HANDLE;
    record.source = source->name;
    state->texts.events.push_back(std::move(record));
    return ERROR_SUCCESS;
}

BOOL ModelReportEventW(HANDLE handle, WORD type, WORD category, DWORD id, PSID userSid, WORD count,
                       DWORD dataBytes, const wchar_t** strings, void* /*data*/)
{
    if (count != 0 && strings == nullptr)
        return Answer(ERROR_INVALID_PARAMETER);
    EventRecord record{{}, type, category, id, {}, userSid != nullptr, dataBytes};
    for (WORD index = 0; index < count; ++index)
        record.strings.push_back(TextOrEmpty(strings[index]));
    return Answer(Report(handle, std::move(record)));
}

DWORD Deregister(HANDLE handle)
{
    const ModelState state;
    EventSource* const source = FindSource(state->texts, handle);
    if (source == nullptr)
        return ERROR_INVALID_HANDLE;
    state->texts.openSources.erase(state->texts.openSources.begin() +
                                   (source - state->texts.openSources.data()));
    return ERROR_SUCCESS;
}

BOOL ModelDeregisterEventSource(HANDLE handle)
{
    return Answer(Deregister(handle));
}

int ModelGdipDrawString(void* graphics, const wchar_t* text, int length, const void* font,
                        const Rectangle* layout, const void* format, const void* brush)
{
    const int status =
        g_original<"GdipDrawString", DrawString>(graphics, text, length, font, layout, format, brush);
    if (status != GdiplusOk)
        return status;
    const KeepLastError keep;
    const std::wstring drawn =
        length < 0 ? std::wstring(text) : std::wstring(text, wcsnlen(text, size_t(length)));
    std::function<void(const std::wstring&)> onPrompt;
    {
        const ModelState state;
        state->texts.prompts.push_back(
            {drawn, layout->x, layout->y, layout->width, layout->height, GetCurrentThreadId()});
        onPrompt = state->texts.onPrompt;
    }
    if (onPrompt)
        onPrompt(drawn);
    return status;
}

int ModelGdipDrawImageRect(void* graphics, void* image, float x, float y, float width, float height)
{
    const int status = g_original<"GdipDrawImageRect", DrawImageRect>(graphics, image, x, y, width, height);
    if (status == GdiplusOk)
        ModelState()->texts.images.push_back({x, y, width, height});
    return status;
}

int ModelGdipDrawImageRectI(void* graphics, void* image, int x, int y, int width, int height)
{
    const int status = g_original<"GdipDrawImageRectI", DrawImageRectI>(graphics, image, x, y, width, height);
    if (status == GdiplusOk)
        ModelState()->texts.images.push_back({float(x), float(y), float(width), float(height)});
    return status;
}

const Replacement g_replacements[] = {
    SIM_MODELLED(Texts, Never, OutputDebugStringA, ModelOutputDebugStringA),
    SIM_MODELLED(Texts, LastError, RegisterEventSourceW, ModelRegisterEventSourceW),
    SIM_MODELLED(Texts, LastError, ReportEventW, ModelReportEventW),
    SIM_MODELLED(Texts, LastError, DeregisterEventSource, ModelDeregisterEventSource),
    SIM_MODELLED_AS(Texts, Status, GdipDrawString, ModelGdipDrawString, DrawString),
    SIM_MODELLED_AS(Texts, Status, GdipDrawImageRect, ModelGdipDrawImageRect, DrawImageRect),
    SIM_MODELLED_AS(Texts, Status, GdipDrawImageRectI, ModelGdipDrawImageRectI, DrawImageRectI),
};

} // namespace

std::span<const Replacement> TextReplacements()
{
    return g_replacements;
}

} // namespace WindowsModel
