#include "Transcript.h"
#include "Text.h"

namespace {

LONGLONG Counter()
{
    LARGE_INTEGER counter;
    QueryPerformanceCounter(&counter);
    return counter.QuadPart;
}

} // namespace

Transcript::Transcript() : m_start(Counter())
{
    LARGE_INTEGER frequency;
    if (QueryPerformanceFrequency(&frequency))
        m_frequency = frequency.QuadPart;
}

bool Transcript::AlsoInto(const std::wstring& path)
{
    m_file.Reset(CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                             FILE_ATTRIBUTE_NORMAL, nullptr));
    return static_cast<bool>(m_file);
}

double Transcript::ElapsedMs() const
{
    return static_cast<double>(Counter() - m_start) * 1000.0 / static_cast<double>(m_frequency);
}

void Transcript::Line(const wchar_t* kind, const wchar_t* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const std::wstring text = FormatV(format, arguments);
    va_end(arguments);

    CriticalSectionScope scope(m_lock);
    // The kind stands right against its text, so that a script can look for: prompt "Please ..."
    Write(Format(L"%10.1f ms %9s %s\n", ElapsedMs(), kind, text.c_str()));
}

void Transcript::Write(const std::wstring& line)
{
    Print(STD_OUTPUT_HANDLE, line);
    if (!m_file)
        return;
    const std::string bytes = ToUtf8(line);
    DWORD written = 0;
    WriteFile(m_file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
}
