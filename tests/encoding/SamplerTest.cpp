#include "encoding/Sampler.h"

#include <algorithm>
#include <fstream>

#include <fmt/format.h>

#include "encoding/JobFixture.h"
#include "encoding/Scorer.h"
#include "media/ProcessRunner.h"
#include "support/Builders.h"
#include "support/Seen.h"

namespace kestrel::test {
namespace {

constexpr double target = 95;

Sampler::Step step(int value, double bitrate, std::optional<double> vmaf)
{
    return {value, bitrate, vmaf, vmaf, 0, 0};
}

// What has been tried: CRFs and their scores.
using Tried = std::vector<std::pair<int, std::optional<double>>>;

std::optional<Sampler::Proposal> proposal(const Tried &tried, double slope = -0.6,
                                          VideoCodecChoice codec = VideoCodecChoice::hevcX265)
{
    std::vector<Sampler::Step> steps;
    for (const auto &[value, vmaf] : tried)
        steps.push_back(step(value, 0, vmaf));
    return Sampler::nextValue(steps, slope, codec, target);
}

// The CRF that comes next; 0 where the search ends.
int next(const Tried &tried, double slope = -0.6)
{
    return proposal(tried, slope).value_or(Sampler::Proposal{}).value;
}

TEST(Segments, lieEvenlyBetweenTitlesAndCreditsAndAreMoreInLongerFiles)
{
    const std::pair<double, std::vector<double>> cases[] = {
        {30, {10}}, {100, {26, 64}}, {7200, {1406.2, 2500.6, 3595, 4689.4, 5783.8}}};
    for (const auto &[duration, starts] : cases) {
        const auto segments = Sampler::segments(duration);
        ASSERT_EQ(segments.size(), starts.size());
        for (std::size_t i = 0; i < starts.size(); ++i) {
            EXPECT_NEAR(segments[i].start, starts[i], 1e-6);
            EXPECT_EQ(segments[i].length, 10);
        }
    }
    EXPECT_EQ(Sampler::segments(1), (std::vector<Segment>{{0.25, 0.5}}));

    const std::pair<double, std::size_t> counts[] = {
        {-1, 0},   {0, 0},     {std::numeric_limits<double>::quiet_NaN(), 0},
        {59.9, 1}, {60, 2},    {239.9, 2},
        {240, 4},  {899.9, 4}, {900, 5}};
    for (const auto &[duration, count] : counts)
        EXPECT_EQ(Sampler::segments(duration).size(), count) << duration;
}

TEST(QualitySearch, proposesTheNextValue)
{
    const struct {
        const char *rule;
        Tried tried;
        int next;
        double slope = -0.6;
    } cases[] = {
        {"ends at the target", {{23, 95.0}}, 0},
        {"or within four tenths above it", {{23, 95.4}}, 0},
        {"or without a score", {{23, std::nullopt}}, 0},
        {"not just below", {{23, 94.99}}, 22},
        {"nor just above", {{23, 95.41}}, 24},
        {"aims a little above the target along the slope: 23 − 3.58", {{23, 93.0}}, 19},
        {"23 + 3.08", {{23, 97.0}}, 26},
        {"0.58 of a step is at least one", {{23, 95.5}}, 24},
        {"learns the slope from the last two steps: 19 − 4.6", {{23, 93.0}, {19, 94.0}}, 14},
        {"a score that rose with the CRF teaches nothing: 19 − 4.42", {{23, 93.0}, {19, 92.5}}, 14},
        {"the slope stays what it was: 19 − 2.65", {{23, 93.0}, {19, 92.5}}, 16, -1.0},
        {"equal scores neither: 19 − 3.58", {{23, 93.0}, {19, 93.0}}, 15},
        {"takes no great strides down", {{23, 60.0}}, 15},
        {"nor up", {{23, 99.9}}, 31, -0.1},
        {"stays in the codec's range", {{16, 85.0}}, 14},
        {"at both ends", {{34, 99.0}}, 36},
        {"ends at a known value: 25 − 0.5 is 24 again", {{24, 95.5}, {25, 94.8}}, 0},
        {"where the range ends", {{36, 97.0}}, 0},
        {"not after three steps", {{23, 60.0}, {15, 70.0}, {20, 65.0}}, 14},
        {"after four", {{23, 60.0}, {15, 70.0}, {20, 65.0}, {30, 50.0}}, 0},
    };
    for (const auto &[rule, tried, value, slope] : cases)
        EXPECT_EQ(next(tried, slope), value) << rule;
    EXPECT_EQ(proposal({{23, 94.0}}, -0.28, VideoCodecChoice::av1SVT)->value, 18); // 23 − 4.11
    EXPECT_NEAR(proposal({{23, 93.0}, {19, 94.0}})->slope, -0.25, 1e-9);
}

TEST(QualitySearch, settlesForTheSmallestThatIsGoodEnough)
{
    const std::pair<std::vector<Sampler::Step>, int> cases[] = {
        {{step(23, 5e6, 95.6), step(25, 4e6, 94.95), step(26, 3.5e6, 94.85)}, 25},
        {{step(23, 5e6, 96.0), step(25, 5e6, 97.0)}, 23},
        {{step(23, 4e6, std::nullopt), step(18, 5e6, 90.0), step(14, 6e6, 93.0), step(16, 7e6, 93.0)}, 14}};
    for (const auto &[steps, value] : cases)
        EXPECT_EQ(Sampler::choose(steps, target).value, value);
}

// Every picture differs so much from its neighbours that one of them in its place falls clearly: libvmaf's
// motion is above 2.
const std::string motion = "-f lavfi -i testsrc2=s=320x240:";
const std::string scroll = " -vf scroll=h=0.0125:v=0.00833";
const std::string x264 = " -c:v libx264 -preset ultrafast -crf 10";
const std::map<std::string, std::string> sources{
    {"score-23976.mkv", "r=24000/1001:d=6" + scroll + x264},
    {"score-23976.mp4", "r=24000/1001:d=6" + scroll + x264},
    {"score-2997.mp4", "r=30000/1001:d=6" + scroll + x264 + " -x264-params open-gop=1:keyint=24:bframes=2"},
    {"score-5994.mkv", "r=60000/1001:d=6" + scroll + x264},
    {"score-offset.ts", "r=25:d=6" + scroll + x264 + " -g 12 -output_ts_offset 100"},
    {"score-ps.mpg",
     "r=25:d=6 -f lavfi -i sine=d=6" + scroll + " -c:v mpeg2video -q:v 2 -g 12 -bf 2 -c:a mp2"},
    // Every seventh picture is missing, and the times of the others are a little off.
    {"score-vfr.mkv", "r=30:d=6" + scroll + ",select='not(eq(mod(n\\,7)\\,3))' -vsync vfr" + x264},
    {"score-jitter.mp4", "r=30:d=6" + scroll +
                             ",settb=1/90000,setpts='PTS+mod(N*397\\,1100)-550*gt(N\\,0)' -vsync passthrough "
                             "-enc_time_base 1:90000 -video_track_timescale 90000" +
                             x264},
};

void runFFmpeg(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), {"-nostdin", "-v", "error", "-y"});
    const auto output = ProcessRunner::run(realTools().ffmpeg, arguments, {});
    EXPECT_EQ(output.status, 0) << output.errorText();
}

