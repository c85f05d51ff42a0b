#include "Messages.h"

#include <doctest/doctest.h>

#include <cwchar>

const MessageSet AtLoad = g_Messages;

TEST_CASE("every language in its own words, the same language in another sort order in English")
{
    SelectMessages(0x0409);
    CHECK(g_Messages == AtLoad);

    // FNV-1a over the texts that each language gets after Korean, which Dutch keeps; terminators included.
    unsigned hash = 2166136261;
    for (LCID lcid = 0; lcid < 0x20000; ++lcid) {
        SelectMessages(0x0412);
        SelectMessages(lcid);
        for (const wchar_t* text : g_Messages) {
            for (const wchar_t* unit = text; unit <= text + std::wcslen(text); ++unit)
                hash = (hash ^ *unit) * 16777619;
        }
    }
    CHECK(hash == 0x940F9E5A);
}
