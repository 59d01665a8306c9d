// Real files of every awkward kind: each is planned and converted, or is refused with a sentence.

#include <algorithm>
#include <functional>

#include "encoding/JobFixture.h"
#include "media/ProcessRunner.h"

namespace kestrel::test {
namespace {

constexpr const char *picture = "-f lavfi -i testsrc2=s=320x240:r=25:d=1 ";
constexpr const char *sound = "-f lavfi -i sine=d=1 ";
constexpr const char *rich = "-c:v libx264 -preset ultrafast -crf 1 ";

class AwkwardFiles : public JobTest {
protected:
    MediaInfo converted(const fs::path &clip)
    {
        const fs::path file = folder.put(clip, clip.filename());
        const ConversionOutcome outcome = convert(file);
        EXPECT_TRUE(outcome.finalURL) << clip << " brought no savings";
        return outcome.finalURL ? probe(*outcome.finalURL) : MediaInfo();
    }

    // One value that ffprobe tells about the first video stream.
    static std::string ask(const MediaInfo &info, const std::string &entries)
    {
        return ProcessRunner::run(
                   "/usr/bin/ffprobe",
                   {"-v", "error", "-show_entries", entries, "-of", "csv=p=0", info.url.native()}, {})
            .standardOutput;
    }
};

TEST_F(AwkwardFiles, coverArtIsNoVideo)
{
    const fs::path cover = Clips::make("cover.png", "-f lavfi -i color=red:s=64x64 -frames:v 1");
    const fs::path clip =
        Clips::make("cover-and-film.mp4", "-i " + quoted(cover) + " " + picture + sound +
                                              "-map 0 -map 1 -map 2 -disposition:v:0 attached_pic -c:v:0 png "
                                              "-c:v:1 libx264 -preset ultrafast -crf 1 -c:a aac");
    const MediaInfo source = probe(clip);
    ASSERT_TRUE(source.video);
    EXPECT_EQ(source.video->codec, "h264");
    const MediaInfo result = converted(clip);
    EXPECT_EQ(result.video->codec, "hevc");
    EXPECT_EQ(result.audio.size(), 1U);
}

TEST_F(AwkwardFiles, interlacedPicturesBecomeWholeFrames)
{
    const fs::path clip =
        Clips::make("interlaced.mpg", std::string(picture) + "-c:v mpeg2video -qscale:v 1 -flags +ildct+ilme "
                                                             "-vf setfield=tff -top 1 -f mpeg");
    EXPECT_TRUE(probe(clip).video->isInterlaced());
    const MediaInfo result = converted(clip);
    EXPECT_FALSE(result.video->isInterlaced());
    EXPECT_NEAR(result.duration, 1, 0.1);
}

TEST_F(AwkwardFiles, hdr10StaysHdr10)
{
    const fs::path clip = Clips::make(
        "hdr.mkv", std::string(picture) +
                       "-pix_fmt yuv420p10le -c:v libx265 -preset ultrafast -crf 1 -x265-params "
                       "log-level=error:hdr10=1:colorprim=bt2020:transfer=smpte2084:colormatrix=bt2020nc:"
                       "'master-display=G(13250,34500)B(7500,3000)R(34000,16000)WP(15635,16450)L(10000000,"
                       "1):max-cll=1000,400'");
    ASSERT_TRUE(probe(clip).video->isHDR());
    settings.codec = VideoCodecChoice::hevcX265;
    const MediaInfo result = converted(clip);
    EXPECT_TRUE(result.video->isHDR());
    EXPECT_EQ(result.video->colorPrimaries, "bt2020");
    EXPECT_EQ(result.video->colorSpace, "bt2020nc");
    EXPECT_EQ(result.video->bitDepth, 10);
}

TEST_F(AwkwardFiles, fontsAndChaptersGoAlongWithStyledSubtitles)
{
    const fs::path ass = toolbox.write(
        "s.ass",
        "[Script Info]\nScriptType: v4.00+\n\n[V4+ Styles]\nFormat: Name, Fontname, Fontsize\nStyle: "
        "Default,Arial,20\n\n[Events]\nFormat: Layer, Start, End, Style, Text\nDialogue: "
        "0,0:00:00.00,0:00:01.00,Default,Hallo\n");
    const fs::path font = toolbox.write("font.ttf", "not really a font");
    const fs::path chapters = toolbox.write(
        "c.txt", ";FFMETADATA1\n[CHAPTER]\nTIMEBASE=1/1000\nSTART=0\nEND=500\ntitle=Anfang\n[CHAPTER]\n"
                 "TIMEBASE=1/1000\nSTART=500\nEND=1000\ntitle=Ende\n");
    const fs::path clip = Clips::make(
        "attachments.mkv", picture + ("-i " + quoted(ass)) + " -i " + quoted(chapters) +
                               " -map 0 -map 1 -map_metadata 2 " + rich + "-c:s ass -attach " + quoted(font) +
                               " -metadata:s:t mimetype=application/x-truetype-font");
    ASSERT_EQ(probe(clip).attachmentIndexes.size(), 1U);
    const MediaInfo result = converted(clip);
    EXPECT_EQ(result.attachmentIndexes.size(), 1U);
    ASSERT_EQ(result.subtitles.size(), 1U);
    EXPECT_EQ(result.subtitles[0].codec, "ass");
    EXPECT_EQ(ask(result, "chapter_tags=title"), "Anfang\nEnde\n");
}

TEST_F(AwkwardFiles, dataStreamsAndMovTextSurviveTheChangeOfContainer)
{
    const fs::path srt = toolbox.write("s.srt", "1\n00:00:00,000 --> 00:00:01,000\nHallo\n");
    const fs::path clip = Clips::make("timecode.mov", picture + std::string(sound) + "-i " + quoted(srt) +
                                                          " -map 0 -map 1 -map 2 -timecode 01:00:00:00 " +
                                                          rich + "-c:a pcm_s16le -c:s mov_text");
    EXPECT_THAT(ask(probe(clip), "stream=codec_type"), HasSubstr("data"));
    for (const auto container : {OutputContainer::mkv, OutputContainer::mp4}) {
        settings.container = container;
        const MediaInfo result = converted(clip);
        EXPECT_EQ(result.video->codec, "hevc");
        ASSERT_EQ(result.subtitles.size(), 1U);
        EXPECT_EQ(result.subtitles[0].codec, container == OutputContainer::mkv ? "subrip" : "mov_text");
        ASSERT_EQ(result.audio.size(), 1U);
        EXPECT_EQ(result.audio[0].codec, container == OutputContainer::mkv ? "pcm_s16le" : "eac3");
    }
}

TEST_F(AwkwardFiles, aVariableFrameRateKeepsItsDuration)
{
    const MediaInfo result = converted(Clips::make(
        "vfr.mkv",
        "-f lavfi -i testsrc2=s=320x240:r=30:d=3 -vf select='lt(t\\,1)+not(mod(n\\,5))' -vsync vfr " +
            std::string(rich)));
    EXPECT_NEAR(result.duration, 3, 0.2);
}

// Program streams and AVI files state no time for their B frames, which Matroska refuses. ffmpeg makes times
// then.
TEST_F(AwkwardFiles, framesWithoutTimesAreCopied)
{
    const fs::path calls = toolbox / "calls";
    ffmpeg("echo \"$*\" >> " + quoted(calls) + "; exec /usr/bin/ffmpeg \"$@\"");
    const auto runs = [&] {
        const std::string text = readFile(calls);
        return std::count(text.begin(), text.end(), '\n');
    };
    settings.codec = VideoCodecChoice::keepVideo;
    const auto sumOfPictures = [](const fs::path &file) {
        return ProcessRunner::run("/usr/bin/ffmpeg",
                                  {"-v", "error", "-i", file.native(), "-map", "0:v", "-fps_mode",
                                   "passthrough", "-f", "md5", "-"},
                                  {})
            .standardOutput;
    };
    // So small that several pictures share a packet of the program stream.
    const std::string film =
        "-f lavfi -i testsrc2=s=160x120:r=25:d=4 -f lavfi -i sine=d=4 -bf 2 -qscale:v 8 ";
    for (const auto &[name, codecs] : std::vector<std::pair<const char *, const char *>>{
             {"b-frames.vob", "-c:v mpeg2video -c:a mp2"},
             {"b-frames.mpg", "-c:v mpeg1video -c:a mp2"},
             {"b-frames.avi", "-c:v mpeg4 -vtag DIVX -c:a libmp3lame"}}) {
        fs::remove(calls);
        const fs::path source = folder.put(Clips::make(name, film + codecs), name);
        MediaInfo info = probe(source);
        info.fileSize *= 2; // so that the copy counts as a saving
        const ConversionOutcome outcome = convert(info);
        ASSERT_TRUE(outcome.finalURL) << name;
        EXPECT_EQ(runs(), 2) << name;
        EXPECT_THAT(readFile(calls), HasSubstr(" -fflags +genpts -i ")) << name;

        const MediaInfo result = probe(*outcome.finalURL);
        EXPECT_EQ(result.video->codec, info.video->codec) << name;
        EXPECT_NEAR(result.duration, 4, 0.1) << name;
        EXPECT_EQ(sumOfPictures(*outcome.finalURL), sumOfPictures(Clips::make(name, ""))) << name;
        fs::remove(*outcome.finalURL);
    }
    fs::remove(calls);
    ffmpeg("echo \"$*\" >> " + quoted(calls) + "; echo kaputt >&2; exit 1");
    EXPECT_THAT(failure(folder.put(Clips::film(), "Film.mkv")), HasSubstr("kaputt"));
    EXPECT_EQ(runs(), 1) << "for no other reason";
}

TEST_F(AwkwardFiles, soundWithoutPictureIsConverted)
{
    settings.convertLosslessAudio = true;
    const fs::path clip = Clips::make("sound.mkv", std::string(sound) + "-c:a pcm_s32le -ar 96000");
    EXPECT_FALSE(probe(clip).video);
    const MediaInfo result = converted(clip);
    EXPECT_FALSE(result.video);
    ASSERT_EQ(result.audio.size(), 1U);
    EXPECT_EQ(result.audio[0].codec, "eac3");
}

TEST_F(AwkwardFiles, staleStatisticsAreGone)
{
    const MediaInfo result = converted(Clips::make(
        "statistics.mkv", std::string(picture) + rich +
                              "-metadata:s:v BPS=99999999 -metadata:s:v BPS-eng=99999999 "
                              "-metadata:s:v NUMBER_OF_BYTES=5 -metadata:s:v _STATISTICS_TAGS=BPS"));
    EXPECT_FALSE(result.video->bitrate);
    EXPECT_EQ(ask(result, "stream_tags=BPS,BPS-eng,NUMBER_OF_BYTES,_STATISTICS_TAGS"), "\n");
}

TEST_F(AwkwardFiles, whatCannotBeReadIsRefused)
{
    const fs::path film = folder.put(Clips::film(), "whole.mkv");
    const fs::path empty = folder.write("empty.mkv", "");
    const fs::path text = folder.write("text.mp4", "Dies ist kein Video.");
    for (const auto &file : {empty, text})
        EXPECT_THROW(probe(file), ToolError) << file;

    // Cut off in the middle: readable, but a conversion would lose the rest.
    const fs::path cut = folder.put(Clips::longFilm(), "cut.mkv");
    fs::resize_file(cut, fs::file_size(cut) / 2);
    EXPECT_THAT(failure(cut), StartsWith("Prüfung fehlgeschlagen: Laufzeit "));
    EXPECT_TRUE(fs::exists(cut));
    EXPECT_THAT(names(folder.path()), ElementsAre("cut.mkv", "empty.mkv", "text.mp4", "whole.mkv"));
}

} // namespace
} // namespace kestrel::test
