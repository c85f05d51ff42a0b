#include "Registry.h"

#include "Handle.h"

#include <doctest/doctest.h>

#include <vector>

namespace {

constexpr wchar_t ProductKey[] = LR"(SOFTWARE\VEXA\FingerPrint)";
constexpr wchar_t OtherKey[] = LR"(SOFTWARE\VEXA\Other)";
constexpr wchar_t NamedKey[] = L"VexaNamedByValue";

RegistryKey Open(const wchar_t* subkey, REGSAM view = KEY_WOW64_32KEY)
{
    RegistryKey key;
    RegOpenKeyExW(HKEY_LOCAL_MACHINE, subkey, 0, KEY_ALL_ACCESS | view, key.Put());
    return key;
}

RegistryKey Create(const wchar_t* subkey, REGSAM view = KEY_WOW64_32KEY)
{
    RegistryKey key;
    REQUIRE(RegCreateKeyExW(HKEY_LOCAL_MACHINE, subkey, 0, nullptr, 0, KEY_ALL_ACCESS | view, nullptr,
                            key.Put(), nullptr) == ERROR_SUCCESS);
    return key;
}

void Store(const RegistryKey& key, const wchar_t* name, DWORD type, const void* data, std::size_t bytes)
{
    REQUIRE(RegSetValueExW(key.Get(), name, 0, type, static_cast<const BYTE*>(data), DWORD(bytes)) ==
            ERROR_SUCCESS);
}

/// A value as it lies in the registry.
struct RawValue {
    LSTATUS status = ERROR_SUCCESS;
    DWORD type = REG_NONE;
    std::wstring units;

    RawValue(const RegistryKey& key, const wchar_t* name)
    {
        wchar_t data[256] = {};
        DWORD bytes = sizeof data;
        status = RegQueryValueExW(key.Get(), name, nullptr, &type, reinterpret_cast<BYTE*>(data), &bytes);
        if (status == ERROR_SUCCESS)
            units.assign(data, bytes / sizeof(wchar_t));
    }
};

/// The keys are missing before and after each test.
struct Keys {
    Keys() { Remove(); }
    ~Keys() { Remove(); }

