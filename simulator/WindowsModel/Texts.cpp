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

using Startup = int(ULONG_PTR* token, const void* input, void* output);
using Shutdown = void(ULONG_PTR token);
using DrawString = int(void* graphics, const wchar_t* text, int length, const void* font,
                       const Rectangle* layout, const void* format, const void* brush);
using DrawImageRectI = int(void* graphics, void* image, int x, int y, int width, int height);

void ModelOutputDebugStringA(const char* text)
{
    if (text != nullptr)
        ModelState()->texts.debug.push_back({text, GetCurrentThreadId()});
    SIM_ORIGINAL(OutputDebugStringA)(text);
}

HANDLE ModelRegisterEventSourceW(const wchar_t* /*server*/, const wchar_t* source)
{
    const ModelState state;
    const HANDLE handle = state->ledger.Open();
    state->texts.sources[handle] = source;
    return handle;
}

BOOL ModelReportEventW(HANDLE handle, WORD type, WORD /*category*/, DWORD /*id*/, PSID /*userSid*/,
                       WORD count, DWORD /*dataBytes*/, const wchar_t** strings, void* /*data*/)
{
    const ModelState state;
    if (!state->ledger.Holds(handle))
        return Answer(ERROR_INVALID_HANDLE);
    state->texts.events.push_back({state->texts.sources[handle], type, {strings, strings + count}});
    return TRUE;
}

BOOL ModelDeregisterEventSource(HANDLE handle)
{
    const ModelState state;
    state->texts.sources.erase(handle);
    return Answer(state->ledger.Close(handle) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE);
}

int ModelGdiplusStartup(ULONG_PTR* token, const void* input, void* output)
{
    const int status = g_original<"GdiplusStartup", Startup>(token, input, output);
    ModelState()->texts.gdiplusUsers += status == GdiplusOk;
    return status;
}

void ModelGdiplusShutdown(ULONG_PTR token)
{
    --ModelState()->texts.gdiplusUsers;
    g_original<"GdiplusShutdown", Shutdown>(token);
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
        state->texts.prompts.push_back({drawn, layout->x, layout->y});
        onPrompt = state->texts.onPrompt;
    }
    if (onPrompt)
        onPrompt(drawn);
    return status;
}

int ModelGdipDrawImageRectI(void* graphics, void* image, int x, int y, int width, int height)
{
    const int status = g_original<"GdipDrawImageRectI", DrawImageRectI>(graphics, image, x, y, width, height);
    if (status == GdiplusOk)
        ModelState()->texts.images.push_back({x, y, width, height});
    return status;
}

const Replacement g_replacements[] = {
    SIM_MODELLED(Texts, Never, OutputDebugStringA, ModelOutputDebugStringA),
    SIM_MODELLED(Texts, LastError, RegisterEventSourceW, ModelRegisterEventSourceW),
    SIM_MODELLED(Texts, LastError, ReportEventW, ModelReportEventW),
    SIM_MODELLED(Texts, LastError, DeregisterEventSource, ModelDeregisterEventSource),
    SIM_MODELLED_AS(Texts, Status, GdiplusStartup, ModelGdiplusStartup, Startup),
    SIM_MODELLED_AS(Texts, Never, GdiplusShutdown, ModelGdiplusShutdown, Shutdown),
    SIM_MODELLED_AS(Texts, Status, GdipDrawString, ModelGdipDrawString, DrawString),
    SIM_MODELLED_AS(Texts, Status, GdipDrawImageRectI, ModelGdipDrawImageRectI, DrawImageRectI),
};
const Table g_table(g_replacements);

} // namespace

} // namespace WindowsModel
