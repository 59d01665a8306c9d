#include "encoding/Scorer.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "encoding/FrameComparison.h"
#include "media/Prober.h"
#include "media/ProcessRunner.h"
#include "planning/Planner.h"
#include "support/Clips.h"
#include "support/Sandbox.h"
#include "support/Seen.h"
#include "support/StandIn.h"

namespace kestrel::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

// Every picture differs so much from its neighbours that one of them in its place falls clearly: libvmaf's
// motion is above 2.
const std::string motion = "-f lavfi -i testsrc2=s=320x240:";
const std::string scroll = " -vf scroll=h=0.0125:v=0.00833";
const std::string x264 = " -c:v libx264 -preset ultrafast -crf 10";

Tools measuringTools()
{
    Tools tools = realTools();
    tools.mayMeasure = true;
    return tools;
}

class BuiltInScorer : public testing::Test {
protected:
    struct Film {
        MediaInfo info;
        Plan plan;
    };

    static Film film(const fs::path &clip, TargetResolution resolution = TargetResolution::original)
    {
        Film film;
        film.info = Prober::probe(clip, realTools().ffprobe, {});
        ConversionSettings settings;
        settings.resolution = resolution;
        film.plan = Planner::plan(film.info, settings, std::nullopt);
        film.plan.video = EncodeVideo{};
        return film;
    }

    // The segment without any loss, with these filters behind those of the comparison.
    fs::path copyOf(const Film &film, const std::string &pixelFormat,
                    const std::string &filter = "null") const
    {
        std::string filters;
        for (const auto &one : Sampler::referenceFilters(film.plan))
            filters += one + ",";
        const fs::path output = sandbox / "copy.mkv";
        const auto encode =
            ProcessRunner::run(realTools().ffmpeg,
                               {"-nostdin", "-v", "error", "-y", "-ss", CommandBuilder::format(segment.start),
                                "-t", CommandBuilder::format(segment.length), "-i", film.info.url.native(),
                                "-map", fmt::format("0:{}", film.info.video->index), "-vf", filters + filter,
                                "-c:v", "ffv1", "-pix_fmt", pixelFormat, output.native()},
                               {});
        EXPECT_EQ(encode.status, 0) << encode.errorText();
        return output;
    }

    double score(const Film &film, const fs::path &encoded) const
    {
        const ConversionSettings settings;
        const Sampler::Subject subject{film.info, film.plan, settings, measuringTools(), sandbox.path()};
        return Scorer::of(subject)
            ->score(Prober::probe(encoded, realTools().ffprobe, {}), segment, 3, {})
            .vmaf;
    }

    // A lossless copy of the segment, and one in which every picture is late by one.
    void expectOwnPartners(const Film &film, const std::string &name,
                           const std::string &pixelFormat = "yuv420p10le") const
    {
        EXPECT_GT(score(film, copyOf(film, pixelFormat)), 99) << name;
        EXPECT_LT(score(film, copyOf(film, pixelFormat, "tmix=frames=2:weights=1 0")), 90) << name;
    }

    const Sandbox sandbox;
    const Segment segment{2.123, 3};
};

TEST_F(BuiltInScorer, comparesEveryPictureWithItsOwnSource)
{
    const struct {
        const char *name;
        std::string arguments;
    } sources[] = {
        {"score-23976.mkv", "r=24000/1001:d=6" + scroll + x264},
        {"score-2997.mp4",
         "r=30000/1001:d=6" + scroll + x264 + " -x264-params open-gop=1:keyint=24:bframes=2"},
        {"score-5994.mkv", "r=60000/1001:d=6" + scroll + x264},
        {"score-offset.ts", "r=25:d=6" + scroll + x264 + " -g 12 -output_ts_offset 100"},
        {"score-ps.mpg",
         "r=25:d=6 -f lavfi -i sine=d=6" + scroll + " -c:v mpeg2video -q:v 2 -g 12 -bf 2 -c:a mp2"},
        // Every seventh picture is missing, and the times of the others are a little off.
        {"score-vfr.mkv", "r=30:d=6" + scroll + ",select='not(eq(mod(n\\,7)\\,3))' -vsync vfr" + x264},
        {"score-jitter.mp4",
         "r=30:d=6" + scroll + ",settb=1/90000,setpts='PTS+mod(N*397\\,1100)-550*gt(N\\,0)'" +
             " -vsync passthrough -enc_time_base 1:90000 -video_track_timescale 90000" + x264},
    };
    for (const auto &[name, arguments] : sources)
        expectOwnPartners(film(Clips::make(name, motion + arguments)), name);
}