    static void Remove()
    {
        for (const REGSAM view : {KEY_WOW64_32KEY, KEY_WOW64_64KEY}) {
            for (const wchar_t* key : {ProductKey, OtherKey, NamedKey})
                RegDeleteKeyExW(HKEY_LOCAL_MACHINE, key, view, 0);
        }
    }
};

TEST_CASE_FIXTURE(Keys, "what is missing reads as its default and stays missing")
{
    CHECK_FALSE(GetFPEnable());
    CHECK(RegReadFPDword(L"Enable") == 0xFFFFFFFF);
    CHECK(RegReadFPString(L"Text").empty());
    CHECK(RegReadString(OtherKey, L"Text").empty());
    CHECK_FALSE(Open(ProductKey));

    const RegistryKey key = Create(ProductKey);
    CHECK_FALSE(GetFPEnable());
    CHECK(RegReadFPDword(L"Enable") == 0xFFFFFFFF);
    CHECK(RegReadFPString(L"Text").empty());
    CHECK(RawValue(key, L"Enable").status == ERROR_FILE_NOT_FOUND);
}

TEST_CASE_FIXTURE(Keys, "numbers live in the 32-bit view")
{
    const DWORD on = 1;
    Store(Create(ProductKey, KEY_WOW64_64KEY), L"Enable", REG_DWORD, &on, sizeof on);
    CHECK_FALSE(GetFPEnable());

    SetFPEnable(2);
    CHECK(GetFPEnable());
    const RegistryKey key = Open(ProductKey);
    const RawValue raw(key, L"Enable");
    CHECK(raw.type == REG_DWORD);
    CHECK(raw.units == std::wstring{2, 0});
    CHECK(RegReadFPDword(L"Enable") == 2);

    SetFPEnable(0);
    CHECK_FALSE(GetFPEnable());
    CHECK(RegWriteFPDword(L"Number", 0x80000001) == ERROR_SUCCESS);
    CHECK(RegReadFPDword(L"Number") == 0x80000001);
}

TEST_CASE_FIXTURE(Keys, "only a value of four bytes is a number")
{
    struct Row {
        DWORD type;
        std::vector<BYTE> data;
        bool enabled;
        std::uint32_t number;
    };
    const RegistryKey key = Create(ProductKey);
    for (const Row& row : {
             Row{REG_DWORD, {0, 0, 0, 0x80}, true, 0x80000000},
             Row{REG_BINARY, {1, 0, 0, 0}, true, 1},
             Row{REG_BINARY, {1, 0}, false, 0xFFFFFFFF},
             Row{REG_QWORD, {1, 0, 0, 0, 0, 0, 0, 0}, false, 0xFFFFFFFF},
             Row{REG_SZ, {'0', 0, 0, 0}, false, 0xFFFFFFFF},
         }) {
        CAPTURE(row.type);
        Store(key, L"Enable", row.type, row.data.data(), row.data.size());
        CHECK(GetFPEnable() == row.enabled);
        CHECK(RegReadFPDword(L"Enable") == row.number);
        RawValue raw(key, L"Enable");
        CHECK(raw.type == row.type);
    }
}

TEST_CASE_FIXTURE(Keys,
                  "the first text written into a missing key is lost, the next is kept without terminator")
{
    CHECK(RegWriteFPString(L"Text", L"first") == ERROR_SUCCESS);
    RegistryKey key = Open(ProductKey);
    const RawValue first(key, L"Text");
    CHECK(first.type == REG_SZ);
    CHECK(first.units.empty());
    CHECK(RegWriteFPString(L"Text", L"second \u4E2D") == ERROR_SUCCESS);
    CHECK(RawValue(key, L"Text").type == REG_SZ);
    CHECK(RegReadFPString(L"Text") == L"second \u4E2D");
    CHECK(RegWriteFPString(L"Text", nullptr) == ERROR_SUCCESS);
    CHECK(RegReadFPString(L"Text").empty());

    // The general routine creates a key under another name: its subkey stays missing.
    CHECK(RegWriteString(OtherKey, NamedKey, L"first") == ERROR_SUCCESS);
    CHECK_FALSE(Open(OtherKey));
    key = Open(NamedKey);
    REQUIRE(key);
    CHECK(RawValue(key, NamedKey).status == ERROR_SUCCESS);
    CHECK(RawValue(key, NamedKey).units.empty());
    Create(OtherKey);
    CHECK(RegWriteString(OtherKey, L"Text", L"there") == ERROR_SUCCESS);
    CHECK(RegReadString(OtherKey, L"Text") == L"there");
}

TEST_CASE_FIXTURE(Keys, "texts of any origin are read without overrun")
{
    struct Row {
        const char* what;
        DWORD type;
        std::wstring units;
        std::size_t bytes;
        std::wstring text;
    };
    const std::wstring letters(1000, L'x');
    const RegistryKey key = Create(ProductKey);
    for (const Row& row : {
             Row{"terminated", REG_SZ, {L'a', L'b', 0}, 6, L"ab"},
             Row{"unterminated", REG_SZ, L"ab", 4, L"ab"},
             Row{"of odd length", REG_SZ, L"ab", 3, L"a"},
             Row{"empty", REG_SZ, L"", 0, L""},
             Row{"with text behind its end", REG_EXPAND_SZ, {L'a', 0, L'b'}, 6, L"a"},
             Row{"255 and terminator", REG_SZ, letters.substr(0, 255) + L'\0', 512, letters.substr(0, 255)},
             Row{"256", REG_SZ, letters, 512, letters.substr(0, 255)},
             Row{"257", REG_SZ, letters, 514, letters.substr(0, 255)},
             Row{"1000", REG_SZ, letters, 1999, letters.substr(0, 255)},
             Row{"no text", REG_DWORD, L"ab", 4, L""},
         }) {
        CAPTURE(row.what);
        Store(key, L"Text", row.type, row.units.data(), row.bytes);
        CHECK(RegReadFPString(L"Text") == row.text);
        CHECK(RegReadString(ProductKey, L"Text") == row.text);
    }
}

} // namespace
