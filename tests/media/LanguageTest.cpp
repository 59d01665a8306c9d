#include "media/Language.h"

#include <gtest/gtest.h>

namespace kestrel {

TEST(Language, foldsTagsOntoOneCodeAndAsksTheTitleOnlyWhereTheTagSaysNothing)
{
    using Tag = std::optional<std::string>;
    struct Case {
        Tag code;
        const char *expected;
        Tag title = {};
    };
    // No two-letter tags for the rarer languages; three characters may be six bytes.
    for (const auto &[code, expected, title] : {Case{"ger", "deu"},
                                                Case{"Deutsch", "deu"},
                                                Case{" EN ", "eng"},
                                                Case{"zh", "zho"},
                                                Case{"nob", "nor"},
                                                Case{"xx", "und"},
                                                Case{"ro", "und"},
                                                Case{"abc", "abc"},
                                                Case{"QAA", "qaa"},
                                                Case{"äöü", "äöü"},
                                                Case{"deutsche", "und"},
                                                Case{"zxx", "und"},
                                                Case{"", "und"},
                                                Case{{}, "und"},
                                                Case{{}, "deu", "Deutsch AC3"},
                                                Case{"und", "eng", "English Commentary"},
                                                Case{"mul", "deu", "GERMAN / English"},
                                                Case{"x-klingon", "eng", "Englisch"},
                                                Case{"fre", "fra", "Deutsch"},
                                                Case{"", "und", "Français"}})
        EXPECT_EQ(Language::normalize(code, title), expected) << code.value_or("none");
}

TEST(Language, hasGermanNamesAndShortBadges)
{
    // The system knows Icelandic.
    for (const auto &[code, name] : {std::pair("deu", "Deutsch"),
                                     {"nld", "Niederländisch"},
                                     {"und", "Unbekannt"},
                                     {"isl", "Isländisch"},
                                     {"qqx", "QQX"}})
        EXPECT_EQ(Language::name(code), name);
    for (const auto &[code, badge] : {std::pair("deu", "DE"), {"fra", "FR"}, {"und", "??"}, {"x", "X"}})
        EXPECT_EQ(Language::shortName(code), badge);
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