class Measuring : public testing::Test {
protected:
    Sampler::Subject film(const fs::path &clip, const ConversionSettings &settings = {}) const
    {
        const MediaInfo info = Prober::probe(clip, realTools().ffprobe, {});
        Sampler::Subject film{info, Planner::plan(info, settings, std::nullopt), settings, realTools(),
                              sandbox.path()};
        film.tools.mayMeasure = true;
        film.plan.video = EncodeVideo{};
        return film;
    }

    // The segment without any loss, with these filters behind those of the comparison.
    fs::path copyOf(const Sampler::Subject &film, const std::string &pixelFormat,
                    const std::string &filter = "null") const
    {
        std::string filters;
        for (const auto &one : Sampler::referenceFilters(film.plan))
            filters += one + ",";
        const fs::path output = sandbox / "copy.mkv";
        runFFmpeg({"-ss", CommandBuilder::format(segment.start), "-t", CommandBuilder::format(segment.length),
                   "-i", film.info.url.native(), "-map", fmt::format("0:{}", film.info.video->index), "-vf",
                   filters + filter, "-c:v", "ffv1", "-pix_fmt", pixelFormat, output.native()});
        return output;
    }

    double score(const Sampler::Subject &film, const fs::path &encoded) const
    {
        const MediaInfo info = Prober::probe(encoded, realTools().ffprobe, {});
        return Scorer::of(film)->score(info, segment, 3, {}).vmaf;
    }

    // A lossless copy of the segment, and one in which every picture is late by one.
    void expectOwnPartners(const Sampler::Subject &film, const std::string &name) const
    {
        const fs::path copy = copyOf(film, "yuv420p10le");
        EXPECT_GT(score(film, copy), 99) << name;
        EXPECT_GT(worstPair(film, copy), 0.98) << name;
        const fs::path late = copyOf(film, "yuv420p10le", "tmix=frames=2:weights=1 0");
        EXPECT_LT(score(film, late), 90) << name;
        EXPECT_LT(worstPair(film, late), 0.9) << name;
    }

