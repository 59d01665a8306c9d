#include "media/Language.h"

#include <gtest/gtest.h>

namespace kestrel {

using Tag = std::optional<std::string>;

TEST(Language, foldsTagsOntoOneCode)
{
    struct Case {
        Tag code, title;
        const char *expected;
    };
    const Case cases[] = {
        {"ger", {}, "deu"},
        {"Deutsch", {}, "deu"},
        {" EN ", {}, "eng"},
        {"zh", {}, "zho"},
        {"nob", {}, "nor"},
        {"xx", {}, "und"},
        {"ro", {}, "und"}, // no two-letter tags for the
                           // rarer languages
        {"abc", {}, "abc"},
        {"QAA", {}, "qaa"},
        {"äöü", {}, "äöü"}, // three characters, six bytes
        {"deutsche", {}, "und"},
        {"zxx", {}, "und"},
        {"", {}, "und"},
        {{}, {}, "und"},
    };
    for (const auto &[code, title, expected] : cases)
        EXPECT_EQ(Language::normalize(code, title), expected) << code.value_or("none");
}

TEST(Language, asksTheTitleOnlyWhereTheTagSaysNothing)
{
    EXPECT_EQ(Language::normalize({}, "Deutsch AC3"), "deu");
    EXPECT_EQ(Language::normalize("und", "English Commentary"), "eng");
    EXPECT_EQ(Language::normalize("mul", "GERMAN / English"), "deu");
    EXPECT_EQ(Language::normalize("x-klingon", "Englisch"), "eng");
    EXPECT_EQ(Language::normalize("fre", "Deutsch"), "fra");
    EXPECT_EQ(Language::normalize("", "Français"), "und");
}

TEST(Language, hasGermanNamesAndShortBadges)
{
    EXPECT_EQ(Language::name("deu"), "Deutsch");
    EXPECT_EQ(Language::name("nld"), "Niederländisch");
    EXPECT_EQ(Language::name("und"), "Unbekannt");
    EXPECT_EQ(Language::name("isl"), "Isländisch"); // from the system
    EXPECT_EQ(Language::name("qqx"), "QQX");
    EXPECT_EQ(Language::shortName("deu"), "DE");
    EXPECT_EQ(Language::shortName("fra"), "FR");
    EXPECT_EQ(Language::shortName("und"), "??");
    EXPECT_EQ(Language::shortName("x"), "X");
}

TEST(Language, recognisesCommentariesByTheirTitle)
{
    for (const char *title :
         {"Kommentar des Regisseurs", "Director's COMMENTARY", "HÖRFILM für Sehbehinderte", "Hoerfilm",
          "Audiodeskription", "English Audio Description", "Descriptive audio"})
        EXPECT_TRUE(Language::looksLikeCommentary(title)) << title;
    EXPECT_FALSE(Language::looksLikeCommentary("Deutsch 5.1"));
    EXPECT_FALSE(Language::looksLikeCommentary({}));
}

} // namespace kestrel
