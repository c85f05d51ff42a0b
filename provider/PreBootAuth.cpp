#include "PreBootAuth.h"

#include "FPData.h"
#include "LogFile.h"
#include "PreBootLibrary.h"
#include "SehGuard.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

constexpr char LogSource[] = "CommandWindow.cpp";
constexpr char Label[] = "GetAuthUserCreds";

/// Room for what the library asks for, and for a whole record in any case: it may write more than it has
/// asked for. What it has filled is wiped before all is freed, and a whole record in any case: it may report
/// less than it wrote, or fail after it wrote.
class SecretBuffer {
public:
    /// Zero-filled. An empty buffer has an address too: to the library, null asks for the size.
    explicit SecretBuffer(std::size_t size)
        : m_size(size), m_bytes(std::calloc(std::max(size, sizeof(FPData)), 1))
    {
    }
    ~SecretBuffer()
    {
        if (m_bytes != nullptr)
            SecureZeroMemory(m_bytes, std::max(m_filled, sizeof(FPData)));
        std::free(m_bytes);
    }
    SecretBuffer(const SecretBuffer&) = delete;
    SecretBuffer& operator=(const SecretBuffer&) = delete;

    /// As the library is told.
    std::size_t Size() const { return m_size; }
    /// How many bytes somebody has written. Not all of a buffer is touched: the library may have asked for
    /// gigabytes.
    void SetFilled(std::size_t bytes) { m_filled = std::min(bytes, m_size); }
    std::size_t Filled() const { return m_filled; }
    /// Null when there was no memory.
    unsigned char* Get() const { return static_cast<unsigned char*>(m_bytes); }

private:
    const std::size_t m_size;
    std::size_t m_filled = 0;
    void* const m_bytes;
};

/// A call of the delay-loaded library: its status, or the code of the exception that it raised.
template <class Call>
long CallLibrary(Call call)
{
    long status = 0;
    const SehResult guarded = Guarded([&] { status = call(); });
    return guarded.raised ? static_cast<long>(guarded.code) : status;
}

std::size_t SizeOf(long reported)
{
    return static_cast<std::size_t>(std::max(reported, 0L));
}

/// The second of the two calls, with a buffer as large as the first one asked for.
long FetchCredentials(SecretBuffer& buffer, void* record)
{
    unsigned char* const bytes = buffer.Get();
    if (bytes == nullptr)
        return ERROR_NOT_ENOUGH_MEMORY;
    long size = static_cast<long>(buffer.Size());
    const long status = CallLibrary([&] { return vcsWavPbaGetAuthUserCreds(bytes, &size); });
    buffer.SetFilled(SizeOf(size));
    if (status != 0)
        return status;
    FP_LOG(Label, L"vcsWavPbaGetAuthUserCreds 0");
    // The record is always filled whole, with zeros where the library reported less than that.
    std::memset(record, 0, sizeof(FPData));
    std::memcpy(record, bytes, std::min(buffer.Filled(), sizeof(FPData)));
    return status;
}

} // namespace

long GetAuthUserCreds(void* record)
{
    FP_LOG(Label, L"Start");
    long size = 0;
    if (CallLibrary([] { return vcsWavPbaOpen(PreBootLibraryUse); }) != 0)
        FP_LOG(Label, L"vcsWavPbaOpen Fail");
    if (CallLibrary([&] { return vcsWavPbaGetAuthUserCreds(nullptr, &size); }) != 0)
        FP_LOG(Label, L"vcsWavPbaGetAuthUserCreds Size Fail");
    // The library may keep to the buffer until it is closed.
    SecretBuffer buffer(SizeOf(size));
    const long status = FetchCredentials(buffer, record);
    CallLibrary([] { return vcsWavPbaClose(); });
    FP_LOG(Label, L"End");
    return status;
}
