#include "Crypto.h"

#include "Simulation.h"

#include <wincrypt.h>

namespace {

using Bytes = std::vector<BYTE>;

// Made with the openssl program instead of Windows. The check of at most 255 bytes is CRC-16/MODBUS of the
// text in UTF-16LE, of longer ones that of their first (length modulo 256) bytes; it follows the text, low
// byte first.
//   H = MD5 of the phrase in UTF-16LE, filled with zeros to 64 bytes
//   K = first 16 bytes of MD5(H with each byte XOR 0x36) followed by MD5(H with each byte XOR 0x5C)
//   openssl enc -aes-128-cbc -K $K -iv 0 < text-and-check | base64
// clang-format off
constexpr wchar_t Phrase[] = L"P\u00E4ss \u6307\u7D0B";

/// What the encrypted texts begin with, each as far as its text alone fills blocks.
constexpr wchar_t Beginning[] =
    L"IOxKzyndT9wGyND1q8wEqhOrhP9x+XSCU3HAcFyUNpZt3qLn0O5R5fGcUe+OHMK/OvEfA6ixfk4bCTJVx9wGlcUx6i3EnVzmMQ9qeYW6Go71"
    L"je9HKAqMirKT/yUC8Mr8hNWNTOHER702zHGNbXiAlyCviysow2S6OICoQgw2mXyvsLGL1HQmwxj1Q6hZwTdiLek7R+p1uC2UHDlbhd3w/Y01"
    L"HhgAfJiDnzD6sOSOV/QoOqgjrm0DwEUk6xbte8CfvaxTFd0+vWcOBG7Zt6TZ59296kHxh/e3zps5GMnYfxbMiZPcuCmK4j4P3+2RcV2w+jnJ"
    L"irz3vriSXOw4DOA64ToDewxJ3ZfSIeUE+45xrZdEeG383U1jTHHoCJ9FASZMNuqebykyyihCygp2H8Dgqvx3zHEdr1XtqG4KcpK1oiNEONF0"
    L"z6b0F/Cyfx0gXKWdcqQdeWbdIMjXuwLXrjhliEAvZwx7lB9nv9SNGZPGxDmB/G3LpA/SqWxhL/o1O4z9PzdtiD5/39Fp6MCoo9j6fjIoHIlk"
    L"zwCTYyI+FkW9MThn/yIAW4xSWeYqNsWesB7pNy4iOzH1vNviQPuZ5ggzPaeVvd7aE4CgvRqBSVPjr37rfoXfw5f9ETiOSfNdyBlY9+ZHXhHr"
    L"CDR2uvLqeK/irS2+IJSP1SQQWwTR9GPoIzFZOSHdsIdHhqCraxYE3iyEX86rCzQ2oAfMA3++Gxk2z8nzjXe0QTtpkl0tt+er1W2vMraw4KOs"
    L"JLYcdO2t/EjCALrlGGxbCZ0HK6fGQWYQZBGwb7iHCEE+1g9BgdCgzdNK3+WuygjiFl7Q5RiXYTwoek4ssNorBCpCrKWgIsNQzZRe8TPXu0yt"
    L"BG4L52VE1vUG8ajTchTMr/3zcFOy0uLqbmAxk2rYkMV4E/TL0BmTW7d61ENISWq/jXnltrGRCtnkdN06Oi0F2dHJ6ge4SUUWMaYSAIQdHSJk"
    L"JVw+2XXIHdZo1kpy3AW5sE8YjDdcpvd/C9KR4kcjz0pmxCslIrhn2pdgfZ1ehuEQMPkteaqoApDq+0H7+CXSNRVcBwgSA9mVUX4xYKVGkLc4"
    L"W7wbQWTntgTjvjKzOg1F4pkRsRG5pjQcqQ8bsrDdonPtmN1AMPS60ZLS3lllFmq66M09C2CHb9TvwB9x3d8AIg3NqQmnfRNdQ09SyVqF+4Pp"
    L"cR+/5fcOpXLIjuMF6DPhcOSSr2g14hoolZlx3WaNHW6/wtcky7wsxPQIBOAcy2t3BopO8TLXmGKOqV6FeB5QcbZ85ndLq176tISck/BM8Osl"
    L"Di3NhQ==";

/// Unit i of a text is i * 121 + 0x41.
struct Vector {
    unsigned units;
    const wchar_t* end; // the blocks that hold the check
};
constexpr Vector Vectors[] = {
    {0, L"XqXQK1GGabbHS/AHbnuxWA=="},
    {1, L"kLRVlaEb+H8IDtFKZ4uFwA=="},
    {127, L"/wrZ1YpEG+L6BAf3uylnfmfYIpseyHXLNO1N07R5SlQ="},
    {128, L"XO/kuhMq+9a2Eh8gozkcBg=="},
    {129, L"iltYVIpSh/DOg7/6KyEJEQ=="},
    {200, L"cGv3R/xTwKHWKrMhlKRUnw=="},
    {480, L"oJ1+FtxgA4GPWrPC4QlBdg=="},
    {494, L"pafXn6XzccwVYXvbSAUsrA=="},
    {495, L"Xa9dLCQwTI8Ix/NgJyTuhKnzknFB8LWW2UYpBbart3E="},
};
constexpr wchar_t HalfUnit[] = L"gU7tEENQjrHnnfAMuM93RQ==";  // three bytes of text, L"A" and a half
constexpr wchar_t HalfCheck[] = L"F718aNvYeyBFP40dvag/Yg=="; // one byte in all
constexpr wchar_t Nothing[] = L"eZfH5cTuvfUU3MKSB76RJg==";   // padding only
// clang-format on

std::wstring Text(unsigned units)
{
    std::wstring text;
    for (unsigned i = 0; i < units; ++i)
        text += static_cast<wchar_t>(i * 121 + 0x41);
    return text;
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

std::wstring Base64Of(const Vector& vector)
{
    Bytes whole = Decoded(Beginning);
    whole.resize(vector.units * sizeof(wchar_t) / 16 * 16);
    const Bytes end = Decoded(vector.end);
    whole.insert(whole.end(), end.begin(), end.end());
    return Encoded(whole);
}

TEST_CASE("texts are encrypted and decrypted as another implementation does it")
{
    // An account without a key container gets one; there may be none to delete.
    HCRYPTPROV none = 0;
    CryptAcquireContextW(&none, nullptr, MS_ENH_RSA_AES_PROV_W, PROV_RSA_AES, CRYPT_DELETEKEYSET);
    for (const Vector& vector : Vectors) {
        CAPTURE(vector.units);
        const std::wstring base64 = Base64Of(vector);
        // Up to 480 units are written; 494, in 992 bytes, is the most that can be read.
        CHECK(EncryptText(Text(vector.units), Phrase) == (vector.units <= 480 ? base64 : L""));
        CHECK(DecryptText(base64, Phrase) == (vector.units <= 494 ? Text(vector.units) : L""));
    }
    CHECK(EncryptText(Text(481), Phrase).empty());
    CHECK(DecryptText(HalfUnit, Phrase) == L"A");
    const std::wstring withZero(L"a\0b", 3);
    CHECK(DecryptText(EncryptText(withZero, L""), L"") == withZero);
}

TEST_CASE("what was not made with the phrase, or is damaged, decrypts to nothing")
{
    const Bytes whole = Decoded(Base64Of(Vectors[2]));
    REQUIRE(whole.size() == 272);
    const std::wstring base64 = Encoded(whole);
    for (const wchar_t* phrase : {L"", L"wrong", L"p\u00E4ss \u6307\u7D0B", L"P\u00E4ss \u6307"})
        CHECK(DecryptText(base64, phrase).empty());
    for (std::size_t i = 0; i < whole.size(); ++i) {
        CAPTURE(i);
        Bytes flipped = whole;
        flipped[i] ^= 0x10;
        CHECK(DecryptText(Encoded(flipped), Phrase).empty());
        if (i > 0)
            CHECK(DecryptText(Encoded(Bytes(whole.begin(), whole.begin() + i)), Phrase).empty());
    }
    for (const std::wstring& text :
         {std::wstring(), std::wstring(L"\r\n"), std::wstring(L"no Base64!"), base64.substr(0, 64),
          base64.substr(0, base64.size() - 5), std::wstring(HalfCheck), std::wstring(Nothing),
          std::wstring(5000, L'A')})
        CHECK(DecryptText(text, Phrase).empty());
    // No more is decoded than the buffer holds.
    for (const std::size_t bytes : {993u, 994u, 995u, 1008u, 100'000u})
        CHECK(DecryptText(Encoded(Bytes(bytes, 0x5A)), Phrase).empty());
}

TEST_CASE("every failure of the encryption provider gives nothing")
{
    Simulation simulation(Group::Failures);
    const std::wstring base64 = Base64Of(Vectors[1]);
    for (const char* function :
         {"CryptCreateHash", "CryptHashData", "CryptDeriveKey", "CryptEncrypt", "CryptBinaryToStringW"}) {
        CAPTURE(function);
        simulation.FailNext(function, ERROR_INTERNAL_ERROR);
        CHECK(EncryptText(L"A", Phrase).empty());
    }
    for (const char* function :
         {"CryptCreateHash", "CryptHashData", "CryptDeriveKey", "CryptDecrypt", "CryptStringToBinaryW"}) {
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
    Simulation simulation;
    simulation.Replace(
        "CryptDecrypt",
        +[](HCRYPTKEY key, HCRYPTHASH hash, BOOL last, DWORD flags, BYTE* data, DWORD* bytes) {
            work = reinterpret_cast<const wchar_t*>(data);
            return decrypt(key, hash, last, flags, data, bytes);
        },
        &decrypt);
    const std::wstring base64 = Base64Of(Vectors[5]);
    const std::wstring text = DecryptText(base64, Phrase);
    unsigned left = 0; // looked at before any other call writes there
    for (unsigned i = 0; i < 200; ++i)
        left += work[i] == static_cast<wchar_t>(i * 121 + 0x41);
    CHECK(text == Text(200));
    CHECK(left == 0);
}

} // namespace
