#include "Transcript.h"
#include "Names.h"

bool Transcript::AlsoInto(const std::wstring& path)
{
    const HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    m_file.Reset(file);
    return true;
}

void Transcript::Line(const wchar_t* kind, const wchar_t* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const std::wstring text = FormatV(format, arguments);
    va_end(arguments);

    CriticalSectionScope scope(m_lock);
    // The kind stands right against its text, so that a script can look for: prompt "Please ..."
    const std::wstring line = Format(L"%10.1f ms %9s %s\n", ElapsedMs(), kind, text.c_str());
    PrintOut(line);
    if (!m_file)
        return;
    const std::string bytes = ToUtf8(line);
    DWORD written = 0;
    WriteFile(m_file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
}

void Transcript::Violation(const std::wstring& text)
{
    InterlockedIncrement(&m_findings.violations);
    Line(L"violation", L"%s", text.c_str());
}

void Transcript::LeftBehind(const std::wstring& text)
{
    InterlockedIncrement(&m_findings.leftBehind);
    Line(L"leftover", L"%s", text.c_str());
}

std::wstring Transcript::Current()
{
    CriticalSectionScope scope(m_lock);
    return m_current;
}

double Transcript::Enter(const std::wstring& name)
{
    CriticalSectionScope scope(m_lock);
    m_current = name;
    return ElapsedMs();
}

void Transcript::Leave(const std::wstring& name, const std::wstring& result, double took)
{
    {
        CriticalSectionScope scope(m_lock);
        m_current.clear();
    }
    if (m_news)
        m_news();
    Line(L"call", L"%s = %s  [%.1f ms]", name.c_str(), result.c_str(), took);
}

std::wstring Transcript::ResultText(HRESULT result, const std::wstring& details)
{
    return details.empty() ? HresultName(result) : HresultName(result) + L", " + details;
}