    // The worst of all pairs, with Debian's ffmpeg: ssim pairs frames just as libvmaf does.
    double worstPair(const Sampler::Subject &film, const fs::path &encoded) const
    {
        runFFmpeg(
            {"-i", encoded.native(), "-ss", CommandBuilder::format(segment.start), "-t",
             CommandBuilder::format(segment.length), "-i", film.info.url.native(), "-lavfi",
             Sampler::comparisonGraph(film.info, film.plan) + "ssim=stats_file=" + (sandbox / "log").native(),
             "-f", "null", "-"});
        std::ifstream stream(sandbox / "log");
        std::vector<double> scores;
        for (std::string word; stream >> word;)
            if (word.starts_with("All:"))
                scores.push_back(std::stod(word.substr(4)));
        EXPECT_GT(scores.size(), 20U);
        return scores.empty() ? 0 : *std::min_element(scores.begin(), scores.end());
    }

    const Sandbox sandbox;
    Segment segment{2.123, 3};
};

TEST_F(Measuring, comparesEveryPictureWithItsOwnSource)
{
    for (const auto &[name, arguments] : sources)
        expectOwnPartners(film(Clips::make(name, motion + arguments)), name);
}

TEST_F(Measuring, theFilterComparesEveryPictureWithItsOwnSource)
{
    segment.length = 1; // encoded slowly
    ConversionSettings settings;
    settings.quality = QualityLevel::maximal;
    for (const auto container : {OutputContainer::mkv, OutputContainer::mp4})
        for (const auto &[name, arguments] : sources) {
            settings.container = container;
            const Sampler::Subject source = film(Clips::make(name, motion + arguments), settings);
            const fs::path encoded = sandbox / "probe.mkv";
            runFFmpeg(Sampler::segmentArguments(source, segment, encoded));
            EXPECT_GT(worstPair(source, encoded), 0.9) << name << " into " << title(container);
        }
}

TEST(ReferenceFilters, deinterlaceBeforeTheyScale)
{
    ConversionSettings smaller;
    smaller.resolution = TargetResolution::p720;
    EXPECT_THAT(
        Sampler::referenceFilters(Planner::plan(aFilm().interlaced(), smaller, {})),
        ElementsAre("bwdif=mode=send_frame:parity=auto:deint=interlaced", "scale=1280:720:flags=bicubic"));
}

TEST_F(Measuring, bringsTheSourceIntoTheShapeOfTheEncode)
{
    const std::string plain = "r=24:d=6" + scroll;
    const Sampler::Subject film8 = film(Clips::make("score-8.mkv", motion + plain + x264));
    const Sampler::Subject film10 =
        film(Clips::make("score-10.mkv", motion + plain + ",format=yuv420p10le -c:v ffv1"));
    for (const char *format : {"yuv420p", "yuv420p10le", "yuv444p12le"})
        EXPECT_GT(score(film8, copyOf(film8, format)), 98.9) << format;
    for (const char *format : {"yuv420p10le", "yuv444p12le"}) // 8 bits of 10 are a loss
        EXPECT_GT(score(film10, copyOf(film10, format)), 98.9) << format;

    ConversionSettings smaller;
    smaller.resolution = TargetResolution::p576;
    expectOwnPartners(
        film(Clips::make("score-large.mkv", "-f lavfi -i testsrc2=s=1280x720:r=24:d=6" + scroll + x264),
             smaller),
        "scaled");
    const Sampler::Subject interlaced =
        film(Clips::make("score-interlaced.mkv", motion + "r=48:d=6" + scroll + ",tinterlace=interleave_top" +
                                                     x264 + " -flags +ildct+ilme -x264opts tff=1"));
    ASSERT_TRUE(interlaced.plan.deinterlace);
    expectOwnPartners(interlaced, "interlaced");

    const fs::path turned = sandbox.put(Clips::make("score-turned.mov", motion + plain + x264), "turned.mov");
    Mp4::turn(turned, 1);
    ASSERT_EQ(film(turned).info.video->seenSize(), (FrameSize{240, 320}));
    expectOwnPartners(film(turned), "turned");

    const fs::path cover = Clips::make("score-cover.png", "-f lavfi -i color=red:s=320x240 -frames:v 1");
    const Sampler::Subject second = film(Clips::make(
        "score-second.mkv", "-i " + quoted(cover) + " " + motion + "r=24:d=6 -filter:v:1 " +
                                scroll.substr(5) + " -map 0 -map 1 -c:v:0 png -c:v:1" + x264.substr(5)));
    ASSERT_FALSE(second.info.video->isFirst);
    expectOwnPartners(second, "second track");
}

