#include "PeFile.h"

#include "Handle.h"
#include "Text.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

std::vector<unsigned char> ReadEnd(const std::wstring& path, DWORD most)
{
    const HANDLE opened =
        CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING, 0, nullptr);
    if (opened == INVALID_HANDLE_VALUE)
        return {};
    const KernelHandle file(opened);
    LARGE_INTEGER size{};
    LARGE_INTEGER start{};
    GetFileSizeEx(file.Get(), &size);
    start.QuadPart = std::max<LONGLONG>(size.QuadPart - most, 0);
    SetFilePointerEx(file.Get(), start, nullptr, FILE_BEGIN);
    std::vector<unsigned char> bytes(static_cast<size_t>(size.QuadPart - start.QuadPart));
    DWORD read = 0;
    ReadFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr);
    bytes.resize(read);
    return bytes;
}

template <class T>
bool PeFile::Read(size_t offset, T& value) const
{
    if (offset > m_bytes.size() || m_bytes.size() - offset < sizeof value)
        return false;
    std::memcpy(&value, m_bytes.data() + offset, sizeof value);
    return true;
}

// No DLL of this kind is anywhere near as large.
PeFile::PeFile(const std::wstring& path) : m_bytes(ReadEnd(path, 256 * 1024 * 1024))
{
    IMAGE_DOS_HEADER dos;
    if (Read(0, dos) && dos.e_magic == IMAGE_DOS_SIGNATURE && dos.e_lfanew > 0)
        m_start = static_cast<size_t>(dos.e_lfanew);
    m_readable = m_start != 0 && Read(m_start, m_headers) && m_headers.Signature == IMAGE_NT_SIGNATURE;
}

std::wstring PeFile::WhyUnfit() const
{
    const IMAGE_FILE_HEADER& header = m_headers.FileHeader;
    if (!m_readable)
        return L"can't be read or is damaged";
    if (header.Machine == IMAGE_FILE_MACHINE_I386)
        return L"is a 32-bit file";
    if (header.Machine != IMAGE_FILE_MACHINE_AMD64)
        return Format(L"is made for another processor (machine 0x%04X)", header.Machine);
    if ((header.Characteristics & IMAGE_FILE_DLL) == 0)
        return L"is a program, not a DLL";
    return m_headers.OptionalHeader.Magic == IMAGE_NT_OPTIONAL_HDR64_MAGIC ? L"" : L"is damaged";
}

size_t PeFile::Offset(unsigned address) const
{
    const size_t first =
        m_start + offsetof(IMAGE_NT_HEADERS64, OptionalHeader) + m_headers.FileHeader.SizeOfOptionalHeader;
    IMAGE_SECTION_HEADER section;
    for (unsigned index = 0; index < m_headers.FileHeader.NumberOfSections; ++index) {
        if (!Read(first + index * sizeof section, section))
            return 0;
        if (address >= section.VirtualAddress && address - section.VirtualAddress < section.SizeOfRawData)
            return static_cast<size_t>(section.PointerToRawData) + (address - section.VirtualAddress);
    }
    return 0;
}

bool PeFile::TextAt(size_t offset, std::string_view text) const
{
    // Its terminator belongs to it.
    return offset != 0 && offset < m_bytes.size() && m_bytes.size() - offset > text.size() &&
           std::memcmp(m_bytes.data() + offset, text.data(), text.size()) == 0 &&
           m_bytes[offset + text.size()] == 0;
}

bool PeFile::Exports(std::string_view name) const
{
    if (!Is64BitDll())
        return false;
    IMAGE_EXPORT_DIRECTORY directory;
    const size_t place =
        Offset(m_headers.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress);
    if (place == 0 || !Read(place, directory))
        return false;
    const size_t names = Offset(directory.AddressOfNames);
    DWORD address = 0;
    for (size_t index = 0; names != 0 && index < directory.NumberOfNames; ++index) {
        if (!Read(names + index * sizeof address, address))
            return false;
        if (TextAt(Offset(address), name))
            return true;
    }
    return false;
}
