#include "Crypto.h"

#include "Simulation.h"

#include <wincrypt.h>

#include <utility>

namespace {

// Made with the openssl program instead of Windows. The check of at most 255 bytes is CRC-16/MODBUS of the
// text in UTF-16LE, of longer ones that of their first (length modulo 256) bytes; it follows the text, low
// byte first.
//   H = MD5 of the phrase in UTF-16LE, filled with zeros to 64 bytes
//   K = first 16 bytes of MD5(H with each byte XOR 0x36) followed by MD5(H with each byte XOR 0x5C)
//   openssl enc -aes-128-cbc -K $K -iv 0 < text-and-check | base64
constexpr wchar_t Phrase[] = L"P\u00E4ss \u6307\u7D0B";
/// Lengths in units, and a hash of the Base64 text of each.
constexpr std::pair<unsigned, unsigned> Vectors[] = {
    {0, 0x2C8D7241},   {1, 0xF64CF895},   {127, 0xCF6A78FD}, {128, 0x74073716},
    {129, 0xBB29E884}, {200, 0xC11DEA44}, {480, 0x5155BCA4},
};
constexpr wchar_t HalfUnit[] = L"gU7tEENQjrHnnfAMuM93RQ==";  // three bytes of text, L"A" and a half
constexpr wchar_t HalfCheck[] = L"F718aNvYeyBFP40dvag/Yg=="; // one byte in all
constexpr wchar_t Nothing[] = L"eZfH5cTuvfUU3MKSB76RJg==";   // padding only

std::wstring Text(unsigned units)
{
    std::wstring text;
    for (unsigned i = 0; i < units; ++i)
        text += static_cast<wchar_t>(i * 121 + 0x41);
    return text;
}

/// FNV-1a.
unsigned Hash(const std::wstring& text)
{
    unsigned hash = 2166136261;
    for (const wchar_t unit : text)
        hash = (hash ^ unit) * 16777619;
    return hash;
}

TEST_CASE("texts are encrypted as another implementation does it, and decrypted again")
{
    // An account without a key container gets one; there may be none to delete.
    HCRYPTPROV none = 0;
    CryptAcquireContextW(&none, nullptr, MS_ENH_RSA_AES_PROV_W, PROV_RSA_AES, CRYPT_DELETEKEYSET);
    for (const auto& [units, hash] : Vectors) {
        CAPTURE(units);
        const std::wstring base64 = EncryptText(Text(units), Phrase);
        CHECK(Hash(base64) == hash);
        CHECK(DecryptText(base64, Phrase) == Text(units));
    }
    CHECK(EncryptText(Text(481), Phrase).empty());
    CHECK(DecryptText(HalfUnit, Phrase) == L"A");
    const std::wstring withZero(L"a\0b", 3);
    CHECK(DecryptText(EncryptText(withZero, L""), L"") == withZero);
}

TEST_CASE("what was not made with the phrase, or is damaged, decrypts to nothing")
{
    const std::wstring base64 = EncryptText(Text(20), Phrase);
    REQUIRE(base64.size() == 66); // three blocks and a line end, with nothing to fill up
    for (const wchar_t* phrase : {L"", L"wrong", L"p\u00E4ss \u6307\u7D0B", L"P\u00E4ss \u6307"})
        CHECK(DecryptText(base64, phrase).empty());
    for (unsigned i = 0; i < 64; ++i) {
        CAPTURE(i);
        std::wstring altered = base64;
        altered[i] = altered[i] == L'A' ? L'B' : L'A';
        CHECK(DecryptText(altered, Phrase).empty());
        CHECK(DecryptText(base64.substr(0, i), Phrase).empty());
    }
    // The last two: a cut block at the buffer's very end, and more than it holds.
    for (const std::wstring& text :
         {std::wstring(L"\r\n"), std::wstring(L"no Base64!"), std::wstring(HalfCheck), std::wstring(Nothing),
          std::wstring(1326, L'A') + L"==", std::wstring(5000, L'A')})
        CHECK(DecryptText(text, Phrase).empty());
}

TEST_CASE("every failure of the encryption provider gives nothing")
{
    Simulation simulation(Group::Failures);
    const std::wstring base64 = EncryptText(L"A", Phrase);
    for (const char* function :
         {"CryptCreateHash", "CryptHashData", "CryptDeriveKey", "CryptEncrypt", "CryptBinaryToStringW"}) {
        CAPTURE(function);
        simulation.FailNext(function, ERROR_INTERNAL_ERROR);
        CHECK(EncryptText(L"A", Phrase).empty());
    }
    for (const char* function : {"CryptDeriveKey", "CryptDecrypt", "CryptStringToBinaryW"}) {
        CAPTURE(function);
        simulation.FailNext(function, ERROR_INTERNAL_ERROR);
        CHECK(DecryptText(base64, Phrase).empty());
    }
    simulation.FailNext("CryptAcquireContextW", static_cast<DWORD>(NTE_FAIL), 2);
    CHECK(EncryptText(L"A", Phrase).empty());
    CHECK(DecryptText(base64, Phrase) == L"A");
}

TEST_CASE("a decrypted text does not stay on the stack")
{
    static const volatile wchar_t* work;
    static decltype(&CryptDecrypt) decrypt;
    const std::wstring base64 = EncryptText(Text(200), Phrase);
    Simulation simulation;
    simulation.Replace(
        "CryptDecrypt",
        +[](HCRYPTKEY key, HCRYPTHASH hash, BOOL last, DWORD flags, BYTE* data, DWORD* bytes) {
            work = reinterpret_cast<const wchar_t*>(data);
            return decrypt(key, hash, last, flags, data, bytes);
        },
        &decrypt);
    const std::wstring text = DecryptText(base64, Phrase);
    unsigned left = 0; // looked at before any other call writes there
    for (unsigned i = 0; i < 200; ++i)
        left += work[i] == static_cast<wchar_t>(i * 121 + 0x41);
    CHECK(text == Text(200));
    CHECK(left == 0);
}

} // namespace