// Cameras and Motion JPEG use all values of a sample, others leave out the lowest and the highest.
TEST_F(Measuring, aFullRangeFilmScoresLikeALimitedOne)
{
    const std::string pictures = motion + "r=24:d=6" + scroll;
    const std::string full = ",scale=in_range=tv:out_range=pc,format=yuvj420p";
    const Sampler::Subject limited =
        film(Clips::make("score-limited.mkv", pictures + " -c:v ffv1 -pix_fmt yuv420p"));
    const Sampler::Subject jpeg =
        film(Clips::make("score-jpeg.avi", pictures + full + " -c:v mjpeg -q:v 1 -qmin 1 -huffman 0"));
    const Sampler::Subject phone = film(Clips::make("score-phone.mp4", pictures + full + x264));
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

TEST_F(Measuring, picturesWithoutAPartnerAreAnErrorAboveTwoPercent)
{
    const Sampler::Subject source =
        film(Clips::make("score-23976.mkv", motion + "r=24000/1001:d=6" + scroll + x264));
    EXPECT_GT(score(source, copyOf(source, "yuv420p", "select=not(eq(n\\,20))")), 99) << "one of 72";
    EXPECT_GT(score(source, copyOf(source, "yuv420p", "select=not(eq(n\\,71))")), 99) << "the last";
    for (const char *filter : {"select=not(eq(mod(n\\,10)\\,4))", "trim=end=2", "fps=25", "setpts=PTS*1.05"})
        EXPECT_THAT(failureOf([&] { score(source, copyOf(source, "yuv420p", filter)); }),
                    AllOf(StartsWith("VMAF-Messung fehlgeschlagen: "),
                          HasSubstr("haben im anderen Film kein Gegenstück")))
            << filter;
}

TEST_F(Measuring, aFilterWritesItsLogIntoAFolderOfAnyName)
{
    for (const char *name : {"plain", "it's, [a] folder: \\ äö; %d=", "\xff"}) {
        fs::create_directories(sandbox / name);
        const fs::path log = sandbox / name / "log";
        runFFmpeg({"-f", "lavfi", "-i", "color=d=0.1", "-f", "lavfi", "-i", "color=d=0.1", "-lavfi",
                   "[0:v][1:v]ssim=stats_file=" + CommandBuilder::filterValue(log) + ":shortest=1", "-f",
                   "null", "-"});
        EXPECT_TRUE(fs::exists(log)) << name;
    }
}

TEST_F(Measuring, givesSizeAndTempoWhereNothingMeasuresTheQuality)
{
    Sampler::Subject unscored = film(Clips::longFilm());
    unscored.tools.mayMeasure = false;
    std::vector<double> progress;
    const SampleResult result =
        Sampler::search(unscored, [&](double fraction) { progress.push_back(fraction); }, {});
    EXPECT_EQ(result.steps.size(), 1U);
    EXPECT_FALSE(result.vmafTarget || result.vmafMean || result.vmafWorst);
    EXPECT_EQ(result.qualityValue, 23);
    EXPECT_NEAR(result.measuredSeconds, 10, 0.2);
    EXPECT_GT(result.videoBitrate, 0);
    EXPECT_GT(result.heuristicBitrate, 0);
    EXPECT_TRUE(std::is_sorted(progress.begin(), progress.end()));
    EXPECT_EQ(progress.back(), 1.0);
    EXPECT_THAT(names(sandbox.path()), IsEmpty());
}

TEST_F(Measuring, aSearchNeedsNoFilter)
{
    const auto result = Sampler::search(film(Clips::film()), [](double) {}, {});
    EXPECT_EQ(result.vmafTarget, 95.0);
    EXPECT_GE(result.vmafMean.value(), 94.9);
    EXPECT_EQ(result.scorer, "Eigene Messung (vmaf_v0.6.1, Fassung 1)");
    EXPECT_THAT(names(sandbox.path()), IsEmpty());
}

TEST_F(Measuring, aSearchTakesTheRealFilter)
{
    Sampler::Subject subject = film(Clips::film());
    subject.tools = Tools::locate({});
    if (!subject.tools.hasVMAF)
        GTEST_SKIP() << "this machine's ffmpeg has no libvmaf filter";
    const auto filtered = Sampler::search(subject, [](double) {}, {});
    EXPECT_EQ(filtered.vmafTarget, 95.0);
    EXPECT_GT(filtered.vmafMean.value(), 80);
    EXPECT_LE(filtered.vmafMean.value(), 100);
}

} // namespace
} // namespace kestrel::test
