// Real files of every awkward kind: each is planned and converted, or is refused with a sentence.

#include <algorithm>

#include "encoding/JobFixture.h"
#include "media/ProcessRunner.h"

namespace kestrel::test {
namespace {

const std::string picture = "-f lavfi -i testsrc2=s=320x240:r=25:d=1 ";
const std::string sound = "-f lavfi -i sine=d=1 ";
const std::string rich = "-c:v libx264 -preset ultrafast -crf 1 ";

class AwkwardFiles : public JobTest {
protected:
    MediaInfo converted(const fs::path &clip)
    {
        const ConversionOutcome outcome = convert(folder.put(clip, clip.filename()));
        EXPECT_TRUE(outcome.finalURL) << clip << " brought no savings";
        return outcome.finalURL ? probe(*outcome.finalURL) : MediaInfo();
    }

    static std::string outputOf(const std::string &program, const std::vector<std::string> &arguments)
    {
        return ProcessRunner::run("/usr/bin/" + program, arguments, {}).standardOutput;
    }
    // Values that ffprobe tells about the streams.
    static std::string ask(const MediaInfo &info, const std::string &entries)
    {
        return outputOf("ffprobe",
                        {"-v", "error", "-show_entries", entries, "-of", "csv=p=0", info.url.native()});
    }
};

TEST_F(AwkwardFiles, interlacedPicturesBecomeWholeFrames)
{
    const fs::path clip =
        Clips::make("interlaced.mpg", picture + "-c:v mpeg2video -qscale:v 1 -flags +ildct+ilme "
                                                "-vf setfield=tff -top 1 -f mpeg");
    EXPECT_TRUE(probe(clip).video->isInterlaced());
    const MediaInfo result = converted(clip);
    EXPECT_FALSE(result.video->isInterlaced());
    EXPECT_NEAR(result.duration, 1, 0.1);
}

TEST_F(AwkwardFiles, hdr10StaysHdr10)
{
    const fs::path clip = Clips::make(
        "hdr.mkv", picture +
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
        "attachments.mkv", picture + "-i " + quoted(ass) + " -i " + quoted(chapters) +
                               " -map 0 -map 1 -map_metadata 2 " + rich + "-c:s ass -attach " + quoted(font) +
                               " -metadata:s:t mimetype=application/x-truetype-font");
    ASSERT_EQ(probe(clip).attachmentIndexes.size(), 1U);
    const MediaInfo result = converted(clip);
    EXPECT_EQ(result.attachmentIndexes.size(), 1U);
    EXPECT_EQ(result.subtitles.at(0).codec, "ass");
    EXPECT_EQ(ask(result, "chapter_tags=title"), "Anfang\nEnde\n");
}

TEST_F(AwkwardFiles, dataStreamsAndMovTextSurviveTheChangeOfContainer)
{
    const fs::path srt = toolbox.write("s.srt", "1\n00:00:00,000 --> 00:00:01,000\nHallo\n");
    const fs::path clip = Clips::make("timecode.mov", picture + sound + "-i " + quoted(srt) +
                                                          " -map 0 -map 1 -map 2 -timecode 01:00:00:00 " +
                                                          rich + "-c:a pcm_s16le -c:s mov_text");
    EXPECT_THAT(ask(probe(clip), "stream=codec_type"), HasSubstr("data"));
    for (const auto container : {OutputContainer::mkv, OutputContainer::mp4}) {
        settings.container = container;
        const MediaInfo result = converted(clip);
        EXPECT_EQ(result.video->codec, "hevc");
        ASSERT_EQ(result.subtitles.size(), 1U);
        EXPECT_EQ(result.subtitles[0].codec, container == OutputContainer::mkv ? "subrip" : "mov_text");
        EXPECT_EQ(result.audio.at(0).codec, container == OutputContainer::mkv ? "pcm_s16le" : "eac3");
    }
}

// Program streams and AVI files state no time for their B frames, which Matroska refuses. ffmpeg makes times
// then.
TEST_F(AwkwardFiles, framesWithoutTimesAreCopied)
{
    const fs::path calls = toolbox / "calls";
    const std::string noted = "echo \"$*\" >> " + quoted(calls) + "; ";
    const auto runs = [&] {
        const std::string text = readFile(calls);
        return std::count(text.begin(), text.end(), '\n');
    };
    const auto sumOfPictures = [](const fs::path &file) {
        return outputOf("ffmpeg", {"-v", "error", "-i", file.native(), "-map", "0:v", "-fps_mode",
                                   "passthrough", "-f", "md5", "-"});
    };
    settings.codec = VideoCodecChoice::keepVideo;
    ffmpeg(noted + "exec /usr/bin/ffmpeg \"$@\"");
    // So small that several pictures share a packet of the program stream.
    const std::string film =
        "-f lavfi -i testsrc2=s=160x120:r=25:d=4 -f lavfi -i sine=d=4 -bf 2 -qscale:v 8 ";
    for (const auto &[name, codecs] :
         std::map<std::string, std::string>{{"b-frames.vob", "-c:v mpeg2video -c:a mp2"},
                                            {"b-frames.mpg", "-c:v mpeg1video -c:a mp2"},
                                            {"b-frames.avi", "-c:v mpeg4 -vtag DIVX -c:a libmp3lame"}}) {
        SCOPED_TRACE(name);
        fs::remove(calls);
        const fs::path clip = Clips::make(name, film + codecs);
        MediaInfo info = probe(folder.put(clip, name));
        info.fileSize *= 2; // so that the copy counts as a saving
        const MediaInfo result = probe(convert(info).finalURL.value());
        EXPECT_EQ(runs(), 2);
        EXPECT_THAT(readFile(calls), HasSubstr(" -fflags +genpts -i "));
        EXPECT_EQ(result.video->codec, info.video->codec);
        EXPECT_NEAR(result.duration, 4, 0.1);
        EXPECT_EQ(sumOfPictures(result.url), sumOfPictures(clip));
        fs::remove(result.url);
    }
    fs::remove(calls);
    ffmpeg(noted + "echo kaputt >&2; exit 1");
    EXPECT_THAT(failure(put("Film.mkv")), HasSubstr("kaputt"));
    EXPECT_EQ(runs(), 1) << "for no other reason";
}

TEST_F(AwkwardFiles, soundWithoutPictureIsConverted)
{
    settings.convertLosslessAudio = true;
    const fs::path clip = Clips::make("sound.mkv", sound + "-c:a pcm_s32le -ar 96000");
    EXPECT_FALSE(probe(clip).video);
    const MediaInfo result = converted(clip);
    EXPECT_FALSE(result.video);
    EXPECT_EQ(result.audio.at(0).codec, "eac3");
}

TEST_F(AwkwardFiles, staleStatisticsAreGone)
{
    const MediaInfo result = converted(Clips::make(
        "statistics.mkv", picture + rich +
                              "-metadata:s:v BPS=99999999 -metadata:s:v BPS-eng=99999999 "
                              "-metadata:s:v NUMBER_OF_BYTES=5 -metadata:s:v _STATISTICS_TAGS=BPS"));
    EXPECT_FALSE(result.video->bitrate);
    EXPECT_EQ(ask(result, "stream_tags=BPS,BPS-eng,NUMBER_OF_BYTES,_STATISTICS_TAGS"), "\n");
}

TEST_F(AwkwardFiles, whatCannotBeReadIsRefused)
{
    for (const auto &file : {folder.write("empty.mkv", ""), folder.write("text.mp4", "Dies ist kein Video.")})
        EXPECT_THROW(probe(file), ToolError) << file;

    // Cut off in the middle: readable, but a conversion would lose the rest.
    const fs::path cut = folder.put(Clips::longFilm(), "cut.mkv");
    fs::resize_file(cut, fs::file_size(cut) / 2);
    EXPECT_THAT(failure(cut), StartsWith("Prüfung fehlgeschlagen: Laufzeit "));
    EXPECT_THAT(names(folder.path()), ElementsAre("cut.mkv", "empty.mkv", "text.mp4"));
}

} // namespace
} // namespace kestrel::test
