// Short secrets, such as a stored password, as printable text. The product's other programs read and write
// the same format: the text in UTF-16LE and a 16-bit check, AES-128 in CBC mode, Base64 in lines of 64
// characters.
#pragma once

#include <string>
#include <string_view>

/// Base64, or an empty result when the text has more than 480 units or encryption fails.
std::wstring EncryptText(std::wstring_view text, std::wstring_view passPhrase);

/// The text, or an empty result when that is no Base64, not made with this pass phrase or damaged.
std::wstring DecryptText(std::wstring_view base64, std::wstring_view passPhrase);
