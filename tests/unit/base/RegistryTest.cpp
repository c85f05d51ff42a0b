#include "Registry.h"

#include "Handle.h"

#include <doctest/doctest.h>

namespace {

constexpr wchar_t ProductKey[] = LR"(SOFTWARE\VEXA\FingerPrint)";
constexpr wchar_t OtherKey[] = LR"(SOFTWARE\VEXA\Other)";
constexpr wchar_t NamedKey[] = L"VexaNamedByValue";

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
    static bool Exists(const wchar_t* subkey)
    {
        RegistryKey key;
        return RegOpenKeyExW(HKEY_LOCAL_MACHINE, subkey, 0, KEY_READ | KEY_WOW64_32KEY, key.Put()) ==
               ERROR_SUCCESS;
    }
    /// Creates the key when need be.
    static void Store(const wchar_t* subkey, const wchar_t* name, DWORD type, const std::wstring& units,
                      std::size_t bytes, REGSAM view = KEY_WOW64_32KEY)
    {
        RegistryKey key;
        REQUIRE(RegCreateKeyExW(HKEY_LOCAL_MACHINE, subkey, 0, nullptr, 0, KEY_ALL_ACCESS | view, nullptr,
                                key.Put(), nullptr) == ERROR_SUCCESS);
        REQUIRE(RegSetValueExW(key.Get(), name, 0, type, reinterpret_cast<const BYTE*>(units.data()),
                               DWORD(bytes)) == ERROR_SUCCESS);
    }
    /// The type of a value and its size; 0xFFFFFFFF for both when it is missing.
    static std::pair<DWORD, DWORD> Query(const wchar_t* subkey, const wchar_t* name)
    {
        DWORD type = 0;
        DWORD bytes = 0;
        if (RegGetValueW(HKEY_LOCAL_MACHINE, subkey, name, RRF_RT_ANY | RRF_NOEXPAND | RRF_SUBKEY_WOW6432KEY,
                         &type, nullptr, &bytes) != ERROR_SUCCESS)
            return {0xFFFFFFFF, 0xFFFFFFFF};
        return {type, bytes};
    }
};

TEST_CASE_FIXTURE(Keys, "what is missing reads as its default and stays missing")
{
    for (const bool keyExists : {false, true}) {
        if (keyExists)
            Store(ProductKey, L"Unrelated", REG_SZ, L"", 0);
        CHECK_FALSE(GetFPEnable());
        CHECK(RegReadFPDword(L"Enable") == 0xFFFFFFFF);
        CHECK(RegReadFPString(L"Text").empty());
        CHECK(RegReadString(OtherKey, L"Text").empty());
        CHECK(Exists(ProductKey) == keyExists);
        CHECK(Query(ProductKey, L"Enable").first == 0xFFFFFFFF);
    }
}

TEST_CASE_FIXTURE(Keys, "numbers live in the 32-bit view")
{
    Store(ProductKey, L"Enable", REG_DWORD, {1, 0}, 4, KEY_WOW64_64KEY);
    CHECK_FALSE(GetFPEnable());
    SetFPEnable(2);
    CHECK(GetFPEnable());
    CHECK(Query(ProductKey, L"Enable") == std::pair<DWORD, DWORD>(REG_DWORD, 4));
    SetFPEnable(0);
    CHECK_FALSE(GetFPEnable());
    CHECK(RegWriteFPDword(L"Number", 0x80000001) == ERROR_SUCCESS);
    CHECK(RegReadFPDword(L"Number") == 0x80000001);
}

TEST_CASE_FIXTURE(Keys, "the first text written into a missing key is lost, the next is kept")
{
    CHECK(RegWriteFPString(L"Text", L"first") == ERROR_SUCCESS);
    CHECK(Query(ProductKey, L"Text") == std::pair<DWORD, DWORD>(REG_SZ, 0));
    CHECK(RegWriteFPString(L"Text", L"second \u4E2D") == ERROR_SUCCESS);
    CHECK(RegReadFPString(L"Text") == L"second \u4E2D");

    // The general routine creates a key under another name: its subkey stays missing.
    CHECK(RegWriteString(OtherKey, NamedKey, L"first") == ERROR_SUCCESS);
    CHECK_FALSE(Exists(OtherKey));
    CHECK(Query(NamedKey, NamedKey) == std::pair<DWORD, DWORD>(REG_SZ, 0));
    CHECK(RegWriteString(NamedKey, L"Text", L"there") == ERROR_SUCCESS);
    CHECK(RegReadString(NamedKey, L"Text") == L"there");
}

TEST_CASE_FIXTURE(Keys, "values of any origin are read without overrun")
{
    struct Row {
        const char* what;
        DWORD type;
        std::wstring units;
        std::size_t bytes;
        std::wstring text;
        std::uint32_t number = 0xFFFFFFFF;
    };
    const std::wstring letters(1000, L'x');
    const std::wstring cut(255, L'x');
    const Row rows[] = {
        {"number", REG_DWORD, {0, 0x8000}, 4, L"", 0x80000000},
        {"binary number", REG_BINARY, {1, 0}, 4, L"", 1},
        {"short number", REG_DWORD, {1, 0}, 2, L""},
        {"long number", REG_QWORD, {1, 0, 0, 0}, 8, L""},
        {"unterminated", REG_SZ, L"ab", 4, L"ab"},
        {"odd length", REG_SZ, L"ab", 3, L"a"},
        {"two ends", REG_EXPAND_SZ, {L'a', 0, L'b'}, 6, L"a"},
        {"255 and end", REG_SZ, cut + L'\0', 512, cut},
        {"257", REG_SZ, letters, 514, cut},
    };
    for (const Row& row : rows) {
        CAPTURE(row.what);
        Store(ProductKey, L"Enable", row.type, row.units, row.bytes);
        CHECK(RegReadFPString(L"Enable") == row.text);
        CHECK(RegReadFPDword(L"Enable") == row.number);
        CHECK(GetFPEnable() == (row.number != 0xFFFFFFFF));
        CHECK(Query(ProductKey, L"Enable").first == row.type);
    }
}

} // namespace
