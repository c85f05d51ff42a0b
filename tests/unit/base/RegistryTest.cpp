#include "Registry.h"

#include <doctest/doctest.h>

#include <utility>

namespace {

// Where 32-bit programs see them.
constexpr wchar_t ProductKey[] = LR"(SOFTWARE\WOW6432Node\VEXA\FingerPrint)";
constexpr wchar_t OtherKey[] = LR"(SOFTWARE\WOW6432Node\VEXA\Other)";
constexpr wchar_t NamedKey[] = L"VexaNamedByValue";
constexpr wchar_t ProductKey64[] = LR"(SOFTWARE\VEXA\FingerPrint)";

using Kind = std::pair<DWORD, DWORD>; // type, size
constexpr Kind Missing = {0xFFFFFFFF, 0xFFFFFFFF};

/// The keys are missing before and after each test.
struct Keys {
    Keys() { Remove(); }
    ~Keys() { Remove(); }

    static void Remove()
    {
        for (const wchar_t* key : {ProductKey, OtherKey, NamedKey, ProductKey64})
            RegDeleteKeyW(HKEY_LOCAL_MACHINE, key);
    }
    /// Creates the key when need be.
    static void Store(const wchar_t* key, const wchar_t* name, DWORD type, const std::wstring& units,
                      std::size_t bytes)
    {
        REQUIRE(RegSetKeyValueW(HKEY_LOCAL_MACHINE, key, name, type, units.data(), DWORD(bytes)) ==
                ERROR_SUCCESS);
    }
    static Kind Query(const wchar_t* key, const wchar_t* name)
    {
        Kind kind;
        const LSTATUS status = RegGetValueW(HKEY_LOCAL_MACHINE, key, name, RRF_RT_ANY | RRF_NOEXPAND,
                                            &kind.first, nullptr, &kind.second);
        return status == ERROR_SUCCESS ? kind : Missing;
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
        CHECK(Query(ProductKey, L"Enable") == Missing);
    }
}

TEST_CASE_FIXTURE(Keys, "numbers live in the 32-bit view")
{
    Store(ProductKey64, L"Enable", REG_DWORD, {1, 0}, 4);
    CHECK_FALSE(GetFPEnable());
    SetFPEnable(2);
    CHECK(GetFPEnable());
    CHECK(Query(ProductKey, L"Enable") == Kind(REG_DWORD, 4));
    SetFPEnable(0);
    CHECK_FALSE(GetFPEnable());
    CHECK(RegWriteFPDword(L"Number", 0x80000001) == ERROR_SUCCESS);
    CHECK(RegReadFPDword(L"Number") == 0x80000001);
}

TEST_CASE_FIXTURE(Keys, "the first text written into a missing key is lost, the next is kept")
{
    CHECK(RegWriteFPString(L"Text", L"first") == ERROR_SUCCESS);
    CHECK(Query(ProductKey, L"Text") == Kind(REG_SZ, 0));
    CHECK(RegWriteFPString(L"Text", L"second \u4E2D") == ERROR_SUCCESS);
    CHECK(RegReadFPString(L"Text") == L"second \u4E2D");

    // The general routine creates a key under another name: its subkey stays missing.
    CHECK(RegWriteString(LR"(SOFTWARE\VEXA\Other)", NamedKey, L"first") == ERROR_SUCCESS);
    CHECK(Query(OtherKey, NamedKey) == Missing);
    CHECK(Query(NamedKey, NamedKey) == Kind(REG_SZ, 0));
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
    }
}

} // namespace
