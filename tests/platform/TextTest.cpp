#include "platform/Text.h"

#include <algorithm>

#include <gtest/gtest.h>

namespace kestrel {

TEST(Text, replacesBrokenBytes)
{
    EXPECT_EQ(Text::repaired("Film ü.mkv"), "Film ü.mkv");
    EXPECT_EQ(Text::repaired("Gr\xfc\xdf\x65"), "Gr\uFFFD\uFFFDe");
    EXPECT_EQ(Text::repaired("halb \xc3"), "halb \uFFFD");
}

TEST(Text, trimsEveryKindOfWhiteSpace)
{
    EXPECT_EQ(Text::trimmed(" \r\n\t ä  b\u00a0\u2003\n"), "ä  b");
    EXPECT_EQ(Text::trimmed(" \n"), "");
    EXPECT_EQ(Text::trimmed(" \xff "), "\xff");
}

TEST(Text, cutsBetweenCharacters)
{
    EXPECT_EQ(Text::prefix("aäb", 1), "a");
    EXPECT_EQ(Text::prefix("aäb", 2), "a");
    EXPECT_EQ(Text::prefix("aäb", 3), "aä");
    EXPECT_EQ(Text::prefix("aäb", 99), "aäb");
    EXPECT_EQ(Text::prefix("😀", 3), "");
    EXPECT_EQ(Text::prefix("\xff\xfe\xfd", 2), "\xff\xfe");
    EXPECT_EQ(Text::first("äöü", 2), "äö");
    EXPECT_EQ(Text::first("\xff\xffz", 2), "\xff\xff");
    EXPECT_EQ(Text::length("a😀\xe2\x82z"), 5U); // each byte of a broken character counts
}

TEST(Text, countsTheColumnsOfATerminal)
{
    EXPECT_EQ(Text::columns("Äpfel"), 5);
    EXPECT_EQ(Text::columns("映画"), 4);
    EXPECT_EQ(Text::columns("e\u0301"), 1);
    EXPECT_EQ(Text::columns("\u200b"), 0);
    EXPECT_EQ(Text::columns("\xff"), 1);
}

TEST(Text, elidesInTheMiddle)
{
    EXPECT_EQ(Text::elided("abcdefghij", 10), "abcdefghij");
    EXPECT_EQ(Text::elided("abcdefghij", 5), "ab…ij");
    EXPECT_EQ(Text::elided("abcdefghij", 6), "abc…ij");
    EXPECT_EQ(Text::elided("abcdefghij", 1), "…");
    EXPECT_EQ(Text::elided("abcdefghij", 0), "");
    for (int limit = 1; limit < 12; ++limit)
        EXPECT_LE(Text::columns(Text::elided("映画aäe\u0301映画", limit)), limit) << limit;
}

TEST(Text, sortsNamesAsPeopleDo)
{
    const std::vector<std::string> sorted{"Ärzte",     "arztroman", "Folge 1", "folge 2", "Folge 9",
                                          "Folge 010", "Folge 100", "Zebra",   "映画"};
    std::vector<std::string> names = sorted;
    std::reverse(names.begin(), names.end());
    std::sort(names.begin(), names.end(),
              [](const auto &a, const auto &b) { return Text::naturalSortKey(a) < Text::naturalSortKey(b); });
    EXPECT_EQ(names, sorted);
    EXPECT_NE(Text::naturalSortKey("Film"), Text::naturalSortKey("film"));
}

TEST(Text, knowsGermanLanguageNames)
{
    EXPECT_EQ(Text::germanLanguageName("isl"), "Isländisch");
    EXPECT_EQ(Text::germanLanguageName("qqx"), std::nullopt);
    EXPECT_EQ(Text::germanLanguageName("äöü"), std::nullopt);
    EXPECT_EQ(Text::germanLanguageName(""), std::nullopt);
}

} // namespace kestrel
