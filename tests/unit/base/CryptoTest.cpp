#include "Crypto.h"

#include "CryptoVectors.h"
#include "Simulation.h"

#include <wincrypt.h>

namespace {

using Bytes = std::vector<BYTE>;
using vectors::Phrase;

/// Those of the key that this system derives.
const vectors::VectorSet& Vectors()
{
    const std::wstring empty = EncryptText(L"", Phrase);
    return empty == vectors::ExpandedDigest.texts[0].base64 ? vectors::ExpandedDigest : vectors::DigestAsKey;
}

std::wstring Text(unsigned units)
{
    std::wstring text;
    for (unsigned i = 0; i < units; ++i)
        text += static_cast<wchar_t>(i * 121 + 0x41);
    return text;
}

const wchar_t* Base64Of(unsigned units)
{
    for (const vectors::Vector& vector : Vectors().texts) {
        if (vector.units == units)
            return vector.base64;
    }
    FAIL("no such vector");
    return nullptr;
}

Bytes Decoded(const std::wstring& base64)
{
    Bytes data(base64.size());
    DWORD bytes = static_cast<DWORD>(data.size());
    REQUIRE(
        CryptStringToBinaryW(base64.c_str(), 0, CRYPT_STRING_BASE64, data.data(), &bytes, nullptr, nullptr));
    data.resize(bytes);
    return data;
}

std::wstring Encoded(const Bytes& data)
{
    std::wstring base64(data.size() * 2 + 8, L'\0');
    DWORD units = static_cast<DWORD>(base64.size());
    REQUIRE(CryptBinaryToStringW(data.data(), static_cast<DWORD>(data.size()), CRYPT_STRING_BASE64,
                                 base64.data(), &units));
    base64.resize(units);
    return base64;
}

TEST_CASE("texts are encrypted and decrypted as another implementation does it")
{
    for (const vectors::Vector& vector : Vectors().texts) {
        CAPTURE(vector.units);
        // Up to 480 units are written; 494, in 992 bytes, is the most that can be read.
        CHECK(EncryptText(Text(vector.units), Phrase) == (vector.units <= 480 ? vector.base64 : L""));
        CHECK(DecryptText(vector.base64, Phrase) == (vector.units <= 494 ? Text(vector.units) : L""));
    }
    CHECK(EncryptText(Text(481), Phrase).empty());
    CHECK(DecryptText(Vectors().halfUnit, Phrase) == L"A");
    const std::wstring withZero(L"a\0b", 3);
    CHECK(DecryptText(EncryptText(withZero, L""), L"") == withZero);
}

TEST_CASE("what was not made with the phrase, or is damaged, decrypts to nothing")
{
    const std::wstring base64 = Base64Of(127);
    for (const wchar_t* phrase : {L"", L"wrong", L"p\u00E4ss \u6307\u7D0B", L"P\u00E4ss \u6307"})
        CHECK(DecryptText(base64, phrase).empty());

    const Bytes whole = Decoded(base64);
    REQUIRE(whole.size() == 272);
    for (std::size_t i = 0; i < whole.size(); ++i) {
        CAPTURE(i);
        Bytes flipped = whole;
        flipped[i] ^= 0x10;
        CHECK(DecryptText(Encoded(flipped), Phrase).empty());
        if (i > 0)
            CHECK(DecryptText(Encoded(Bytes(whole.begin(), whole.begin() + i)), Phrase).empty());
    }
    for (const std::wstring& text : {std::wstring(), std::wstring(L"\r\n"), std::wstring(L"no Base64!"),
                                     base64.substr(0, 64), base64.substr(0, base64.size() - 5)})
        CHECK(DecryptText(text, Phrase).empty());
    CHECK(DecryptText(std::wstring_view(base64).substr(0, 0), Phrase).empty());
    CHECK(DecryptText(Vectors().halfCheck, Phrase).empty());
    CHECK(DecryptText(Vectors().nothing, Phrase).empty());
}

TEST_CASE("no more is decoded than the buffer holds")
{
    for (const std::size_t bytes : {993u, 994u, 995u, 1008u, 100'000u})
        CHECK(DecryptText(Encoded(Bytes(bytes, 0x5A)), Phrase).empty());
    CHECK(DecryptText(std::wstring(5000, L'A'), Phrase).empty());
}

TEST_CASE("every failure of the encryption provider gives nothing")
{
    Simulation simulation(Group::Failures);
    const std::wstring base64 = Base64Of(1);
    struct Row {
        const char* function;
        bool encrypts;
        bool decrypts;
    };
    constexpr Row Rows[] = {
        {"CryptCreateHash", true, true},       {"CryptHashData", true, true},
        {"CryptDeriveKey", true, true},        {"CryptEncrypt", true, false},
        {"CryptBinaryToStringW", true, false}, {"CryptStringToBinaryW", false, true},
        {"CryptDecrypt", false, true},
    };
    for (const Row& row : Rows) {
        CAPTURE(row.function);
        if (row.encrypts) {
            simulation.FailNext(row.function, ERROR_INTERNAL_ERROR);
            CHECK(EncryptText(L"A", Phrase).empty());
        }
        if (row.decrypts) {
            simulation.FailNext(row.function, ERROR_INTERNAL_ERROR);
            CHECK(DecryptText(base64, Phrase).empty());
        }
    }
    simulation.FailNext("CryptAcquireContextW", static_cast<DWORD>(NTE_FAIL), 2);
    CHECK(EncryptText(L"A", Phrase).empty());
    CHECK(DecryptText(base64, Phrase) == L"A");
}

TEST_CASE("an account without a key container gets one")
{
    HCRYPTPROV none = 0;
    CHECK(CryptAcquireContextW(&none, nullptr, MS_ENH_RSA_AES_PROV_W, PROV_RSA_AES, CRYPT_DELETEKEYSET));
    CHECK(EncryptText(Text(1), Phrase) == Base64Of(1));
}

} // namespace
