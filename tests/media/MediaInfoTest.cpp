#include "media/MediaInfo.h"

#include <gtest/gtest.h>

#include "support/Builders.h"

namespace kestrel {

namespace {

using test::aFilm;

AudioStreamInfo audio(const std::string &codec, int channels = 2, const std::string &profile = "")
{
    auto film = aFilm().audio(codec, "deu", channels);
    return (profile.empty() ? film : film.profile(profile)).info().audio[0];
}

SubtitleStreamInfo subtitle(const std::string &codec)
{
    return aFilm().subtitle(codec).info().subtitles[0];
}

VideoStreamInfo video(const std::string &codec, int width = 16, int height = 16)
{
    return *aFilm().video(codec, width, height).info().video;
}

} // namespace

TEST(MediaInfo, classifiesResolutionsByWidthOrHeight)
{
    using Case = std::tuple<int, int, const char *>;
    for (const auto &[width, height, expected] :
         {Case{3840, 1600, "2160p"}, Case{3200, 10, "2160p"}, Case{3199, 1999, "1440p"},
          Case{2200, 10, "1440p"}, Case{2199, 1399, "1080p"}, Case{1920, 800, "1080p"},
          Case{1440, 1080, "1080p"}, Case{1699, 999, "720p"}, Case{1280, 544, "720p"},
          Case{1199, 699, "576p"}, Case{720, 576, "576p"}, Case{720, 540, "576p"}, Case{720, 539, "539p"},
          Case{720, 480, "480p"}})
        EXPECT_EQ(video("h264", width, height).resolutionClass(), expected) << width << " x " << height;
}

TEST(MediaInfo, namesCodecsForPeople)
{
    for (const auto &[codec, name] : {std::pair("msmpeg4v2", "DivX 3"), {"ffv1", "FFV1"}})
        EXPECT_EQ(video(codec).codecDisplay(), name);
    for (const auto &[codec, name] :
         {std::pair("eac3", "E-AC3"), {"pcm_s24le", "PCM"}, {"dts", "DTS"}, {"alac", "ALAC"}})
        EXPECT_EQ(audio(codec).codecDisplay(), name);
    EXPECT_EQ(audio("dts", 6, "DTS-HD MA").codecDisplay(), "DTS-HD MA");
    for (const auto &[codec, name] :
         {std::pair("ssa", "ASS"), {"hdmv_pgs_subtitle", "PGS (Bild)"}, {"eia_608", "EIA_608"}})
        EXPECT_EQ(subtitle(codec).codecDisplay(), name);
}

TEST(MediaInfo, seesHdrAndInterlacingInTheStreamsFlags)
{
    VideoStreamInfo stream;
    const auto hdr = [&](std::optional<std::string> transfer) {
        stream.colorTransfer = std::move(transfer);
        return stream.isHDR();
    };
    const auto interlaced = [&](std::optional<std::string> order) {
        stream.fieldOrder = std::move(order);
        return stream.isInterlaced();
    };
    EXPECT_TRUE(hdr("smpte2084") && hdr("arib-std-b67"));
    EXPECT_FALSE(hdr({}) || hdr("bt709"));
    EXPECT_TRUE(interlaced("tt") && interlaced("bb") && interlaced("tb") && interlaced("bt"));
    EXPECT_FALSE(interlaced({}) || interlaced("progressive") || interlaced("unknown"));
}

TEST(MediaInfo, knowsWhichAudioIsLossless)
{
    for (const char *codec : {"truehd", "mlp", "flac", "alac", "pcm_s16le"})
        EXPECT_TRUE(audio(codec).isLossless()) << codec;
    for (const char *codec : {"ac3", "eac3", "dts", "aac", "opus"})
        EXPECT_FALSE(audio(codec).isLossless()) << codec;
    EXPECT_TRUE(audio("dts", 2, "DTS-HD HRA").isLossless());
    EXPECT_FALSE(audio("dts", 2, "DTS-ES").isLossless());
    EXPECT_FALSE(audio("aac", 2, "DTS-HD MA").isLossless());
}

TEST(MediaInfo, guessesTheBitrateOfAudioThatStatesNone)
{
    using Case = std::tuple<const char *, int, double>;
    for (const auto &[codec, channels, expected] :
         {Case{"ac3", 2, 192'000}, Case{"ac3", 3, 448'000}, Case{"eac3", 2, 224'000},
          Case{"eac3", 6, 640'000}, Case{"dts", 6, 1'509'000}, Case{"truehd", 8, 3'000'000},
          Case{"flac", 1, 900'000}, Case{"alac", 6, 2'700'000}, Case{"aac", 2, 160'000},
          Case{"aac", 6, 384'000}, Case{"opus", 2, 128'000}, Case{"vorbis", 6, 320'000},
          Case{"mp3", 2, 192'000}, Case{"pcm_s24le", 2, 2'304'000}, Case{"pcm_s16le", 0, 1'152'000},
          Case{"cook", 2, 256'000}})
        EXPECT_EQ(audio(codec, channels).effectiveBitrate(), expected) << codec << " with " << channels;

    AudioStreamInfo track = audio("dts", 6, "DTS-HD HRA");
    EXPECT_EQ(track.effectiveBitrate(), 3'500'000);
    track.bitrate = 0; // not a statement
    EXPECT_EQ(track.effectiveBitrate(), 3'500'000);
    track.bitrate = 2'000'000;
    EXPECT_EQ(track.effectiveBitrate(), 2'000'000);
    track = audio("pcm_s24le");
    track.sampleRate = 96'000;
    EXPECT_EQ(track.effectiveBitrate(), 4'608'000);
}

TEST(MediaInfo, guessesTheSizeOfSubtitles)
{
    SubtitleStreamInfo track = subtitle("hdmv_pgs_subtitle");
    EXPECT_EQ(track.estimatedBytes(7200), 22'500'000);
    track.byteSize = 0;
    EXPECT_EQ(track.estimatedBytes(7200), 0);
    for (const char *codec : {"subrip", "srt", "ass", "ssa", "mov_text", "webvtt", "text"})
        EXPECT_EQ(subtitle(codec).estimatedBytes(7200), 60'000) << codec;
}

// An hour and 4.5 GB are 10 Mbit/s in all.
TEST(MediaInfo, takesTheVideosBitrateFromWhatTheOthersLeave)
{
    const auto rate = [](const MediaInfo &film) { return film.videoBitrate(); };
    const auto unknown = [] { return aFilm().unknownBitrate(); };
    EXPECT_EQ(rate(aFilm().bitrate(1'234'567)), 1'234'567);
    for (const MediaInfo &film : {unknown().info(), aFilm().bitrate(0).info(), aFilm().withoutVideo().info()})
        EXPECT_NEAR(rate(film), 9'900'000, 1);
    EXPECT_NEAR(rate(unknown().audio("ac3", "deu", 6).subtitle("subrip")),
                9'900'000 - 448'000 - 60'000 * 8 / 3600.0, 1);
    EXPECT_EQ(rate(unknown().duration(0)), 0);
    auto loud = unknown();
    for (int i = 0; i < 4; ++i)
        loud.audio("truehd", "deu", 8);
    EXPECT_NEAR(rate(loud), 2'000'000, 1);
}

} // namespace kestrel
