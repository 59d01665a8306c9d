#include "planning/Planner.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Builders.h"

namespace kestrel {

// What a failed expectation shows.
void PrintTo(const CopyVideo &copy, std::ostream *stream)
{
    *stream << "copy: " << copy.reason;
}

namespace {

using test::aFilm;
using testing::ElementsAre;
using testing::IsEmpty;

ConversionSettings to(VideoCodecChoice codec, QualityLevel quality = QualityLevel::high)
{
    ConversionSettings settings;
    settings.codec = codec;
    settings.quality = quality;
    return settings;
}

ConversionSettings atMost(TargetResolution resolution)
{
    ConversionSettings settings;
    settings.resolution = resolution;
    return settings;
}

ConversionSettings into(OutputContainer container)
{
    ConversionSettings settings;
    settings.container = container;
    return settings;
}

Plan planned(const MediaInfo &film, const ConversionSettings &settings = {},
             const std::optional<std::string> &videoUnchanged = {})
{
    return Planner::plan(film, settings, videoUnchanged);
}

VideoAction copy(const std::string &reason)
{
    return CopyVideo{reason};
}

// "keep wird kopiert", "convert … 640000/6", "drop …"
std::vector<std::string> audio(const Plan &plan)
{
    std::vector<std::string> result;
    for (const auto &decision : plan.audio) {
        constexpr const char *names[] = {"keep ", "convert ", "drop "};
        std::string text = names[static_cast<int>(decision.action)] + decision.reason;
        if (decision.targetBitrate != 0)
            text += " " + std::to_string(decision.targetBitrate);
        if (decision.targetChannels)
            text += "/" + std::to_string(*decision.targetChannels);
        result.push_back(text);
    }
    return result;
}

constexpr const char *hardlySaves = "Neukodieren würde kaum Platz sparen – bleibt unverändert";

} // namespace

TEST(Planner, encodesWhatWillShrink)
{
    Plan expected;
    expected.video = EncodeVideo{};
    expected.outputWidth = 1920;
    expected.outputHeight = 1080;
    expected.qualityValue = 23;
    EXPECT_EQ(planned(aFilm()), expected);
    EXPECT_EQ(planned(aFilm(), to(VideoCodecChoice::av1SVT, QualityLevel::small)).qualityValue, 32);
}

TEST(Planner, encodesWhatHasNoKnownBitrate)
{
    EXPECT_TRUE(planned(aFilm().video("hevc", 1920, 1080).unknownBitrate().duration(0)).encodesVideo());
}

// For HEVC the border lies at 9.68 Mbit/s: there bits per pixel have grown so dense that the heuristic
// falls to three quarters of the source.
TEST(Planner, keepsTheVideoThatIsAlreadyInTheTargetCodec)
{
    const auto hevc = [](std::int64_t rate) { return aFilm().video("hevc", 1920, 1080).bitrate(rate); };
    EXPECT_EQ(planned(hevc(2'000'000)).video,
              copy("bereits HEVC in passender Qualität – bleibt unverändert"));
    EXPECT_EQ(planned(hevc(9'600'000)).video,
              copy("bereits HEVC in passender Qualität – bleibt unverändert"));
    EXPECT_TRUE(planned(hevc(9'800'000)).encodesVideo());
    EXPECT_TRUE(
        planned(hevc(2'000'000), to(VideoCodecChoice::hevcX265, QualityLevel::medium)).encodesVideo());

    const auto av1 = aFilm().video("av1", 1920, 1080).bitrate(3'000'000);
    EXPECT_EQ(planned(av1, to(VideoCodecChoice::av1SVT)).video,
              copy("bereits AV1 in passender Qualität – bleibt unverändert"));
}

TEST(Planner, keepsTheVideoThatWouldHardlyShrink)
{
    const auto av1 = [](std::int64_t rate) { return aFilm().video("av1", 1920, 1080).bitrate(rate); };
    EXPECT_EQ(planned(av1(5'000'000)).video, copy(hardlySaves));
    EXPECT_TRUE(planned(av1(9'000'000)).encodesVideo());
    EXPECT_EQ(planned(aFilm(), to(VideoCodecChoice::hevcX265, QualityLevel::maximal)).video,
              copy(hardlySaves));
}

TEST(Planner, keepsTheVideoThatMeasurementsAdviseAgainst)
{
    EXPECT_EQ(planned(aFilm(), {}, "gemessen").video, copy("gemessen"));
    EXPECT_TRUE(planned(aFilm().interlaced(), {}, "gemessen").encodesVideo());
    EXPECT_TRUE(planned(aFilm(), atMost(TargetResolution::p720), "gemessen").encodesVideo());
}

TEST(Planner, leavesTheVideoAloneWhenAskedTo)
{
    auto settings = to(VideoCodecChoice::keepVideo);
    settings.resolution = TargetResolution::p720;
    const Plan plan = planned(aFilm().interlaced().dolbyVision(), settings, "gemessen");
    EXPECT_EQ(plan.video, copy("Video bleibt unverändert"));
    EXPECT_EQ(plan.outputWidth, 1920);
    EXPECT_EQ(plan.outputHeight, 1080);
    EXPECT_FALSE(plan.scales);
    EXPECT_FALSE(plan.deinterlace);
    EXPECT_THAT(plan.notes, IsEmpty());
}

TEST(Planner, alwaysEncodesWhatMustBeScaledOrDeinterlaced)
{
    const auto lean = aFilm().video("hevc", 1920, 1080).bitrate(1'000'000);
    const Plan scaled = planned(lean, atMost(TargetResolution::p720));
    EXPECT_TRUE(scaled.encodesVideo());
    EXPECT_TRUE(scaled.scales);
    EXPECT_EQ(scaled.outputWidth, 1280);
    EXPECT_EQ(scaled.outputHeight, 720);

    auto broadcast = lean;
    const Plan deinterlaced = planned(broadcast.interlaced().dolbyVision());
    EXPECT_TRUE(deinterlaced.encodesVideo());
    EXPECT_TRUE(deinterlaced.deinterlace);
    EXPECT_THAT(
        deinterlaced.notes,
        ElementsAre("Video ist im Zeilensprungverfahren (interlaced) und wird dabei sauber in Vollbilder "
                    "umgewandelt.",
                    "Dolby Vision geht beim Neukodieren verloren (HDR10 bleibt)."));
}

TEST(Planner, fitsTheFrameIntoTheLimitsAndKeepsItEven)
{
    struct Case {
        int width, height;
        TargetResolution limit;
        FrameSize expected;
    };
    using enum TargetResolution;
    const Case cases[] = {
        {3840, 2160, original, {3840, 2160}}, {3840, 1600, p1080, {1920, 800}},
        {1920, 1088, p1080, {1920, 1088}},    {1936, 1096, p1080, {1936, 1096}},
        {1937, 1096, p1080, {1908, 1080}},    {1440, 1080, p720, {960, 720}},
        {1080, 1920, p1080, {608, 1080}},     {640, 480, p576, {640, 480}},
        {1920, 1080, p576, {1024, 576}},
    };
    for (const auto &[width, height, limit, expected] : cases) {
        const FrameSize size = Planner::targetSize(*aFilm().video("h264", width, height).info().video, limit);
        EXPECT_EQ(size.width, expected.width) << width << " x " << height;
        EXPECT_EQ(size.height, expected.height) << width << " x " << height;
    }
}

TEST(Planner, keepsTheChosenLanguagesWithoutCommentaries)
{
    const auto film = aFilm()
                          .audio("ac3", "deu")
                          .audio("ac3", "deu")
                          .asCommentary()
                          .audio("ac3", "eng")
                          .audio("ac3", "und");
    EXPECT_THAT(audio(planned(film)),
                ElementsAre("keep wird kopiert", "drop Kommentar/Audiodeskription",
                            "drop Englisch nicht gewählt", "drop ohne Sprachkennung, nicht Standardspur"));
    ConversionSettings settings;
    settings.dropCommentary = false;
    settings.audioLanguages = {"deu", "eng"};
    EXPECT_THAT(audio(planned(film, settings)),
                ElementsAre("keep wird kopiert", "keep wird kopiert", "keep wird kopiert",
                            "drop ohne Sprachkennung, nicht Standardspur"));
    EXPECT_THAT(planned(film).notes, IsEmpty());
}

TEST(Planner, neverLeavesAFilmSilent)
{
    ConversionSettings none;
    none.audioLanguages.clear();
    const auto foreign = aFilm().audio("ac3", "eng").audio("ac3", "deu").asCommentary();
    for (const Plan &plan : {planned(foreign), planned(foreign, none)}) {
        EXPECT_THAT(audio(plan), ElementsAre("keep wird kopiert", "keep wird kopiert"));
        EXPECT_THAT(
            plan.notes,
            ElementsAre("Keine Tonspur in den gewählten Sprachen – alle Tonspuren bleiben erhalten."));
    }
    const Plan unknown = planned(aFilm().audio("ac3", "eng").audio("ac3", "und"));
    EXPECT_THAT(audio(unknown), ElementsAre("keep wird kopiert", "keep wird kopiert"));
    EXPECT_THAT(unknown.notes, ElementsAre("Tonspuren ohne Sprachkennung – alle bleiben erhalten."));
}

TEST(Planner, keepsOnlyTheDefaultTrackOfUnknownOnesWhenAskedTo)
{
    ConversionSettings settings;
    settings.unknownAudio = UnknownAudioPolicy::keepDefault;
    const auto note = [](int track) {
        return "Tonspuren ohne Sprachkennung: behalten wird nur die Standardspur (Spur " +
               std::to_string(track) + "). Per Probeclip anhören, ob es die richtige Sprache ist.";
    };
    const Plan second = planned(aFilm().audio("ac3", "und").audio("ac3", "und").asDefault(), settings);
    EXPECT_THAT(audio(second),
                ElementsAre("drop ohne Sprachkennung, nicht Standardspur", "keep wird kopiert"));
    EXPECT_THAT(second.notes, ElementsAre(note(2)));

    // No track is marked: the first unknown one, counted among all tracks.
    const Plan first =
        planned(aFilm().audio("ac3", "eng").asDefault().audio("ac3", "und").audio("ac3", "und"), settings);
    EXPECT_THAT(audio(first), ElementsAre("drop Englisch nicht gewählt", "keep wird kopiert",
                                          "drop ohne Sprachkennung, nicht Standardspur"));
    EXPECT_THAT(first.notes, ElementsAre(note(2)));

    const Plan only = planned(aFilm().audio("ac3", "und"), settings);
    EXPECT_THAT(audio(only), ElementsAre("keep wird kopiert"));
    EXPECT_THAT(only.notes, ElementsAre("Tonspuren ohne Sprachkennung – alle bleiben erhalten."));
    EXPECT_THAT(planned(aFilm().audio("ac3", "eng").audio("ac3", "fra"), settings).notes,
                ElementsAre("Keine Tonspur in den gewählten Sprachen – alle Tonspuren bleiben erhalten."));
}

TEST(Planner, convertsLosslessAudioByItsChannels)
{
    ConversionSettings settings;
    settings.convertLosslessAudio = true;
    const auto film = aFilm()
                          .audio("truehd", "deu", 8)
                          .audio("flac", "deu", 6)
                          .audio("pcm_s16le", "deu", 5)
                          .audio("alac", "deu", 3)
                          .audio("flac", "deu", 2)
                          .audio("ac3", "deu", 6);
    EXPECT_THAT(audio(planned(film, settings)),
                ElementsAre("convert verlustfrei → E-AC3 640 kbit/s 640000/6",
                            "convert verlustfrei → E-AC3 640 kbit/s 640000",
                            "convert verlustfrei → E-AC3 448 kbit/s 448000",
                            "convert verlustfrei → E-AC3 448 kbit/s 448000",
                            "convert verlustfrei → E-AC3 224 kbit/s 224000", "keep wird kopiert"));
    EXPECT_THAT(audio(planned(aFilm().audio("truehd", "deu", 8))), ElementsAre("keep wird kopiert"));
}

TEST(Planner, convertsAudioThatMp4CannotHold)
{
    auto settings = into(OutputContainer::mp4);
    const auto film = aFilm().audio("dts", "deu", 7).audio("vorbis", "deu", 1).audio("flac", "deu", 6);
    EXPECT_THAT(audio(planned(film, settings)),
                ElementsAre("convert in MP4 nicht möglich → E-AC3 640000/6",
                            "convert in MP4 nicht möglich → E-AC3 224000", "keep wird kopiert"));
    settings.convertLosslessAudio = true;
    EXPECT_THAT(audio(planned(aFilm().audio("truehd", "deu", 6).audio("flac", "deu", 6), settings)),
                ElementsAre("convert in MP4 nicht möglich → E-AC3 640000",
                            "convert verlustfrei → E-AC3 640 kbit/s 640000"));
}

TEST(Planner, carriesSubtitlesIntoWhatTheContainerCanHold)
{
    using enum StreamAction;
    struct Case {
        OutputContainer container;
        const char *codec;
        StreamAction action;
        const char *reason;
        std::optional<std::string> target;
    };
    const Case cases[] = {
        {OutputContainer::mkv, "subrip", keep, "wird kopiert", {}},
        {OutputContainer::mkv, "hdmv_pgs_subtitle", keep, "wird kopiert", {}},
        {OutputContainer::mkv, "webvtt", keep, "wird kopiert", {}},
        {OutputContainer::mkv, "mov_text", convert, "→ SRT", "srt"},
        {OutputContainer::mkv, "dvb_teletext", drop, "Format Videotext in MKV nicht möglich", {}},
        {OutputContainer::mkv, "text", drop, "Format TEXT in MKV nicht möglich", {}},
        {OutputContainer::mp4, "mov_text", keep, "wird kopiert", {}},
        {OutputContainer::mp4, "ass", convert, "→ MP4-Text", "mov_text"},
        {OutputContainer::mp4, "hdmv_pgs_subtitle", drop, "Bilduntertitel in MP4 nicht möglich", {}},
    };
    for (const auto &[container, codec, action, reason, target] : cases) {
        const MediaInfo film = aFilm().subtitle(codec);
        EXPECT_EQ(planned(film, into(container)).subtitles,
                  (std::vector<SubtitleDecision>{{film.subtitles[0], action, reason, target}}))
            << codec;
    }
}

TEST(Planner, carriesFontsOnlyWithStyledSubtitlesFromMatroskaToMatroska)
{
    const auto styled = aFilm().subtitle("ass").attachment().attachment();
    EXPECT_THAT(planned(styled).attachments, ElementsAre(2, 3));
    EXPECT_THAT(planned(styled, into(OutputContainer::mp4)).attachments, IsEmpty());
    EXPECT_THAT(planned(aFilm().subtitle("ass").attachment().container("mov,mp4")).attachments, IsEmpty());
    EXPECT_THAT(planned(aFilm().subtitle("subrip").attachment()).attachments, IsEmpty());
}

TEST(Planner, knowsWhenNothingWouldChange)
{
    const auto settings = to(VideoCodecChoice::keepVideo);
    auto mp4 = settings;
    mp4.container = OutputContainer::mp4;
    const auto full = [] { return aFilm().audio("ac3", "deu").subtitle("ass").attachment(); };

    EXPECT_TRUE(planned(full().named("Film.MKV"), settings).isNoop);
    EXPECT_TRUE(planned(aFilm().withoutVideo().audio("ac3", "deu"), settings).isNoop);
    EXPECT_TRUE(planned(aFilm().named("Film.mp4"), mp4).isNoop);
    EXPECT_TRUE(planned(aFilm().named("Film.M4V"), mp4).isNoop);

    EXPECT_FALSE(planned(full(), {}).isNoop);                                        // video
    EXPECT_FALSE(planned(full().audio("ac3", "eng"), settings).isNoop);              // audio
    EXPECT_FALSE(planned(full().subtitle("mov_text"), settings).isNoop);             // subtitle
    EXPECT_FALSE(planned(aFilm().subtitle("subrip").attachment(), settings).isNoop); // fonts
    EXPECT_FALSE(planned(aFilm(), mp4).isNoop);                                      // container
    EXPECT_FALSE(planned(aFilm().named("Film.m4v"), settings).isNoop);
}

TEST(Planner, plansAFileWithoutVideo)
{
    const Plan plan =
        planned(aFilm().withoutVideo().audio("ac3", "deu"), atMost(TargetResolution::p720), "gemessen");
    EXPECT_EQ(plan.video, VideoAction(NoVideo{}));
    EXPECT_EQ(plan.outputWidth, 0);
    EXPECT_EQ(plan.outputHeight, 0);
    EXPECT_THAT(plan.notes, IsEmpty());
}

TEST(Planner, turnsTheLimitWithThePicture)
{
    struct Case {
        int width, height, rotation;
        TargetResolution limit;
        FrameSize expected;
    };
    for (const auto &[width, height, rotation, limit, expected] :
         {Case{1280, 720, 90, TargetResolution::p576, {576, 1024}},
          Case{1280, 720, 180, TargetResolution::p576, {1024, 576}},
          Case{720, 1280, 270, TargetResolution::p576, {576, 324}},
          Case{640, 360, 90, TargetResolution::p576, {360, 640}},
          Case{640, 360, 270, TargetResolution::original, {360, 640}}}) {
        const Plan plan =
            planned(aFilm().video("h264", width, height).bitrate(9'000'000).turned(rotation), atMost(limit));
        EXPECT_EQ((FrameSize{plan.outputWidth, plan.outputHeight}), expected) << width << " " << rotation;
        EXPECT_EQ(plan.scales, width * height != expected.width * expected.height);
        EXPECT_TRUE(plan.encodesVideo());
    }
}

TEST(Planner, leavesAloneWhatItCannotKeepAsItIs)
{
    const ConversionSettings kept = to(VideoCodecChoice::keepVideo);
    ConversionSettings keptInMp4 = kept;
    keptInMp4.container = OutputContainer::mp4;
    const Planner::Abilities old{.keepsTurnInMatroska = false};
    MediaInfo several = aFilm().audio("aac", "jpn"), doubtful = several, endless = several, late = several;
    several.hasSeveralFilms = true;
    doubtful.video->hasDoubtfulTurn = true;
    endless.duration = 1e308;
    late.duration = 1e308;
    late.lastPacket = 3600;
    const auto avi = [] { return aFilm().named("Film.avi").audio("aac", "deu"); };
    struct Case {
        const char *what;
        MediaInfo film;
        ConversionSettings settings;
        Planner::Abilities abilities;
        const char *reason; // begins so; empty where it is not left alone
    };
    const Case cases[] = {
        {"several films", several, {}, {}, "Die Datei enthält mehrere Filme"},
        {"a turn that is not clear", doubtful, {}, {}, "Wie das Bild gedreht gehört"},
        {"a time that nobody knows", endless, {}, {}, "Die angegebene Laufzeit"},
        {"a time known from the last packet", late, {}, {}, ""},
        {"pieces", avi().cut(Cut::rearranged), {}, {}, "Der Film ist aus Stücken"},
        {"a cut that is encoded", avi().cut(Cut::picture), {}, {}, ""},
        {"a cut that is copied", avi().cut(Cut::picture), kept, {}, "Der Film ist geschnitten"},
        {"sound that is cut", avi().cut(Cut::sound), kept, {}, ""},
        {"a turn into Matroska", avi().turned(90), kept, old, "Das Bild ist gedreht, und dieses ffmpeg"},
        {"the same with a newer ffmpeg", avi().turned(90), kept, {}, ""},
        {"the same into MP4", avi().turned(90), keptInMp4, old, ""},
        {"the same encoded", avi().turned(90), {}, old, ""},
        {"turned and interlaced",
         avi().turned(90).interlaced(),
         {},
         {},
         "Das Bild ist gedreht und im Zeilen"},
        {"nothing to do anyway", aFilm().cut(Cut::picture), kept, {}, ""},
    };
    for (const auto &[what, film, settings, abilities, reason] : cases) {
        const Plan plan = Planner::plan(film, settings, std::nullopt, abilities);
        EXPECT_THAT(plan.leftAlone.value_or(""), testing::StartsWith(reason)) << what;
        EXPECT_EQ(plan.leftAlone.has_value(), *reason != '\0') << what;
        if (!plan.leftAlone)
            continue;
        EXPECT_TRUE(plan.isNoop && !plan.encodesVideo()) << what;
        EXPECT_EQ(plan.keptAudio().size(), film.audio.size()) << what;
    }
}

} // namespace kestrel
