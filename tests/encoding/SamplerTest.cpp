#include "encoding/Sampler.h"

#include <algorithm>
#include <cmath>
#include <fstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "media/Prober.h"
#include "media/ProcessRunner.h"
#include "planning/Planner.h"
#include "support/Clips.h"
#include "support/Sandbox.h"
#include "support/StandIn.h"

namespace kestrel::test {
namespace {

struct Source {
    const char *name, *arguments;
};

// Every frame differs from its neighbours, so that a wrong pair shows at once.
constexpr const char *motion = "-f lavfi -i testsrc2=s=320x240:";
const Source sources[] = {
    {"pair-23976.mkv", "r=24000/1001:d=6 -c:v libx264 -preset ultrafast -crf 5"},
    {"pair-23976.mp4", "r=24000/1001:d=6 -c:v libx264 -preset ultrafast -crf 5"},
    {"pair-2997.mp4", "r=30000/1001:d=6 -c:v libx264 -preset fast -x264-params open-gop=1:keyint=24 -crf 5"},
    {"pair-5994.mkv", "r=60000/1001:d=6 -c:v libx264 -preset ultrafast -crf 5"},
    {"pair-offset.ts", "r=25:d=6 -c:v libx264 -preset ultrafast -g 12 -crf 5 -output_ts_offset 100"},
    {"pair-ps.mpg", "r=25:d=6 -f lavfi -i sine=d=6 -c:v mpeg2video -q:v 2 -g 12 -bf 2 -c:a mp2"},
    {"pair-vfr.mkv",
     "r=30:d=6 -vf select='not(eq(mod(n\\,7)\\,3))' -vsync vfr -c:v libx264 -preset ultrafast -crf 5"},
};

// The worst of all pairs, with Debian's ffmpeg: ssim pairs frames just as libvmaf does.
double worstPair(const fs::path &encoded, const MediaInfo &info, const Plan &plan, const Segment &segment,
                 const fs::path &log)
{
    const std::string graph = Sampler::comparisonGraph(info, plan) + "ssim=stats_file=" + log.native();
    const auto output = ProcessRunner::run(realTools().ffmpeg,
                                           {"-nostdin", "-v", "error", "-i", encoded.native(), "-ss",
                                            CommandBuilder::format(segment.start), "-t",
                                            CommandBuilder::format(segment.length), "-i", info.url.native(),
                                            "-lavfi", graph, "-f", "null", "-"},
                                           {});
    EXPECT_EQ(output.status, 0) << output.errorText();
    std::ifstream stream(log);
    double worst = 1;
    int frames = 0;
    for (std::string word; stream >> word;)
        if (word.starts_with("All:")) {
            worst = std::min(worst, std::stod(word.substr(4)));
            ++frames;
        }
    EXPECT_GT(frames, 10);
    return worst;
}

TEST(Sampler, comparesEveryFrameWithItsOwnSource)
{
    const Sandbox sandbox;
    for (const auto container : {OutputContainer::mkv, OutputContainer::mp4})
        for (const auto &[name, arguments] : sources) {
            const fs::path clip = Clips::make(name, motion + std::string(arguments));
            const MediaInfo info = Prober::probe(clip, realTools().ffprobe, {});
            ConversionSettings settings;
            settings.quality = QualityLevel::maximal;
            settings.container = container;
            Plan plan = Planner::plan(info, settings, std::nullopt);
            plan.video = EncodeVideo{};
            const Segment segment{2.123, 1};
            const fs::path encoded = sandbox / "probe.mkv";
            const auto encode =
                ProcessRunner::run(realTools().ffmpeg,
                                   Sampler::segmentArguments(
                                       {info, plan, settings, realTools(), sandbox.path()}, segment, encoded),
                                   {});
            ASSERT_EQ(encode.status, 0) << encode.errorText();
            EXPECT_GT(worstPair(encoded, info, plan, segment, sandbox / "log"), 0.9)
                << name << " into " << title(container);
        }
}

TEST(Sampler, aFilterWritesItsLogIntoAFolderOfAnyName)
{
    const Sandbox sandbox;
    for (const char *name : {"plain", "it's, [a] folder: \\ äö; %d=", "\xff"}) {
        const fs::path log = sandbox / name / "log";
        fs::create_directories(log.parent_path());
        const auto output = ProcessRunner::run(
            realTools().ffmpeg,
            {"-v", "error", "-f", "lavfi", "-i", "color=d=0.1", "-f", "lavfi", "-i", "color=d=0.1", "-lavfi",
             "[0:v][1:v]ssim=stats_file=" + CommandBuilder::filterValue(log) + ":shortest=1", "-f", "null",
             "-"},
            {});
        EXPECT_TRUE(fs::exists(log)) << name << ": " << output.errorText();
    }
}

TEST(Sampler, measuresSizeAndTempoWhereNothingMeasuresTheQuality)
{
    const Sandbox sandbox;
    const MediaInfo info = Prober::probe(Clips::longFilm(), realTools().ffprobe, {});
    ConversionSettings settings;
    const Plan plan = Planner::plan(info, settings, std::nullopt);
    std::vector<double> progress;
    const SampleResult result = Sampler::search({info, plan, settings, realTools(), sandbox.path()},
                                                [&](double fraction) { progress.push_back(fraction); }, {});
    ASSERT_EQ(result.steps.size(), 1U);
    EXPECT_FALSE(result.vmafTarget || result.vmafMean || result.vmafWorst);
    EXPECT_EQ(result.qualityValue, 23);
    EXPECT_NEAR(result.measuredSeconds, 10, 0.2);
    EXPECT_GT(result.videoBitrate, 0);
    EXPECT_GT(result.heuristicBitrate, 0);
    EXPECT_TRUE(std::is_sorted(progress.begin(), progress.end()));
    EXPECT_EQ(progress.back(), 1.0);
    EXPECT_THAT(names(sandbox.path()), testing::IsEmpty());
}

TEST(Sampler, scoresWithTheRealFilter)
{
    const Tools tools = Tools::locate({});
    if (!tools.hasVMAF)
        GTEST_SKIP() << "this machine's ffmpeg has no libvmaf filter";
    const Sandbox sandbox;
    const MediaInfo info = Prober::probe(Clips::film(), tools.ffprobe, {});
    ConversionSettings settings;
    const Plan plan = Planner::plan(info, settings, std::nullopt);
    const SampleResult result =
        Sampler::search({info, plan, settings, tools, sandbox.path()}, [](double) {}, {});
    ASSERT_TRUE(result.vmafMean);
    EXPECT_GT(*result.vmafMean, 80);
    EXPECT_LE(*result.vmafMean, 100);
    EXPECT_EQ(result.vmafTarget, 95.0);
}

} // namespace
} // namespace kestrel::test
