// Executable files, read as data: nothing of them is run.
#pragma once

#include <string>
#include <vector>

class PeFile {
public:
    /// An unreadable file is like a file that is no executable.
    explicit PeFile(const std::wstring& path);

    bool IsExecutable() const { return m_headers != 0; }
    unsigned Machine() const;
    /// A DLL that a 64-bit process can load.
    bool Is64BitDll() const;
    bool Exports(const char* name) const;

private:
    template <class T>
    bool Read(size_t offset, T& value) const;
    /// 0 for an address that no section holds.
    size_t Offset(unsigned address) const;
    bool TextAt(size_t offset, const char* text) const;

    std::vector<unsigned char> m_bytes;
    /// Offset of the headers; 0 without.
    size_t m_headers = 0;
};
