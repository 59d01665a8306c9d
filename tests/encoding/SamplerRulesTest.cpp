#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "encoding/Sampler.h"
#include "planning/Planner.h"
#include "support/Builders.h"

namespace kestrel {

namespace {

using test::aFilm;
using testing::HasSubstr;

constexpr double target = 95;
constexpr auto hevc = VideoCodecChoice::hevcX265;

struct Tried {
    int value;
    double vmaf;
};

std::vector<Sampler::Step> steps(std::initializer_list<Tried> tried)
{
    std::vector<Sampler::Step> result;
    for (const auto &[value, vmaf] : tried)
        result.push_back({value, 0, vmaf, vmaf, 0, 0});
    return result;
}

std::optional<int> next(std::initializer_list<Tried> tried, double slope = -0.6,
                        VideoCodecChoice codec = hevc)
{
    const auto proposal = Sampler::nextValue(steps(tried), slope, codec, target);
    return proposal ? std::optional(proposal->value) : std::nullopt;
}

Sampler::Step step(int value, double bitrate, std::optional<double> vmaf)
{
    return {value, bitrate, vmaf, vmaf, 0, 0};
}

} // namespace

TEST(Segments, lieEvenlyBetweenTitlesAndCredits)
{
    EXPECT_EQ(Sampler::segments(30), (std::vector<Segment>{{10, 10}}));
    const auto two = Sampler::segments(100);
    ASSERT_EQ(two.size(), 2U);
    EXPECT_NEAR(two[0].start, 26, 1e-9);
    EXPECT_NEAR(two[1].start, 64, 1e-9);
    const auto five = Sampler::segments(7200);
    ASSERT_EQ(five.size(), 5U);
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_NEAR(five[i].start, 1406.2 + 1094.4 * static_cast<double>(i), 1e-6);
        EXPECT_EQ(five[i].length, 10);
    }
    EXPECT_EQ(Sampler::segments(1), (std::vector<Segment>{{0.25, 0.5}}));
}

TEST(Segments, areMoreInLongerFiles)
{
    const struct {
        double duration;
        std::size_t count;
    } cases[] = {{-1, 0},   {0, 0},     {std::numeric_limits<double>::quiet_NaN(), 0},
                 {59.9, 1}, {60, 2},    {239.9, 2},
                 {240, 4},  {899.9, 4}, {900, 5}};
    for (const auto &[duration, count] : cases)
        EXPECT_EQ(Sampler::segments(duration).size(), count) << duration;
}

TEST(QualitySearch, endsWithinFourTenthsAboveTheTarget)
{
    EXPECT_EQ(next({{23, 95.0}}), std::nullopt);
    EXPECT_EQ(next({{23, 95.4}}), std::nullopt);
    EXPECT_NE(next({{23, 94.99}}), std::nullopt);
    EXPECT_NE(next({{23, 95.41}}), std::nullopt);
    std::vector<Sampler::Step> unscored{step(23, 1, std::nullopt)};
    EXPECT_EQ(Sampler::nextValue(unscored, -0.6, hevc, target), std::nullopt);
}

TEST(QualitySearch, aimsALittleAboveTheTargetAlongTheSlope)
{
    EXPECT_EQ(next({{23, 93.0}}), 19);                                  // 23 − 3.58
    EXPECT_EQ(next({{23, 97.0}}), 26);                                  // 23 + 3.08
    EXPECT_EQ(next({{23, 94.0}}, -0.28, VideoCodecChoice::av1SVT), 18); // 23 − 4.11
    EXPECT_EQ(next({{23, 95.5}}), 24) << "0.58 of a step is at least one";
}

TEST(QualitySearch, learnsTheSlopeFromTheLastTwoSteps)
{
    const auto learnt = Sampler::nextValue(steps({{23, 93.0}, {19, 94.0}}), -0.6, hevc, target);
    ASSERT_TRUE(learnt);
    EXPECT_NEAR(learnt->slope, -0.25, 1e-9);
    EXPECT_EQ(learnt->value, 14); // 19 − 4.6
    // A score that rose with the CRF teaches nothing: the slope stays what it was.
    EXPECT_EQ(next({{23, 93.0}, {19, 92.5}}), 14);       // 19 − 4.42
    EXPECT_EQ(next({{23, 93.0}, {19, 92.5}}, -1.0), 16); // 19 − 2.65
    EXPECT_EQ(next({{23, 93.0}, {19, 93.0}}), 15);       // 19 − 3.58
}

TEST(QualitySearch, takesNoGreatStridesAndStaysInTheCodecsRange)
{
    EXPECT_EQ(next({{23, 60.0}}), 15);
    EXPECT_EQ(next({{23, 99.9}}, -0.1), 31);
    EXPECT_EQ(next({{16, 85.0}}), 14);
    EXPECT_EQ(next({{34, 99.0}}), 36);
}

TEST(QualitySearch, endsAtAKnownValueAndAfterFourSteps)
{
    EXPECT_EQ(next({{24, 95.5}, {25, 94.8}}), std::nullopt); // 25 − 0.5 is 24 again
    EXPECT_EQ(next({{36, 97.0}}), std::nullopt);             // the range ends here
    EXPECT_NE(next({{23, 60.0}, {15, 70.0}, {20, 65.0}}), std::nullopt);
    EXPECT_EQ(next({{23, 60.0}, {15, 70.0}, {20, 65.0}, {30, 50.0}}), std::nullopt);
}

TEST(QualitySearch, settlesForTheSmallestThatIsGoodEnough)
{
    EXPECT_EQ(
        Sampler::choose({step(23, 5e6, 95.6), step(25, 4e6, 94.95), step(26, 3.5e6, 94.85)}, target).value,
        25);
    EXPECT_EQ(Sampler::choose({step(23, 5e6, 96.0), step(25, 5e6, 97.0)}, target).value, 23);
    EXPECT_EQ(Sampler::choose({step(23, 4e6, std::nullopt), step(18, 5e6, 90.0), step(14, 6e6, 93.0),
                               step(16, 7e6, 93.0)},
                              target)
                  .value,
              14);
}

// The encoded side comes half a frame late, so that rounded times never pair it with the frame before.
TEST(ComparisonGraph, bringsTheSourceIntoTheEncodedShape)
{
    const auto graph = [](const MediaInfo &film, const ConversionSettings &settings) {
        return Sampler::comparisonGraph(film, Planner::plan(film, settings, {}));
    };
    EXPECT_EQ(graph(aFilm(), {}), "[0:v]setpts=PTS-STARTPTS+0.020/TB[d];[1:v]setpts=PTS-STARTPTS[r];[d][r]");
    ConversionSettings small;
    small.resolution = TargetResolution::p720;
    EXPECT_THAT(
        graph(aFilm().interlaced(), small),
        HasSubstr("[1:v]bwdif=mode=send_frame:parity=auto:deint=interlaced,scale=1280:720:flags=bicubic,"
                  "setpts=PTS-STARTPTS[r]"));
    MediaInfo behindACover = aFilm();
    behindACover.video->isFirst = false;
    behindACover.video->index = 2;
    EXPECT_THAT(graph(behindACover, {}), HasSubstr("[1:2]setpts"));
}

} // namespace kestrel
