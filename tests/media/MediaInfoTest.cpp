#include "media/MediaInfo.h"

#include <gtest/gtest.h>

#include "support/Builders.h"

namespace kestrel {

using test::aFilm;

TEST(MediaInfo, classifiesResolutionsByWidthOrHeight)
{
    struct Case {
        int width, height;
        const char *expected;
    };
    const Case cases[] = {
        {3840, 1600, "2160p"}, {3200, 10, "2160p"},  {3199, 1999, "1440p"}, {2200, 10, "1440p"},
        {2199, 1399, "1080p"}, {1920, 800, "1080p"}, {1440, 1080, "1080p"}, {1699, 999, "720p"},
        {1280, 544, "720p"},   {1199, 699, "576p"},  {720, 576, "576p"},    {720, 540, "576p"},
        {720, 539, "539p"},    {720, 480, "480p"},
    };
    for (const auto &[width, height, expected] : cases)
        EXPECT_EQ(aFilm().video("h264", width, height).info().video->resolutionClass(), expected)
            << width << " x " << height;
}

TEST(MediaInfo, namesCodecsForPeople)
{
    const MediaInfo film = aFilm()
                               .video("msmpeg4v2", 16, 16)
                               .audio("eac3", "deu")
                               .audio("pcm_s24le", "deu")
                               .audio("dts", "deu")
                               .audio("alac", "deu")
                               .audio("dts", "deu")
                               .profile("DTS-HD MA")
                               .subtitle("ssa")
                               .subtitle("hdmv_pgs_subtitle")
                               .subtitle("eia_608");
    EXPECT_EQ(film.video->codecDisplay(), "DivX 3");
    EXPECT_EQ(aFilm().video("ffv1", 16, 16).info().video->codecDisplay(), "FFV1");
    std::vector<std::string> names;
    for (const auto &track : film.audio)
        names.push_back(track.codecDisplay());
    for (const auto &track : film.subtitles)
        names.push_back(track.codecDisplay());
    EXPECT_EQ(names, (std::vector<std::string>{"E-AC3", "PCM", "DTS", "ALAC", "DTS-HD MA", "ASS",
                                               "PGS (Bild)", "EIA_608"}));
}

TEST(MediaInfo, seesHdrAndInterlacingInTheStreamsFlags)
{
    VideoStreamInfo video;
    const auto hdr = [&](std::optional<std::string> transfer) {
        video.colorTransfer = std::move(transfer);
        return video.isHDR();
    };
    const auto interlaced = [&](std::optional<std::string> order) {
        video.fieldOrder = std::move(order);
        return video.isInterlaced();
    };
    EXPECT_TRUE(hdr("smpte2084") && hdr("arib-std-b67"));
    EXPECT_FALSE(hdr({}) || hdr("bt709"));
    EXPECT_TRUE(interlaced("tt") && interlaced("bb") && interlaced("tb") && interlaced("bt"));
    EXPECT_FALSE(interlaced({}) || interlaced("progressive") || interlaced("unknown"));
}

TEST(MediaInfo, knowsWhichAudioIsLossless)
{
    for (const char *codec : {"truehd", "mlp", "flac", "alac", "pcm_s16le"})
        EXPECT_TRUE(aFilm().audio(codec, "deu").info().audio[0].isLossless()) << codec;
    for (const char *codec : {"ac3", "eac3", "dts", "aac", "opus"})
        EXPECT_FALSE(aFilm().audio(codec, "deu").info().audio[0].isLossless()) << codec;
    EXPECT_TRUE(aFilm().audio("dts", "deu").profile("DTS-HD HRA").info().audio[0].isLossless());
    EXPECT_FALSE(aFilm().audio("dts", "deu").profile("DTS-ES").info().audio[0].isLossless());
    EXPECT_FALSE(aFilm().audio("aac", "deu").profile("DTS-HD MA").info().audio[0].isLossless());
}

TEST(MediaInfo, guessesTheBitrateOfAudioThatStatesNone)
{
    struct Case {
        const char *codec;
        int channels;
        double expected;
    };
    const Case cases[] = {
        {"ac3", 2, 192'000},  {"ac3", 3, 448'000},         {"eac3", 2, 224'000},
        {"eac3", 6, 640'000}, {"dts", 6, 1'509'000},       {"truehd", 8, 3'000'000},
        {"flac", 1, 900'000}, {"alac", 6, 2'700'000},      {"aac", 2, 160'000},
        {"aac", 6, 384'000},  {"opus", 2, 128'000},        {"vorbis", 6, 320'000},
        {"mp3", 2, 192'000},  {"pcm_s24le", 2, 2'304'000}, {"pcm_s16le", 0, 1'152'000},
        {"cook", 2, 256'000},
    };
    for (const auto &[codec, channels, expected] : cases)
        EXPECT_EQ(aFilm().audio(codec, "deu", channels).info().audio[0].effectiveBitrate(), expected)
            << codec << " with " << channels;

    AudioStreamInfo track = aFilm().audio("dts", "deu", 6).profile("DTS-HD HRA").info().audio[0];
    EXPECT_EQ(track.effectiveBitrate(), 3'500'000);
    track.bitrate = 0; // not a statement
    EXPECT_EQ(track.effectiveBitrate(), 3'500'000);
    track.bitrate = 2'000'000;
    EXPECT_EQ(track.effectiveBitrate(), 2'000'000);
    track = aFilm().audio("pcm_s24le", "deu", 2).info().audio[0];
    track.sampleRate = 96'000;
    EXPECT_EQ(track.effectiveBitrate(), 4'608'000);
}

TEST(MediaInfo, guessesTheSizeOfSubtitles)
{
    SubtitleStreamInfo track = aFilm().subtitle("hdmv_pgs_subtitle").info().subtitles[0];
    EXPECT_EQ(track.estimatedBytes(7200), 22'500'000);
    track.byteSize = 0;
    EXPECT_EQ(track.estimatedBytes(7200), 0);
    for (const char *codec : {"subrip", "srt", "ass", "ssa", "mov_text", "webvtt", "text"})
        EXPECT_EQ(aFilm().subtitle(codec).info().subtitles[0].estimatedBytes(7200), 60'000) << codec;
}

// An hour and 4.5 GB are 10 Mbit/s in all.
TEST(MediaInfo, takesTheVideosBitrateFromWhatTheOthersLeave)
{
    EXPECT_EQ(aFilm().bitrate(1'234'567).info().videoBitrate(), 1'234'567);
    EXPECT_NEAR(aFilm().unknownBitrate().info().videoBitrate(), 9'900'000, 1);
    EXPECT_NEAR(aFilm().bitrate(0).info().videoBitrate(), 9'900'000, 1);
    EXPECT_NEAR(aFilm().unknownBitrate().audio("ac3", "deu", 6).subtitle("subrip").info().videoBitrate(),
                9'900'000 - 448'000 - 60'000 * 8 / 3600.0, 1);
    EXPECT_NEAR(aFilm().withoutVideo().info().videoBitrate(), 9'900'000, 1);
    EXPECT_EQ(aFilm().unknownBitrate().duration(0).info().videoBitrate(), 0);

    auto loud = aFilm().unknownBitrate();
    for (int i = 0; i < 4; ++i)
        loud.audio("truehd", "deu", 8);
    EXPECT_NEAR(loud.info().videoBitrate(), 2'000'000, 1);
}

} // namespace kestrel
