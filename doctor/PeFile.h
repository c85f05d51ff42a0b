// Files read as data: nothing of them is run.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>
#include <vector>

/// At most so many of the file's last bytes; none when it can't be read.
std::vector<unsigned char> ReadEnd(const std::wstring& path, DWORD most);

/// An executable file.
class PeFile {
public:
    explicit PeFile(const std::wstring& path);

    /// A DLL that a 64-bit process can load.
    bool Is64BitDll() const { return WhyUnfit().empty(); }
    /// "is a 32-bit file" and the like; empty for a 64-bit DLL.
    std::wstring WhyUnfit() const;
    bool Exports(std::string_view name) const;

private:
    template <class T>
    bool Read(size_t offset, T& value) const;
    /// 0 for an address that no section holds.
    size_t Offset(unsigned address) const;
    bool TextAt(size_t offset, std::string_view text) const;

    std::vector<unsigned char> m_bytes;
    size_t m_start = 0;
    IMAGE_NT_HEADERS64 m_headers{};
    bool m_readable = false;
};
