#include "planning/Estimator.h"

#include <gtest/gtest.h>

#include "planning/Planner.h"
#include "planning/Segment.h"
#include "support/Builders.h"

namespace kestrel {

namespace {

using test::aFilm;
using Kind = SizeEstimate::Kind;

double heuristic(const MediaInfo &film, const ConversionSettings &settings = {})
{
    return Estimator::heuristicVideoBitrate(film, Planner::plan(film, settings, {}), settings);
}

SizeEstimate estimated(const MediaInfo &film, const ConversionSettings &settings = {},
                       const SampleResult *sample = nullptr, std::optional<double> content = {},
                       std::optional<double> speed = {})
{
    return Estimator::estimate(film, Planner::plan(film, settings, {}), settings, sample, content, speed);
}

ConversionSettings keepingTheVideo()
{
    ConversionSettings settings;
    settings.codec = VideoCodecChoice::keepVideo;
    return settings;
}

} // namespace

TEST(Estimator, guessesFromCodecAndQuality)
{
    ConversionSettings settings;
    EXPECT_NEAR(heuristic(aFilm()), 5'200'000, 1);
    EXPECT_NEAR(heuristic(aFilm().video("mpeg2video", 1920, 1080)), 2'600'000, 1);
    EXPECT_NEAR(heuristic(aFilm().video("cinepak", 1920, 1080)), 4'000'000, 1); // not in the table
    settings.quality = QualityLevel::small;
    EXPECT_NEAR(heuristic(aFilm(), settings), 1'950'000, 1);
    settings.codec = VideoCodecChoice::av1SVT;
    EXPECT_NEAR(heuristic(aFilm(), settings), 1'755'000, 1);
}

TEST(Estimator, expectsDenseSourcesToShrinkMore)
{
    // 30 Mbit/s are 0.5787 bits per pixel: (0.25 / 0.5787) ^ 0.6 = 0.60435
    EXPECT_NEAR(heuristic(aFilm().bitrate(30'000'000)), 9'427'890, 500);
    // The same with an unknown frame rate, which counts as 25.
    EXPECT_NEAR(heuristic(aFilm().video("h264", 1920, 1080, 0).bitrate(30'000'000)), 9'427'890, 500);
}

TEST(Estimator, expectsSmallerFramesToNeedLess)
{
    ConversionSettings settings;
    settings.resolution = TargetResolution::p1080;
    EXPECT_NEAR(heuristic(aFilm().video("h264", 3840, 2160), settings), 5'200'000 * 0.353553, 10);
}

TEST(Estimator, neverExpectsMoreThanAFifthAboveTheSource)
{
    ConversionSettings settings;
    settings.quality = QualityLevel::maximal;
    EXPECT_NEAR(heuristic(aFilm().bitrate(5'000'000), settings), 6'000'000, 1);
}

TEST(Estimator, guessesNothingWithoutVideoOrBitrate)
{
    EXPECT_EQ(heuristic(aFilm().withoutVideo()), 0);
    EXPECT_EQ(heuristic(aFilm().video("h264", 0, 1080)), 0);
    EXPECT_EQ(heuristic(aFilm().unknownBitrate().duration(0)), 0);
}

TEST(Estimator, addsUpAnEncodedFilm)
{
    // The English track and the teletext are dropped.
    const SizeEstimate estimate = estimated(
        aFilm().audio("ac3", "deu").audio("ac3", "eng").subtitle("subrip").subtitle("dvb_teletext"));
    EXPECT_EQ(estimate.kind, Kind::heuristic);
    EXPECT_NEAR(estimate.videoBytes, 2'340'000'000, 1);
    EXPECT_NEAR(estimate.audioBytes, 86'400'000, 1);
    EXPECT_NEAR(estimate.otherBytes, 9'705'600 + 60'000, 1);
    EXPECT_NEAR(estimate.total(), 2'436'165'600, 1);
    EXPECT_EQ(estimate.vmaf, std::nullopt);
    // 186,624 megapixels at 45 in a second, and the search: 3 × 50 seconds, and 60 % for the scoring.
    EXPECT_NEAR(estimate.encodeSeconds, 4147.2 + 276.48, 0.01);
}

TEST(Estimator, learnsFromOtherFiles)
{
    const SizeEstimate estimate = estimated(aFilm(), {}, nullptr, 0.5, 2.0);
    EXPECT_EQ(estimate.kind, Kind::calibrated);
    EXPECT_NEAR(estimate.videoBytes, 1'170'000'000, 1);
    EXPECT_NEAR(estimate.encodeSeconds, (4147.2 + 276.48) / 2, 0.01);
    EXPECT_EQ(estimated(aFilm(), {}, nullptr, {}, 2.0).kind, Kind::heuristic);
    // Never slower than a megapixel in a second.
    EXPECT_NEAR(estimated(aFilm(), {}, nullptr, {}, 0.0).encodeSeconds, 186'624 + 12'441.6, 0.01);
}

TEST(Estimator, trustsItsOwnSampleMost)
{
    SampleResult sample;
    sample.videoBitrate = 4'000'000;
    sample.vmafMean = 95.2;
    sample.megapixelsPerSecond = 60;
    const SizeEstimate estimate = estimated(aFilm(), {}, &sample, 0.5, 2.0);
    EXPECT_EQ(estimate.kind, Kind::measured);
    EXPECT_EQ(estimate.vmaf, 95.2);
    EXPECT_NEAR(estimate.videoBytes, 1'800'000'000, 1);
    EXPECT_NEAR(estimate.encodeSeconds, 3110.4, 0.01);
    sample.megapixelsPerSecond = 0;
    EXPECT_NEAR(estimated(aFilm(), {}, &sample).encodeSeconds, 186'624, 0.01);
}

TEST(Estimator, countsACopyExactly)
{
    const SizeEstimate copy = estimated(
        aFilm().audio("ac3", "eng").audio("ac3", "deu", 6).subtitle("dvd_subtitle"), keepingTheVideo());
    EXPECT_EQ(copy.kind, Kind::exact);
    EXPECT_NEAR(copy.videoBytes, 4'500'000'000, 1);
    EXPECT_NEAR(copy.audioBytes, 201'600'000, 1);
    EXPECT_NEAR(copy.otherBytes, 18'806'400 + 11'250'000, 1);
    EXPECT_NEAR(copy.encodeSeconds, 11.25, 0.001);

    ConversionSettings lossy = keepingTheVideo();
    lossy.convertLosslessAudio = true;
    const SizeEstimate sound = estimated(aFilm().withoutVideo().audio("truehd", "deu", 6), lossy);
    EXPECT_EQ(sound.kind, Kind::exact);
    EXPECT_EQ(sound.videoBytes, 0);
    EXPECT_NEAR(sound.audioBytes, 288'000'000, 1);
}

TEST(Estimator, leavesAnUnchangedFileItsSize)
{
    SizeEstimate expected;
    expected.videoBytes = 4'500'000'000;
    expected.kind = Kind::exact;
    EXPECT_EQ(estimated(aFilm().audio("ac3", "deu").subtitle("subrip"), keepingTheVideo()), expected);
}

TEST(Estimator, takesTheMiddleValue)
{
    EXPECT_EQ(Estimator::median({3, 1, 2}), 2);
    EXPECT_EQ(Estimator::median({4, 1, 3, 2}), 2.5);
    EXPECT_EQ(Estimator::median({}), std::nullopt);
}

TEST(SampleResult, sparesAVideoThatKeepsNineTenths)
{
    SampleResult sample;
    sample.videoBitrate = 899'999;
    EXPECT_FALSE(sample.hardlySaves(1'000'000));
    sample.videoBitrate = 900'000;
    EXPECT_TRUE(sample.hardlySaves(1'000'000));
}

} // namespace kestrel
