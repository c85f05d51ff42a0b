#!/usr/bin/env python3
"""Prints CryptoVectors.h: encrypted texts made with the openssl program instead of Windows.

Needed again only when a text or the phrase changes:  python3 crypto_vectors.py > CryptoVectors.h
"""
import subprocess

PHRASE = "P\u00e4ss \u6307\u7d0b"
LENGTHS = (0, 1, 127, 128, 129, 200, 480, 494, 495)


def openssl(data, *arguments):
    return subprocess.run(["openssl", *arguments], input=data, stdout=subprocess.PIPE, check=True).stdout


def md5(data):
    return openssl(data, "dgst", "-md5", "-binary")


def plain_key(digest):
    """The digest itself, which is as long as the key: what Wine's CryptDeriveKey makes of it."""
    return digest


def expanded_key(digest):
    """What Windows documents of CryptDeriveKey for AES and a hash that is not of the SHA-2 family."""
    padded = digest.ljust(64, b"\0")
    return (md5(bytes(b ^ 0x36 for b in padded)) + md5(bytes(b ^ 0x5C for b in padded)))[:16]


def crc16(data):
    """Computed on the mirrored bits, most significant first, and mirrored back."""
    crc = 0xFFFF
    for byte in data:
        crc ^= int(f"{byte:08b}"[::-1], 2) << 8
        for _ in range(8):
            crc = (crc << 1) ^ (0x18005 if crc & 0x8000 else 0)
    return int(f"{crc:016b}"[::-1], 2)


assert crc16(b"123456789") == 0x4B37, "the check value in the catalogues of CRC parameters"


def checked(text):
    return text + crc16(text[: len(text) % 256]).to_bytes(2, "little")


def encrypted(key, data):
    return openssl(data, "enc", "-aes-128-cbc", "-K", key.hex(), "-iv", "0" * 32)


def literal(data):
    return 'L"' + openssl(data, "base64").decode().replace("\n", r"\r\n") + '"'


def text_of(units):
    return b"".join((i * 121 + 0x41).to_bytes(2, "little") for i in range(units))


def print_set(name, key):
    print(f"constexpr VectorSet {name} = {{")
    print("    .texts = {")
    for units in LENGTHS:
        print(f"        {{{units}, {literal(encrypted(key, checked(text_of(units))))}}},")
    print("    },")
    print(f"    .halfUnit = {literal(encrypted(key, checked(bytes.fromhex('410042'))))},")
    print(f"    .halfCheck = {literal(encrypted(key, bytes.fromhex('41')))},")
    print(f"    .nothing = {literal(encrypted(key, b''))},")
    print("};\n")


phrase = "".join(f"\\u{ord(c):04X}" if ord(c) > 127 else c for c in PHRASE)
hashed = md5(PHRASE.encode("utf-16-le"))
print(f"""// Printed by crypto_vectors.py. Two sets, since Wine and Windows derive different keys from a phrase.
#pragma once

// clang-format off

namespace vectors {{

constexpr wchar_t Phrase[] = L"{phrase}";

/// Unit i of a text is i * 121 + 0x41.
struct Vector {{
    unsigned units;
    const wchar_t* base64;
}};

struct VectorSet {{
    Vector texts[{len(LENGTHS)}];
    const wchar_t* halfUnit; ///< three bytes of text, L"A" and a half, with their check
    const wchar_t* halfCheck; ///< one byte in all
    const wchar_t* nothing; ///< padding only
}};
""")
print_set("DigestAsKey", plain_key(hashed))
print_set("ExpandedDigest", expanded_key(hashed))
print("} // namespace vectors")