TEST_F(BuiltInScorer, bringsTheSourceIntoTheShapeOfTheEncode)
{
    const std::string plain = "r=24:d=6" + scroll;
    const fs::path film8 = Clips::make("score-8.mkv", motion + plain + x264);
    const fs::path film10 =
        Clips::make("score-10.mkv", motion + plain + ",format=yuv420p10le" + " -c:v ffv1");
    for (const auto &clip : {film8, film10})
        for (const char *format : {"yuv420p", "yuv420p10le", "yuv444p12le"})
            if (clip == film8 || std::string(format) != "yuv420p") { // 8 bits of 10 are a loss
                EXPECT_GT(score(film(clip), copyOf(film(clip), format)), 98.9) << clip << " " << format;
            }

    expectOwnPartners(
        film(Clips::make("score-large.mkv", "-f lavfi -i testsrc2=s=1280x720:r=24:d=6" + scroll + x264),
             TargetResolution::p576),
        "scaled");
    const Film interlaced =
        film(Clips::make("score-interlaced.mkv", motion + "r=48:d=6" + scroll + ",tinterlace=interleave_top" +
                                                     x264 + " -flags +ildct+ilme -x264opts tff=1"));
    ASSERT_TRUE(interlaced.plan.deinterlace);
    expectOwnPartners(interlaced, "interlaced");

    const fs::path turned = sandbox.put(Clips::make("score-turned.mov", motion + plain + x264), "turned.mov");
    Mp4::turn(turned, 1);
    ASSERT_EQ(film(turned).info.video->seenSize(), (FrameSize{240, 320}));
    expectOwnPartners(film(turned), "turned");

    const fs::path cover = Clips::make("score-cover.png", "-f lavfi -i color=red:s=320x240 -frames:v 1");
    const Film second = film(Clips::make(
        "score-second.mkv", "-i " + quoted(cover) + " " + motion + "r=24:d=6 -filter:v:1 " +
                                scroll.substr(5) + " -map 0 -map 1 -c:v:0 png -c:v:1" + x264.substr(5)));
    ASSERT_FALSE(second.info.video->isFirst);
    expectOwnPartners(second, "second track");
}

// Cameras and Motion JPEG use all values of a sample, others leave out the lowest and the highest.
TEST_F(BuiltInScorer, aFullRangeFilmScoresLikeALimitedOne)
{
    const std::string pictures = motion + "r=24:d=6" + scroll;
    const std::string full = ",scale=in_range=tv:out_range=pc,format=yuvj420p";
    const Film limited = film(Clips::make("score-limited.mkv", pictures + " -c:v ffv1 -pix_fmt yuv420p"));
    const Film jpeg =
        film(Clips::make("score-jpeg.avi", pictures + full + " -c:v mjpeg -q:v 1 -qmin 1 -huffman 0"));
    const Film phone = film(Clips::make("score-phone.mp4", pictures + full + x264));
    ASSERT_TRUE(jpeg.info.video->isFullRange && phone.info.video->isFullRange &&
                !limited.info.video->isFullRange);
    for (const auto *film : {&jpeg, &phone}) {
        // ffmpeg itself decides on the range of an encode, and either is right.
        for (const char *range : {"null", "scale=out_range=tv", "scale=out_range=pc"})
            EXPECT_GT(score(*film, copyOf(*film, "yuv420p10le", range)), 98.9)
                << film->info.url << " " << range;
        // As if the range had not been looked at.
        EXPECT_LT(score(*film, copyOf(*film, "yuv420p10le", "scale=out_range=tv,setrange=pc")), 97);
    }
    const std::string blur = "scale=out_range=tv,gblur=sigma=1.2";
    EXPECT_NEAR(score(phone, copyOf(phone, "yuv420p10le", blur)),
                score(limited, copyOf(limited, "yuv420p10le", blur)), 0.5);
}

TEST_F(BuiltInScorer, picturesWithoutAPartnerAreAnErrorAboveTwoPercent)
{
    const Film source = film(Clips::make("score-23976.mkv", motion + "r=24000/1001:d=6" + scroll + x264));
    EXPECT_GT(score(source, copyOf(source, "yuv420p", "select=not(eq(n\\,20))")), 99) << "one of 72";
    EXPECT_GT(score(source, copyOf(source, "yuv420p", "select=not(eq(n\\,71))")), 99) << "the last";
    for (const char *filter : {"select=not(eq(mod(n\\,10)\\,4))", "trim=end=2", "fps=25", "setpts=PTS*1.05"})
        try {
            score(source, copyOf(source, "yuv420p", filter));
            ADD_FAILURE() << filter;
        } catch (const ToolError &error) {
            EXPECT_THAT(error.what(), StartsWith("VMAF-Messung fehlgeschlagen: "));
            EXPECT_THAT(error.what(), HasSubstr("haben im anderen Film kein Gegenstück"));
        }
}

TEST_F(BuiltInScorer, aSearchNeedsNoFilter)
{
    const MediaInfo info = Prober::probe(Clips::film(), realTools().ffprobe, {});
    const ConversionSettings settings;
    const Plan plan = Planner::plan(info, settings, std::nullopt);
    const auto result =
        Sampler::search({info, plan, settings, measuringTools(), sandbox.path()}, [](double) {}, {});
    EXPECT_EQ(result.vmafTarget, 95.0);
    ASSERT_TRUE(result.vmafMean);
    EXPECT_GE(*result.vmafMean, 94.9);
    EXPECT_EQ(result.scorer, fmt::format("Eigene Messung {}", FrameScorer::version));
    EXPECT_THAT(names(sandbox.path()), IsEmpty());
}

} // namespace
} // namespace kestrel::test
