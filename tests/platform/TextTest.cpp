#include "platform/Text.h"

#include <algorithm>

#include <gmock/gmock.h>

namespace kestrel {

TEST(Text, replacesBrokenBytesAndTrimsEveryKindOfWhiteSpace)
{
    EXPECT_EQ(Text::repaired("Film ü.mkv"), "Film ü.mkv");
    EXPECT_EQ(Text::repaired("Gr\xfc\xdf\x65"), "Gr\uFFFD\uFFFDe");
    EXPECT_EQ(Text::repaired("halb \xc3"), "halb \uFFFD");
    EXPECT_EQ(Text::trimmed(" \r\n\t ä  b\u00a0\u2003\n"), "ä  b");
    EXPECT_EQ(Text::trimmed(" \n"), "");
    EXPECT_EQ(Text::trimmed(" \xff "), "\xff");
}

TEST(Text, cutsBetweenCharacters)
{
    for (const auto &[bytes, expected] : {std::pair(1U, "a"), {2, "a"}, {3, "aä"}, {99, "aäb"}})
        EXPECT_EQ(Text::prefix("aäb", bytes), expected);
    EXPECT_EQ(Text::prefix("😀", 3), "");
    EXPECT_EQ(Text::prefix("\xff\xfe\xfd", 2), "\xff\xfe");
    EXPECT_EQ(Text::first("äöü", 2), "äö");
    EXPECT_EQ(Text::first("\xff\xffz", 2), "\xff\xff");
    EXPECT_EQ(Text::length("a😀\xe2\x82z"), 5U); // each byte of a broken character counts
}

TEST(Text, countsTheColumnsOfATerminalAndElidesInTheMiddle)
{
    for (const auto &[text, columns] :
         {std::pair("Äpfel", 5), {"映画", 4}, {"e\u0301", 1}, {"\u200b", 0}, {"\xff", 1}})
        EXPECT_EQ(Text::columns(text), columns) << text;
    for (const auto &[limit, expected] :
         {std::pair(10, "abcdefghij"), {5, "ab…ij"}, {6, "abc…ij"}, {1, "…"}, {0, ""}})
        EXPECT_EQ(Text::elided("abcdefghij", limit), expected);
    for (int limit = 1; limit < 12; ++limit)
        EXPECT_LE(Text::columns(Text::elided("映画aäe\u0301映画", limit)), limit) << limit;
}

TEST(Text, sortsNamesAsPeopleDo)
{
    std::vector<std::string> names{"映画",    "Zebra",   "Folge 100", "Folge 010", "Folge 9",
                                   "folge 2", "Folge 1", "arztroman", "Ärzte"};
    std::sort(names.begin(), names.end(),
              [](const auto &a, const auto &b) { return Text::naturalSortKey(a) < Text::naturalSortKey(b); });
    EXPECT_THAT(names, testing::ElementsAre("Ärzte", "arztroman", "Folge 1", "folge 2", "Folge 9",
                                            "Folge 010", "Folge 100", "Zebra", "映画"));
    EXPECT_NE(Text::naturalSortKey("Film"), Text::naturalSortKey("film"));
}

TEST(Text, knowsGermanLanguageNames)
{
    EXPECT_EQ(Text::germanLanguageName("isl"), "Isländisch");
    for (const char *unknown : {"qqx", "äöü", ""})
        EXPECT_EQ(Text::germanLanguageName(unknown), std::nullopt);
}

} // namespace kestrel
