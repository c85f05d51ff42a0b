#include "Crypto.h"

#include "Handle.h"

#include <wincrypt.h>

#include <cstdint>
#include <cstring>
#include <new>
#include <utility>

namespace {

struct CryptProviderPolicy {
    using Type = HCRYPTPROV;
    static Type Invalid() { return 0; }
    static void Close(Type provider) { CryptReleaseContext(provider, 0); }
};
using CryptProvider = UniqueResource<CryptProviderPolicy>;

struct CryptHashPolicy {
    using Type = HCRYPTHASH;
    static Type Invalid() { return 0; }
    static void Close(Type hash) { CryptDestroyHash(hash); }
};
using CryptHash = UniqueResource<CryptHashPolicy>;

struct CryptKeyPolicy {
    using Type = HCRYPTKEY;
    static Type Invalid() { return 0; }
    static void Close(Type key) { CryptDestroyKey(key); }
};
using CryptKey = UniqueResource<CryptKeyPolicy>;

using Check = std::uint16_t;

constexpr std::size_t MostUnits = 480;
constexpr DWORD AesBlockBytes = 16;
constexpr DWORD WorkBytes = 994;
static_assert((MostUnits * sizeof(wchar_t) + sizeof(Check)) / AesBlockBytes * AesBlockBytes + AesBlockBytes <=
              WorkBytes);

/// Four characters for three bytes, a line break of two after every 64 and at the end, a terminator.
constexpr std::size_t Base64Units = (WorkBytes + 2) / 3 * 4 / 64 * 66 + 66 + 1;

/// Plain and encrypted data take turns in it; nothing of it outlives the call.
struct WorkBuffer {
    WorkBuffer() = default;
    WorkBuffer(const WorkBuffer&) = delete;
    WorkBuffer& operator=(const WorkBuffer&) = delete;
    ~WorkBuffer() { SecureZeroMemory(data, sizeof data); }

    alignas(wchar_t) BYTE data[WorkBytes] = {};
};

/// The key made of a pass phrase, and the provider it belongs to.
struct PhraseKey {
    CryptProvider provider; // destroyed after the key
    CryptKey key;
};

bool AcquireProvider(CryptProvider& provider)
{
    constexpr auto Name = MS_ENH_RSA_AES_PROV_W;
    // An account that never encrypted anything has no default key container yet.
    return CryptAcquireContextW(provider.Put(), nullptr, Name, PROV_RSA_AES, 0) ||
           CryptAcquireContextW(provider.Put(), nullptr, Name, PROV_RSA_AES, CRYPT_NEWKEYSET);
}

/// Mode, initialisation vector and padding stay the provider's own: CBC, zeros, PKCS #5.
bool DeriveKey(std::wstring_view passPhrase, PhraseKey& derived)
{
    if (!std::in_range<std::int32_t>(passPhrase.size()) || !AcquireProvider(derived.provider))
        return false;
    CryptHash hash;
    return CryptCreateHash(derived.provider.Get(), CALG_MD5, 0, 0, hash.Put()) &&
           CryptHashData(hash.Get(), reinterpret_cast<const BYTE*>(passPhrase.data()),
                         static_cast<DWORD>(passPhrase.size() * sizeof(wchar_t)), 0) &&
           CryptDeriveKey(derived.provider.Get(), CALG_AES_128, hash.Get(), CRYPT_NO_SALT, derived.key.Put());
}

/// CRC-16, reflected polynomial 0xA001. Its length is an 8-bit counter by the format's rule: of a longer text
/// only the remainder modulo 256 is covered.
Check ComputeCheck(const BYTE* data, DWORD bytes)
{
    Check crc = 0xFFFF;
    for (const BYTE* const end = data + bytes % 256; data != end; ++data) {
        crc ^= *data;
        for (int bit = 0; bit < 8; ++bit)
            crc = static_cast<Check>((crc & 1) != 0 ? crc >> 1 ^ 0xA001 : crc >> 1);
    }
    return crc;
}

/// Any units, zeros included. Empty for want of memory.
std::wstring MakeText(const wchar_t* units, std::size_t count) noexcept
{
    try {
        return std::wstring(units, count);
    } catch (const std::bad_alloc&) {
        return {};
    }
}

} // namespace

std::wstring EncryptText(std::wstring_view text, std::wstring_view passPhrase)
{
    PhraseKey derived;
    if (text.size() > MostUnits || !DeriveKey(passPhrase, derived))
        return {};

    WorkBuffer work;
    text.copy(reinterpret_cast<wchar_t*>(work.data), text.size());
    DWORD bytes = static_cast<DWORD>(text.size() * sizeof(wchar_t));
    const Check check = ComputeCheck(work.data, bytes);
    std::memcpy(work.data + bytes, &check, sizeof check);
    bytes += sizeof check;
    if (!CryptEncrypt(derived.key.Get(), 0, TRUE, 0, work.data, &bytes, WorkBytes))
        return {};

    wchar_t base64[Base64Units];
    DWORD units = Base64Units;
    if (!CryptBinaryToStringW(work.data, bytes, CRYPT_STRING_BASE64, base64, &units))
        return {};
    return MakeText(base64, units);
}

std::wstring DecryptText(std::wstring_view base64, std::wstring_view passPhrase)
{
    // A length of 0 would ask for everything up to a terminator.
    if (base64.empty() || !std::in_range<std::int32_t>(base64.size()))
        return {};
    PhraseKey derived;
    if (!DeriveKey(passPhrase, derived))
        return {};

    WorkBuffer work;
    DWORD bytes = WorkBytes;
    if (!CryptStringToBinaryW(base64.data(), static_cast<DWORD>(base64.size()), CRYPT_STRING_BASE64,
                              work.data, &bytes, nullptr, nullptr))
        return {};
    // Not left to the provider: it may decrypt a last block that is cut, past the buffer's end.
    if (bytes < sizeof(Check) || bytes % AesBlockBytes != 0)
        return {};
    if (!CryptDecrypt(derived.key.Get(), 0, TRUE, 0, work.data, &bytes) || bytes < sizeof(Check))
        return {};

    bytes -= sizeof(Check);
    Check check = 0;
    std::memcpy(&check, work.data + bytes, sizeof check);
    if (check != ComputeCheck(work.data, bytes))
        return {};
    return MakeText(reinterpret_cast<const wchar_t*>(work.data), bytes / sizeof(wchar_t));
}
