#include "model/AudioFacts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Builders.h"

namespace kestrel {
namespace {

using test::aFilm;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

Library::Items library(const std::vector<MediaInfo> &films)
{
    Library::Items items;
    for (const auto &film : films) {
        items.push_back(std::make_unique<FileItem>("/f/" + std::to_string(items.size()) + ".mkv", "/f"));
        items.back()->info = film;
    }
    return items;
}

AudioFacts facts(const std::vector<MediaInfo> &films, const ConversionSettings &settings = {})
{
    return AudioFacts::of(library(films), settings);
}

TEST(AudioFacts, countEachFileOnceForEachOfItsLanguages)
{
    const auto found = facts({aFilm().audio("ac3", "deu").audio("ac3", "deu").audio("ac3", "eng"),
                              aFilm().audio("ac3", "eng").audio("ac3", "und"), aFilm()});
    EXPECT_THAT(found.filesByLanguage, ElementsAre(Pair("deu", 1), Pair("eng", 2)))
        << "what states no language is none";
    Library::Items unasked = library({aFilm().audio("flac", "deu")});
    unasked[0]->info.reset();
    EXPECT_EQ(AudioFacts::of(unasked, {}), AudioFacts());
}

TEST(AudioFacts, filesAreUndecidedWhereOnlyTracksWithoutALanguageCouldBeMeant)
{
    struct Case {
        const char *what;
        MediaInfo film;
        bool isUndecided;
    };
    const std::vector<Case> cases{
        {"no language at all", aFilm().audio("ac3", "und"), true},
        {"another language beside it", aFilm().audio("ac3", "und").audio("ac3", "eng"), true},
        {"a chosen language beside it", aFilm().audio("ac3", "und").audio("ac3", "deu"), false},
        {"only another language", aFilm().audio("ac3", "eng"), false},
        {"no sound", aFilm(), false},
    };
    for (const auto &one : cases)
        EXPECT_EQ(facts({one.film}).undecidedFiles, one.isUndecided ? 1U : 0U) << one.what;
}

TEST(AudioFacts, aCommentaryIsNoTrackInAChosenLanguageWhereCommentariesGo)
{
    const MediaInfo film = aFilm().audio("ac3", "und").audio("ac3", "deu").asCommentary();
    ConversionSettings settings;
    settings.dropCommentary = true;
    EXPECT_EQ(facts({film}, settings).undecidedFiles, 1U);
    settings.dropCommentary = false;
    EXPECT_EQ(facts({film}, settings).undecidedFiles, 0U);
}

TEST(AudioFacts, countEveryLosslessTrack)
{
    EXPECT_EQ(facts({aFilm().audio("truehd", "deu").audio("flac", "eng").audio("ac3", "deu"),
                     aFilm().audio("dts", "deu").profile("DTS-HD MA"), aFilm().audio("dts", "deu"),
                     aFilm().audio("pcm_s16le", "und")})
                  .losslessTracks,
              4U);
}

} // namespace
} // namespace kestrel
