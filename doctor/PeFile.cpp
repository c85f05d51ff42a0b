#include "PeFile.h"

#include "Handle.h"

#include <cstddef>
#include <cstring>

namespace {

/// No DLL of this kind is anywhere near as large.
constexpr LONGLONG MostBytes = 256LL * 1024 * 1024;

std::vector<unsigned char> ReadWhole(const std::wstring& path)
{
    const HANDLE opened =
        CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING, 0, nullptr);
    if (opened == INVALID_HANDLE_VALUE)
        return {};
    const KernelHandle file(opened);
    LARGE_INTEGER size{};
    if (!GetFileSizeEx(file.Get(), &size) || size.QuadPart > MostBytes)
        return {};
    std::vector<unsigned char> bytes(static_cast<size_t>(size.QuadPart));
    DWORD read = 0;
    if (!ReadFile(file.Get(), bytes.data(), static_cast<DWORD>(bytes.size()), &read, nullptr))
        return {};
    bytes.resize(read);
    return bytes;
}

} // namespace

template <class T>
bool PeFile::Read(size_t offset, T& value) const
{
    if (offset > m_bytes.size() || m_bytes.size() - offset < sizeof value)
        return false;
    std::memcpy(&value, m_bytes.data() + offset, sizeof value);
    return true;
}

PeFile::PeFile(const std::wstring& path) : m_bytes(ReadWhole(path))
{
    IMAGE_DOS_HEADER dos;
    DWORD signature = 0;
    if (Read(0, dos) && dos.e_magic == IMAGE_DOS_SIGNATURE && dos.e_lfanew > 0 &&
        Read(static_cast<size_t>(dos.e_lfanew), signature) && signature == IMAGE_NT_SIGNATURE)
        m_headers = static_cast<size_t>(dos.e_lfanew);
}

unsigned PeFile::Machine() const
{
    IMAGE_FILE_HEADER header;
    return IsExecutable() && Read(m_headers + sizeof(DWORD), header) ? header.Machine : 0;
}

bool PeFile::Is64BitDll() const
{
    IMAGE_NT_HEADERS64 headers;
    return IsExecutable() && Read(m_headers, headers) &&
           headers.FileHeader.Machine == IMAGE_FILE_MACHINE_AMD64 &&
           headers.OptionalHeader.Magic == IMAGE_NT_OPTIONAL_HDR64_MAGIC &&
           (headers.FileHeader.Characteristics & IMAGE_FILE_DLL) != 0;
}

size_t PeFile::Offset(unsigned address) const
{
    IMAGE_NT_HEADERS64 headers;
    if (!Read(m_headers, headers))
        return 0;
    const size_t first =
        m_headers + offsetof(IMAGE_NT_HEADERS64, OptionalHeader) + headers.FileHeader.SizeOfOptionalHeader;
    for (unsigned index = 0; index < headers.FileHeader.NumberOfSections; ++index) {
        IMAGE_SECTION_HEADER section;
        if (!Read(first + index * sizeof section, section))
            return 0;
        if (address >= section.VirtualAddress && address - section.VirtualAddress < section.SizeOfRawData)
            return static_cast<size_t>(section.PointerToRawData) + (address - section.VirtualAddress);
    }
    return 0;
}

bool PeFile::TextAt(size_t offset, const char* text) const
{
    const size_t bytes = std::strlen(text) + 1;
    return offset != 0 && offset < m_bytes.size() && m_bytes.size() - offset >= bytes &&
           std::memcmp(m_bytes.data() + offset, text, bytes) == 0;
}

bool PeFile::Exports(const char* name) const
{
    IMAGE_NT_HEADERS64 headers;
    if (!Is64BitDll() || !Read(m_headers, headers))
        return false;
    const DWORD address = headers.OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT].VirtualAddress;
    IMAGE_EXPORT_DIRECTORY directory;
    const size_t place = address != 0 ? Offset(address) : 0;
    if (place == 0 || !Read(place, directory))
        return false;
    const size_t names = Offset(directory.AddressOfNames);
    for (size_t index = 0; names != 0 && index < directory.NumberOfNames; ++index) {
        DWORD nameAddress = 0;
        if (!Read(names + index * sizeof nameAddress, nameAddress))
            return false;
        if (TextAt(Offset(nameAddress), name))
            return true;
    }
    return false;
}
