#include "EventLog.h"

#include "Handle.h"
#include "WideText.h"

#include <shlwapi.h>

#include <cstdarg>

namespace {

constexpr wchar_t SwitchFolder[] = LR"(c:\FPLog)";
constexpr wchar_t SourceName[] = L"VexaFPService";

struct EventSourcePolicy {
    using Type = HANDLE;
    static Type Invalid() { return nullptr; }
    static void Close(Type source) { DeregisterEventSource(source); }
};
using EventSource = UniqueResource<EventSourcePolicy>;

} // namespace

void ReportFPEvent(const wchar_t* format, ...)
{
    if (!PathFileExistsW(SwitchFolder))
        return;

    wchar_t text[512] = {};
    va_list arguments;
    va_start(arguments, format);
    FormatWideText(text, format, arguments);
    va_end(arguments);

    const EventSource source(RegisterEventSourceW(nullptr, SourceName));
    if (!source)
        return;
    const wchar_t* strings[] = {text};
    ReportEventW(source.Get(), EVENTLOG_INFORMATION_TYPE, 0, 0, nullptr, 1, 0, strings, nullptr);
}
