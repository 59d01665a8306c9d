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

void expectBytes(const SizeEstimate &estimate, Kind kind, double video, double audio, double other,
                 double seconds)
{
    EXPECT_EQ(estimate.kind, kind);
    EXPECT_NEAR(estimate.videoBytes, video, 1);
    EXPECT_NEAR(estimate.audioBytes, audio, 1);
    EXPECT_NEAR(estimate.otherBytes, other, 1);
    EXPECT_NEAR(estimate.total(), video + audio + other, 1);
    EXPECT_NEAR(estimate.encodeSeconds, seconds, 0.01);
}

// 186,624 megapixels at 45 in a second, and the search: 3 × 50 seconds, and 60 % for the scoring.
constexpr double usualSeconds = 4147.2 + 276.48;

} // namespace

TEST(Estimator, guessesTheBitrateOfTheVideo)
{
    using enum QualityLevel;
    using enum TargetResolution;
    constexpr auto av1 = VideoCodecChoice::av1SVT;
    const auto hd = [](const char *codec, double fps = 25) { return aFilm().video(codec, 1920, 1080, fps); };
    const struct {
        const char *what;
        MediaInfo film;
        ConversionSettings settings;
        double expected, tolerance = 1;
    } cases[] = {
        {"as most films", aFilm(), {}, 5'200'000},
        {"from an old codec", hd("mpeg2video"), {}, 2'600'000},
        {"from a codec that is not in the table", hd("cinepak"), {}, 4'000'000},
        {"small", aFilm(), {.quality = small}, 1'950'000},
        {"small, with another codec", aFilm(), {.codec = av1, .quality = small}, 1'755'000},
        // 30 Mbit/s are 0.5787 bits per pixel: (0.25 / 0.5787) ^ 0.6 = 0.60435
        {"dense", aFilm().bitrate(30'000'000), {}, 9'427'890, 500},
        {"dense, at a rate that is unknown", hd("h264", 0).bitrate(30'000'000), {}, 9'427'890, 500},
        {"smaller frames need less",
         aFilm().video("h264", 3840, 2160),
         {.resolution = p1080},
         5'200'000 * 0.353553,
         10},
        {"at most 1.2 of the source", aFilm().bitrate(5'000'000), {.quality = maximal}, 6'000'000},
        {"no video", aFilm().withoutVideo(), {}, 0, 0},
        {"no width", aFilm().video("h264", 0, 1080), {}, 0, 0},
        {"no bitrate", aFilm().unknownBitrate().duration(0), {}, 0, 0},
    };
    for (const auto &[what, film, settings, expected, tolerance] : cases)
        EXPECT_NEAR(heuristic(film, settings), expected, tolerance) << what;
}

TEST(Estimator, addsUpAnEncodedFilm)
{
    // The English track and the teletext are dropped.
    const SizeEstimate estimate = estimated(
        aFilm().audio("ac3", "deu").audio("ac3", "eng").subtitle("subrip").subtitle("dvb_teletext"));
    expectBytes(estimate, Kind::heuristic, 2'340'000'000, 86'400'000, 9'705'600 + 60'000, usualSeconds);
    EXPECT_EQ(estimate.vmaf, std::nullopt);
}

TEST(Estimator, learnsFromOtherFilesAndTrustsItsOwnSampleMost)
{
    expectBytes(estimated(aFilm(), {}, nullptr, 0.5, 2.0), Kind::calibrated, 1'170'000'000, 0, 4'680'000,
                usualSeconds / 2);
    // Never slower than a megapixel in a second.
    expectBytes(estimated(aFilm(), {}, nullptr, {}, 0.0), Kind::heuristic, 2'340'000'000, 0, 9'360'000,
                186'624 + 12'441.6);
    SampleResult sample{.videoBitrate = 4'000'000, .vmafMean = 95.2, .megapixelsPerSecond = 60};
    expectBytes(estimated(aFilm(), {}, &sample, 0.5, 2.0), Kind::measured, 1'800'000'000, 0, 7'200'000,
                3110.4);
    EXPECT_EQ(estimated(aFilm(), {}, &sample).vmaf, 95.2);
    sample.megapixelsPerSecond = 0;
    expectBytes(estimated(aFilm(), {}, &sample), Kind::measured, 1'800'000'000, 0, 7'200'000, 186'624);
}

TEST(Estimator, countsACopyExactly)
{
    const ConversionSettings kept{.codec = VideoCodecChoice::keepVideo},
        lossy{.codec = VideoCodecChoice::keepVideo, .convertLosslessAudio = true};
    expectBytes(estimated(aFilm().audio("ac3", "eng").audio("ac3", "deu", 6).subtitle("dvd_subtitle"), kept),
                Kind::exact, 4'500'000'000, 201'600'000, 18'806'400 + 11'250'000, 11.25);
    const SizeEstimate sound = estimated(aFilm().withoutVideo().audio("truehd", "deu", 6), lossy);
    EXPECT_EQ(sound.kind, Kind::exact);
    EXPECT_EQ(sound.videoBytes, 0);
    EXPECT_NEAR(sound.audioBytes, 288'000'000, 1);

    const SizeEstimate unchanged{.videoBytes = 4'500'000'000, .kind = Kind::exact};
    EXPECT_EQ(estimated(aFilm().audio("ac3", "deu").subtitle("subrip"), kept), unchanged);
}

TEST(Estimator, takesTheMiddleValue)
{
    EXPECT_EQ(Estimator::median({3, 1, 2}), 2);
    EXPECT_EQ(Estimator::median({4, 1, 3, 2}), 2.5);
    EXPECT_EQ(Estimator::median({}), std::nullopt);
}

TEST(SampleResult, sparesAVideoThatKeepsNineTenths)
{
    const SampleResult sample{.videoBitrate = 900'000};
    EXPECT_TRUE(sample.hardlySaves(1'000'000));
    EXPECT_FALSE(sample.hardlySaves(1'000'002));
}

} // namespace kestrel
