#include "Messages.h"

#include <doctest/doctest.h>

#include <cwchar>
#include <map>
#include <vector>

namespace {

struct Language {
    unsigned texts;          // their hash
    std::vector<LCID> lcids; // all that select it; English is also what every other one gets
};

// clang-format off
const Language Languages[] = {
    {0xE60C7B87, {0x0804}}, // Chinese, simplified
    {0x94CFF3DD, {0x0404, 0x0C04, 0x1004}}, // Chinese, traditional
    {0xAA618099, {0x0409}}, // English
    {0xABF02AF4, {0x0412}}, // Korean
    {0x8797451C, {0x040A, 0x080A, 0x0C0A, 0x100A, 0x140A, 0x180A, 0x1C0A, 0x200A, 0x240A, 0x280A, 0x2C0A,
                  0x300A, 0x340A, 0x380A, 0x3C0A, 0x400A, 0x440A, 0x480A, 0x4C0A, 0x500A, 0x540A, 0xE40A}}, // Spanish
    {0x2CCFCD46, {0x0410, 0x0810}}, // Italian
    {0xD20C4287, {0x0419, 0x0819}}, // Russian
    {0x5D7FDC56, {0x040C, 0x080C, 0x0C0C, 0x100C, 0x140C, 0x180C, 0x1C0C, 0x200C, 0x240C, 0x280C, 0x2C0C,
                  0x300C, 0x340C, 0x380C, 0x3C0C, 0xE40C}}, // French
    {0x26C4FB55, {0x0401, 0x0801, 0x0C01, 0x1001, 0x1401, 0x1801, 0x1C01, 0x2001, 0x2401, 0x2801, 0x2C01,
                  0x3001, 0x3401, 0x3801, 0x3C01, 0x4001}}, // Arabic
    {0xF06EE67C, {0x0411}}, // Japanese
    {0xA2DB0A95, {0x0416, 0x0816}}, // Portuguese
    {0xC2D6E686, {0x0407, 0x0807, 0x0C07, 0x1007, 0x1407}}, // German
};
// clang-format on
constexpr LCID English = 0x0409;
constexpr LCID Korean = 0x0412;

/// FNV-1a over the texts in role order, terminators included.
unsigned Hash(const MessageSet& messages)
{
    unsigned hash = 2166136261;
    for (const wchar_t* text : messages) {
        for (const wchar_t* unit = text; unit <= text + std::wcslen(text); ++unit)
            hash = (hash ^ *unit) * 16777619;
    }
    return hash;
}

const MessageSet AtLoad = g_Messages;

TEST_CASE("every language in its own words, the same language in another sort order in English")
{
    std::map<LCID, MessageSet> expected;
    for (const Language& language : Languages) {
        CAPTURE(language.lcids[0]);
        SelectMessages(language.lcids[0]);
        CHECK(Hash(g_Messages) == language.texts);
        for (const LCID lcid : language.lcids)
            expected[lcid] = g_Messages;
    }
    // Dutch keeps what is there.
    expected[0x0413] = expected[0x0813] = expected[Korean];
    CHECK(AtLoad == expected[English]);

    std::vector<LCID> wrong;
    for (LCID lcid = 0; lcid < 0x20000; ++lcid) {
        SelectMessages(Korean);
        SelectMessages(lcid);
        if (g_Messages != expected[expected.contains(lcid) ? lcid : English])
            wrong.push_back(lcid);
    }
    CHECK(wrong == std::vector<LCID>{});
}

} // namespace
