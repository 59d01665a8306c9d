#include "model/AudioFacts.h"

#include <gmock/gmock.h>

#include "support/Builders.h"

namespace kestrel {
namespace {

using test::aFilm;
using testing::ElementsAre;
using testing::Pair;

AudioFacts facts(const std::vector<std::optional<MediaInfo>> &films, const ConversionSettings &settings = {})
{
    Library::Items items;
    for (const auto &film : films) {
        items.push_back(std::make_unique<FileItem>("/f/" + std::to_string(items.size()) + ".mkv", "/f"));
        items.back()->info = film;
    }
    return AudioFacts::of(items, settings);
}

TEST(AudioFacts, countEachFileOnceForEachOfItsLanguages)
{
    const auto found = facts({aFilm().audio("ac3", "deu").audio("ac3", "deu").audio("ac3", "eng"),
                              aFilm().audio("ac3", "eng").audio("ac3", "und"), aFilm()});
    EXPECT_THAT(found.filesByLanguage, ElementsAre(Pair("deu", 1), Pair("eng", 2)))
        << "what states no language is none";
    EXPECT_EQ(facts({std::nullopt}), AudioFacts()) << "not yet probed";
}

TEST(AudioFacts, filesAreUndecidedWhereOnlyTracksWithoutALanguageCouldBeMeant)
{
    const ConversionSettings withCommentaries{.dropCommentary = false};
    const auto unknown = [] { return aFilm().audio("ac3", "und"); };
    const struct {
        const char *what;
        MediaInfo film;
        std::size_t undecided;
        ConversionSettings settings = {};
    } cases[] = {
        {"no language at all", unknown(), 1},
        {"another language beside it", unknown().audio("ac3", "eng"), 1},
        {"a chosen language beside it", unknown().audio("ac3", "deu"), 0},
        {"only another language", aFilm().audio("ac3", "eng"), 0},
        {"no sound", aFilm(), 0},
        {"a commentary that goes", unknown().audio("ac3", "deu").asCommentary(), 1},
        {"a commentary that stays", unknown().audio("ac3", "deu").asCommentary(), 0, withCommentaries},
    };
    for (const auto &[what, film, undecided, settings] : cases)
        EXPECT_EQ(facts({film}, settings).undecidedFiles, undecided) << what;
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
