#include "ServiceClient/Rendering.h"

#include <cstdint>

namespace ServiceClient {
namespace {

constexpr size_t kLongestFullHex = 16;

std::wstring Hex(uint64_t value, int digits)
{
    std::wstring text(digits, L'0');
    for (int i = digits - 1; i >= 0; --i, value >>= 4)
        text[i] = L"0123456789abcdef"[value & 0xF];
    return text;
}

uint64_t Fnv1a(const uint8_t* data, size_t size)
{
    uint64_t hash = 0xcbf29ce484222325;
    for (size_t i = 0; i < size; ++i)
        hash = (hash ^ data[i]) * 0x100000001b3;
    return hash;
}

bool IsHighSurrogate(wchar_t c)
{
    return c >= 0xD800 && c <= 0xDBFF;
}

bool IsLowSurrogate(wchar_t c)
{
    return c >= 0xDC00 && c <= 0xDFFF;
}

bool IsUnpairedSurrogate(std::wstring_view text, size_t at)
{
    if (IsLowSurrogate(text[at]))
        return at == 0 || !IsHighSurrogate(text[at - 1]);
    if (IsHighSurrogate(text[at]))
        return at + 1 == text.size() || !IsLowSurrogate(text[at + 1]);
    return false;
}

} // namespace

std::wstring QuotedText(std::wstring_view text)
{
    std::wstring quoted = L"\"";
    for (size_t i = 0; i < text.size(); ++i) {
        wchar_t c = text[i];
        if (c < L' ' || c == 0x7F || IsUnpairedSurrogate(text, i)) {
            quoted += L"\\u" + Hex(c, 4);
            continue;
        }
        if (c == L'"' || c == L'\\')
            quoted += L'\\';
        quoted += c;
    }
    return quoted + L'"';
}

std::wstring QuotedText(const wchar_t* text)
{
    return text ? QuotedText(std::wstring_view(text)) : L"null";
}

std::wstring QuotedText(const char* text)
{
    if (!text)
        return L"null";
    std::wstring quoted = L"\"";
    for (; *text; ++text) {
        auto c = static_cast<unsigned char>(*text);
        if (c < 0x20 || c > 0x7E) {
            quoted += L"\\x" + Hex(c, 2);
            continue;
        }
        if (c == '"' || c == '\\')
            quoted += L'\\';
        quoted += static_cast<wchar_t>(c);
    }
    return quoted + L'"';
}

std::wstring BytesText(const void* data, size_t size)
{
    if (!data)
        return L"null";
    const auto* bytes = static_cast<const uint8_t*>(data);
    std::wstring text = std::to_wstring(size) + L" bytes";
    if (size > kLongestFullHex)
        return text + L" fnv1a=" + Hex(Fnv1a(bytes, size), 16);
    for (size_t i = 0; i < size; ++i)
        text += (i == 0 ? L" " : L"") + Hex(bytes[i], 2);
    return text;
}

} // namespace ServiceClient
