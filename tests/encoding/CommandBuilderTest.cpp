#include "encoding/CommandBuilder.h"

#include <fmt/ranges.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "planning/Planner.h"
#include "support/Builders.h"

namespace kestrel {

namespace {

using CommandBuilder::Streams;
using test::aFilm;
using testing::HasSubstr;

// The words joined by blanks; none of the examples' words holds one.
std::string command(const MediaInfo &film, const ConversionSettings &settings = {},
                    const std::optional<Segment> &segment = {}, Streams streams = Streams::all)
{
    const Plan plan = Planner::plan(film, settings, {});
    const auto words = CommandBuilder::arguments(film, plan, settings, "/aus/Film.neu", segment, streams);
    return fmt::format("{}", fmt::join(words, " "));
}

std::string clearedTags(const std::string &stream)
{
    const std::string option = "-metadata:s:" + stream + " ";
    std::string result;
    for (const char *tag : {"BPS", "NUMBER_OF_BYTES", "NUMBER_OF_FRAMES", "_STATISTICS_TAGS",
                            "_STATISTICS_WRITING_APP", "_STATISTICS_WRITING_DATE_UTC"})
        result += option + tag + "= " + option + tag + "-eng= ";
    return result;
}

ConversionSettings with(VideoCodecChoice codec, OutputContainer container = OutputContainer::mkv)
{
    ConversionSettings settings;
    settings.codec = codec;
    settings.container = container;
    return settings;
}

const std::string prologue = "-nostdin -hide_banner -y -loglevel error -progress pipe:1 -nostats ";

} // namespace

TEST(CommandBuilder, writesAWholeConversion)
{
    ConversionSettings settings;
    settings.convertLosslessAudio = true;
    const auto film = aFilm()
                          .audio("ac3", "deu", 6)
                          .audio("ac3", "eng")
                          .audio("truehd", "deu", 8)
                          .subtitle("subrip")
                          .asForced()
                          .subtitle("mov_text")
                          .subtitle("ass")
                          .attachment();
    EXPECT_EQ(
        command(film, settings),
        prologue +
            "-i /filme/Film.mkv -map 0:0 -map 0:1 -map 0:3 -map 0:4 -map 0:5 -map 0:6 -map 0:7 "
            "-map_metadata 0 -map_chapters 0 "
            "-c:v libx265 -preset slow -crf 23 -pix_fmt yuv420p10le -profile:v main10 "
            "-x265-params log-level=error:aq-mode=3 " +
            clearedTags("v:0") + "-c:a:0 copy -disposition:a:0 default -c:a:1 eac3 -b:a:1 640k -ac:a:1 6 " +
            clearedTags("a:1") +
            "-disposition:a:1 0 -c:s:0 copy -disposition:s:0 forced -c:s:1 srt -disposition:s:1 0 "
            "-c:s:2 copy -disposition:s:2 0 -c:t copy -max_muxing_queue_size 4096 -f matroska /aus/Film.neu");
}

TEST(CommandBuilder, writesASampleOfTheVideoAlone)
{
    const auto film = aFilm().audio("ac3", "deu").subtitle("ass").attachment();
    EXPECT_EQ(command(film, with(VideoCodecChoice::av1SVT), Segment{120, 10}, Streams::videoOnly),
              prologue +
                  "-ss 120.000 -t 10.000 -i /filme/Film.mkv -map 0:0 -an -sn -dn -map_metadata 0 "
                  "-map_chapters -1 -c:v libsvtav1 -preset 6 -crf 23 -pix_fmt yuv420p10le " +
                  clearedTags("v:0") + "-max_muxing_queue_size 4096 -f matroska /aus/Film.neu");
}

TEST(CommandBuilder, choosesWhatTheFilmAndThePlayersNeed)
{
    using enum VideoCodecChoice;
    constexpr auto mp4 = OutputContainer::mp4;
    const MediaInfo hevc = aFilm().video("hevc", 1920, 1080), hdr = aFilm().hdr();
    MediaInfo sparse = hdr, sdr = aFilm();
    sparse.video->colorPrimaries.reset();
    sparse.video->colorSpace.reset();
    sdr.video->colorPrimaries = sdr.video->colorTransfer = sdr.video->colorSpace = "bt709";
    ConversionSettings smaller;
    smaller.resolution = TargetResolution::p720;
    const std::string colours = "-color_primaries bt2020 -color_trc smpte2084 -colorspace bt2020nc -metadata";

    const auto expect = [](const MediaInfo &film, const ConversionSettings &settings,
                           const std::string &words) {
        EXPECT_THAT(command(film, settings), HasSubstr(words));
    };
    expect(hevc, with(keepVideo, mp4),
           "-c:v copy -tag:v hvc1 -max_muxing_queue_size 4096 -f mp4 -movflags +faststart /aus/");
    expect(hevc, with(keepVideo), "-c:v copy -max_muxing");
    expect(aFilm(), with(keepVideo, mp4), "-c:v copy -max_muxing");
    expect(aFilm(), with(hevcX265, mp4), "aq-mode=3 -tag:v hvc1 -metadata");
    expect(aFilm(), with(av1SVT, mp4), "-pix_fmt yuv420p10le -metadata");
    expect(
        aFilm().interlaced(), smaller,
        "-map_chapters 0 -vf bwdif=mode=send_frame:parity=auto:deint=interlaced,scale=1280:720:flags=lanczos "
        "-c:v libx265");
    expect(hdr, {}, "-x265-params log-level=error:aq-mode=3:hdr10-opt=1:repeat-headers=1 " + colours);
    expect(hdr, with(av1SVT), "-pix_fmt yuv420p10le " + colours);
    expect(sparse, {}, "repeat-headers=1 -color_trc smpte2084 -metadata");
    expect(sdr, {}, "aq-mode=3 -metadata");
}

TEST(CommandBuilder, showsALineForTheShell)
{
    EXPECT_EQ(CommandBuilder::displayString("ffmpeg", {"-i", "/a b/c.mkv"}), "ffmpeg -i '/a b/c.mkv'");
    EXPECT_EQ(CommandBuilder::displayString("ffmpeg", {"Director's", "a=b:c,d", "", "[0:v]"}),
              "ffmpeg 'Director'\\''s' a=b:c,d  '[0:v]'");
    for (const char c : std::string(" '\"()&;[]"))
        EXPECT_THAT(CommandBuilder::displayString("x", {std::string("a") + c}), testing::StartsWith("x 'a"));
}

} // namespace kestrel
