#include "media/EditLists.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "media/Prober.h"
#include "support/Clips.h"
#include "support/Seen.h"
#include "support/StandIn.h"

namespace kestrel::test {
namespace {

using Kind = TrackEdits::Kind;
using Stretches = std::vector<TrackEdits::Stretch>;

// Ten seconds of 25 pictures, of which the decoder delays the first by 0.08 s; or of sound.
Cut judged(Kind kind, const Stretches &stretches)
{
    const bool isPicture = kind == Kind::picture;
    const double begin = isPicture ? 0.08 : 0;
    return EditLists::judge({{kind, begin, begin + 10, isPicture ? 0.04 : 0, stretches}});
}

fs::path delayed()
{
    return Clips::make("edits.mp4",
                       "-f lavfi -i testsrc2=s=160x120:r=25:d=4 -itsoffset 0.7 -f lavfi -i sine=d=4 "
                       "-c:v libx264 -preset ultrafast -bf 2 -b_strategy 0 -c:a aac");
}

TEST(EditLists, onlyThoseCutThatLeaveSomethingOut)
{
    constexpr std::nullopt_t gap = std::nullopt;
    for (const auto &[what, kind, stretches, expected] :
         {std::tuple("the decoder's delay", Kind::picture, Stretches{{0.08, 10}}, Cut::none),
          {"to the end", Kind::picture, {{0.08, 0}}, Cut::none},
          {"no delay made up for", Kind::picture, {{0, 10.08}}, Cut::none},
          {"half a picture, by rounding", Kind::picture, {{0.1, 9.99}}, Cut::none},
          {"a later beginning", Kind::picture, {{gap, 3}, {0.08, 10}}, Cut::none},
          {"the first picture", Kind::picture, {{0.12, 9.96}}, Cut::picture},
          {"the last two pictures", Kind::picture, {{0.08, 9.92}}, Cut::picture},
          {"the priming of a sound decoder", Kind::sound, {{0.048, 9.9}}, Cut::none},
          {"sound in front", Kind::sound, {{0.38, 9.62}}, Cut::sound},
          {"sound at the end", Kind::sound, {{0, 9.5}}, Cut::sound},
          {"two stretches", Kind::picture, {{0.08, 3}, {5, 5}}, Cut::rearranged},
          {"a gap in between", Kind::sound, {{0, 3}, {gap, 1}, {3, 7}}, Cut::rearranged},
          {"half the speed", Kind::picture, {{0.08, 20, 0}}, Cut::rearranged},
          {"nothing but a gap", Kind::sound, {{gap, 10}}, Cut::rearranged}})
        EXPECT_EQ(judged(kind, stretches), expected) << what;
    const TrackEdits whole{Kind::picture, 0, 10, 0.04, {{0, 10}}}, cut{Kind::sound, 0, 10, 0, {{1, 9}}};
    EXPECT_EQ(EditLists::judge({whole, cut}), Cut::sound);
    EXPECT_EQ(EditLists::judge({}), Cut::none);
}

TEST(EditLists, areReadFromRealFilesAndKeptInTheAnswer)
{
    const Sandbox sandbox;
    const fs::path film = sandbox.put(delayed(), "Film.mp4");
    const auto tracks = EditLists::read(film);
    ASSERT_EQ(tracks.size(), 2U);
    EXPECT_EQ(tracks[0].kind, Kind::picture);
    EXPECT_NEAR(tracks[0].begin, 0.08, 0.001);
    EXPECT_NEAR(tracks[0].frame, 0.04, 0.001);
    ASSERT_EQ(tracks[1].stretches.size(), 2U);
    EXPECT_FALSE(tracks[1].stretches[0].start);
    EXPECT_EQ(EditLists::judge(tracks), Cut::none);
    EXPECT_EQ(EditLists::fromJson(EditLists::toJson(tracks)), tracks);

    const auto probed = [&] { return Prober::probe(film, realTools().ffprobe, {}).cut; };
    EXPECT_EQ(probed(), Cut::none);
    Mp4::edit(film, 's', {{0.0, 1}, {2.0, 1}});
    EXPECT_EQ(probed(), Cut::rearranged);
    Mp4::edit(film, 's', {{0.5, 3.5}});
    EXPECT_EQ(probed(), Cut::sound);
    Mp4::edit(film, 'v', {{1.28, 2}});
    EXPECT_EQ(probed(), Cut::picture);
}

TEST(EditLists, brokenFilesHaveNone)
{
    const Sandbox sandbox;
    const std::string whole = readFile(delayed());
    using namespace std::string_literals;
    for (const std::string &bytes :
         {""s, "nonsense"s, std::string(4096, '\0'), "\0\0\0\x01moov"s, std::string(64, '\xff')})
        EXPECT_TRUE(EditLists::read(sandbox.write("broken.mp4", bytes)).empty());
    EXPECT_TRUE(EditLists::read(sandbox / "missing").empty());
    EXPECT_TRUE(EditLists::read(sandbox.path()).empty());
    // Every byte of the header wrong once: nothing crashes, nothing lasts.
    const std::size_t movie = whole.find("moov");
    ASSERT_NE(movie, std::string::npos);
    for (std::size_t i = movie - 4; i < whole.size(); i += 7) {
        std::string bytes = whole;
        bytes[i] = static_cast<char>(~bytes[i]);
        EXPECT_LE(EditLists::read(sandbox.write("broken.mp4", bytes)).size(), 2U);
    }
    for (const char *json : {R"([{"isPicture": 3}, 5])", R"("text")"})
        EXPECT_TRUE(EditLists::fromJson(nlohmann::json::parse(json)).empty());
}

} // namespace
} // namespace kestrel::test
