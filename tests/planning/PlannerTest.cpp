#include "planning/Planner.h"

#include <gmock/gmock.h>

#include "support/Builders.h"

namespace kestrel {

namespace {

using test::aFilm;
using testing::ElementsAre;
using testing::IsEmpty;
using enum TargetResolution;
using enum VideoCodecChoice;
using Texts = std::vector<std::string>;

ConversionSettings to(VideoCodecChoice codec, QualityLevel quality = QualityLevel::high)
{
    return {.codec = codec, .quality = quality};
}

ConversionSettings atMost(TargetResolution resolution, VideoCodecChoice codec = hevcX265)
{
    return {.codec = codec, .resolution = resolution};
}

const ConversionSettings kept = to(keepVideo), intoMp4{.container = OutputContainer::mp4},
                         keptInMp4{.codec = keepVideo, .container = OutputContainer::mp4};

Plan planned(const MediaInfo &film, const ConversionSettings &settings = {},
             const std::optional<std::string> &videoUnchanged = {})
{
    return Planner::plan(film, settings, videoUnchanged);
}

// The size, then "CRF 23", or why the video is copied, or "none"; then what else happens to it.
std::string video(const Plan &plan)
{
    const auto *copy = std::get_if<CopyVideo>(&plan.video);
    return std::to_string(plan.outputWidth) + "x" + std::to_string(plan.outputHeight) + " " +
           (copy                  ? copy->reason
            : plan.encodesVideo() ? "CRF " + std::to_string(plan.qualityValue)
                                  : "none") +
           (plan.scales ? " scaled" : "") + (plan.deinterlace ? " deinterlaced" : "");
}

// "keep wird kopiert", "convert … 640000/6", "drop …"
Texts audio(const Plan &plan)
{
    Texts result;
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

} // namespace

// For HEVC the border lies at 9.68 Mbit/s: there bits per pixel have grown so dense that the heuristic
// falls to three quarters of the source.
TEST(Planner, encodesTheVideoThatWillShrinkOrMustBeChanged)
{
    const auto hevc = [](std::int64_t rate) { return aFilm().video("hevc", 1920, 1080).bitrate(rate); };
    const auto av1 = [](std::int64_t rate) { return aFilm().video("av1", 1920, 1080).bitrate(rate); };
    const std::string alreadyHevc = "1920x1080 bereits HEVC in passender Qualität – bleibt unverändert";
    const std::string alreadyAv1 = "1920x1080 bereits AV1 in passender Qualität – bleibt unverändert";
    const std::string hardlySaves = "1920x1080 Neukodieren würde kaum Platz sparen – bleibt unverändert";
    const std::string encoded = "1920x1080 CRF 23", measured = "gemessen";
    const struct {
        MediaInfo film;
        ConversionSettings settings;
        std::optional<std::string> unchanged;
        std::string expected;
    } cases[] = {
        {aFilm(), {}, {}, encoded},
        {aFilm(), to(av1SVT, QualityLevel::small), {}, "1920x1080 CRF 32"},
        {aFilm().video("hevc", 1920, 1080).unknownBitrate().duration(0), {}, {}, encoded},
        {hevc(2'000'000), {}, {}, alreadyHevc},
        {hevc(9'600'000), {}, {}, alreadyHevc},
        {hevc(9'800'000), {}, {}, encoded},
        {hevc(2'000'000), to(hevcX265, QualityLevel::medium), {}, "1920x1080 CRF 25"},
        {av1(3'000'000), to(av1SVT), {}, alreadyAv1},
        {av1(5'000'000), {}, {}, hardlySaves},
        {av1(9'000'000), {}, {}, encoded},
        {aFilm(), to(hevcX265, QualityLevel::maximal), {}, hardlySaves},
        {aFilm(), {}, measured, "1920x1080 gemessen"},
        {aFilm().interlaced(), {}, measured, encoded + " deinterlaced"},
        {aFilm(), atMost(p720), measured, "1280x720 CRF 23 scaled"},
        {hevc(1'000'000), atMost(p720), {}, "1280x720 CRF 23 scaled"},
        {hevc(1'000'000).interlaced(), {}, {}, encoded + " deinterlaced"},
        {aFilm().interlaced(), atMost(p720, keepVideo), measured, "1920x1080 Video bleibt unverändert"},
        {aFilm().withoutVideo().audio("ac3", "deu"), atMost(p720), measured, "0x0 none"},
    };
    for (const auto &[film, settings, unchanged, expected] : cases) {
        const Plan plan = planned(film, settings, unchanged);
        EXPECT_EQ(video(plan), expected);
        EXPECT_EQ(plan.notes.size(), plan.deinterlace ? 1U : 0U) << expected;
    }
    EXPECT_THAT(
        planned(aFilm().interlaced().dolbyVision()).notes,
        ElementsAre("Video ist im Zeilensprungverfahren (interlaced) und wird dabei sauber in Vollbilder "
                    "umgewandelt.",
                    "Dolby Vision geht beim Neukodieren verloren (HDR10 bleibt)."));
    EXPECT_THAT(planned(aFilm().interlaced().dolbyVision(), kept).notes, IsEmpty());
}

TEST(Planner, fitsTheFrameIntoTheLimitsAndKeepsItEven)
{
    const struct {
        int width, height;
        TargetResolution limit;
        FrameSize expected;
        int rotation = 0; // the limits turn with the picture
    } cases[] = {{3840, 2160, original, {3840, 2160}}, {3840, 1600, p1080, {1920, 800}},
                 {1920, 1088, p1080, {1920, 1088}},    {1936, 1096, p1080, {1936, 1096}},
                 {1937, 1096, p1080, {1908, 1080}},    {1440, 1080, p720, {960, 720}},
                 {1080, 1920, p1080, {608, 1080}},     {640, 480, p576, {640, 480}},
                 {1920, 1080, p576, {1024, 576}},      {1280, 720, p576, {576, 1024}, 90},
                 {1280, 720, p576, {1024, 576}, 180},  {720, 1280, p576, {576, 324}, 270},
                 {640, 360, p576, {360, 640}, 90},     {640, 360, original, {360, 640}, 270}};
    for (const auto &[width, height, limit, expected, rotation] : cases) {
        const Plan plan =
            planned(aFilm().video("h264", width, height).bitrate(90'000'000).turned(rotation), atMost(limit));
        EXPECT_EQ((FrameSize{plan.outputWidth, plan.outputHeight}), expected) << width << " " << rotation;
        EXPECT_EQ(plan.scales, width * height != expected.width * expected.height);
        EXPECT_TRUE(plan.encodesVideo());
    }
}

TEST(Planner, keepsTheChosenLanguagesWithoutCommentariesButNeverLeavesAFilmSilent)
{
    const ConversionSettings withCommentaries{.audioLanguages = {"deu", "eng"}, .dropCommentary = false},
        noLanguage{.audioLanguages = {}}, onlyDefault{.unknownAudio = UnknownAudioPolicy::keepDefault};
    const auto ac3 = [](const std::vector<const char *> &languages) {
        auto film = aFilm();
        for (const char *language : languages)
            film.audio("ac3", language);
        return film;
    };
    const auto several = ac3({"deu", "deu"}).asCommentary().audio("ac3", "eng").audio("ac3", "und");
    const auto foreign = ac3({"eng", "deu"}).asCommentary();
    const std::string keep = "keep wird kopiert", commentary = "drop Kommentar/Audiodeskription",
                      english = "drop Englisch nicht gewählt",
                      unknown = "drop ohne Sprachkennung, nicht Standardspur",
                      noneChosen =
                          "Keine Tonspur in den gewählten Sprachen – alle Tonspuren bleiben erhalten.",
                      untagged = "Tonspuren ohne Sprachkennung – alle bleiben erhalten.",
                      second =
                          "Tonspuren ohne Sprachkennung: behalten wird nur die Standardspur (Spur 2). Per "
                          "Probeclip anhören, ob es die richtige Sprache ist.";
    const struct {
        MediaInfo film;
        ConversionSettings settings;
        Texts audio, notes;
    } cases[] = {
        {several, {}, {keep, commentary, english, unknown}, {}},
        {several, withCommentaries, {keep, keep, keep, unknown}, {}},
        {foreign, {}, {keep, keep}, {noneChosen}},
        {foreign, noLanguage, {keep, keep}, {noneChosen}},
        {ac3({"eng", "und"}), {}, {keep, keep}, {untagged}},
        {ac3({"und", "und"}).asDefault(), onlyDefault, {unknown, keep}, {second}},
        // No track is marked: the first unknown one, counted among all tracks.
        {ac3({"eng"}).asDefault().audio("ac3", "und").audio("ac3", "und"),
         onlyDefault,
         {english, keep, unknown},
         {second}},
        {ac3({"und"}), onlyDefault, {keep}, {untagged}},
        {ac3({"eng", "fra"}), onlyDefault, {keep, keep}, {noneChosen}},
    };
    for (const auto &[film, settings, tracks, notes] : cases) {
        const Plan plan = planned(film, settings);
        EXPECT_EQ(audio(plan), tracks);
        EXPECT_EQ(plan.notes, notes);
    }
}

TEST(Planner, convertsLosslessAudioByItsChannelsAndWhatMp4CannotHold)
{
    const ConversionSettings lossy{.convertLosslessAudio = true},
        lossyInMp4{.convertLosslessAudio = true, .container = OutputContainer::mp4};
    auto film = aFilm();
    for (const auto &[codec, channels] :
         {std::pair("truehd", 8), {"flac", 6}, {"pcm_s16le", 5}, {"alac", 3}, {"flac", 2}, {"ac3", 6}})
        film.audio(codec, "deu", channels);
    EXPECT_THAT(audio(planned(film, lossy)),
                ElementsAre("convert verlustfrei → E-AC3 640 kbit/s 640000/6",
                            "convert verlustfrei → E-AC3 640 kbit/s 640000",
                            "convert verlustfrei → E-AC3 448 kbit/s 448000",
                            "convert verlustfrei → E-AC3 448 kbit/s 448000",
                            "convert verlustfrei → E-AC3 224 kbit/s 224000", "keep wird kopiert"));
    EXPECT_THAT(audio(planned(aFilm().audio("truehd", "deu", 8))), ElementsAre("keep wird kopiert"));
    EXPECT_THAT(
        audio(planned(aFilm().audio("dts", "deu", 7).audio("vorbis", "deu", 1).audio("flac", "deu", 6),
                      intoMp4)),
        ElementsAre("convert in MP4 nicht möglich → E-AC3 640000/6",
                    "convert in MP4 nicht möglich → E-AC3 224000", "keep wird kopiert"));
    EXPECT_THAT(audio(planned(aFilm().audio("truehd", "deu", 6).audio("flac", "deu", 6), lossyInMp4)),
                ElementsAre("convert in MP4 nicht möglich → E-AC3 640000",
                            "convert verlustfrei → E-AC3 640 kbit/s 640000"));
}

TEST(Planner, carriesSubtitlesIntoWhatTheContainerCanHold)
{
    using enum StreamAction;
    const struct {
        ConversionSettings settings;
        const char *codec;
        StreamAction action;
        const char *reason;
        std::optional<std::string> target = {};
    } cases[] = {
        {{}, "subrip", keep, "wird kopiert"},
        {{}, "hdmv_pgs_subtitle", keep, "wird kopiert"},
        {{}, "webvtt", keep, "wird kopiert"},
        {{}, "mov_text", convert, "→ SRT", "srt"},
        {{}, "dvb_teletext", drop, "Format Videotext in MKV nicht möglich"},
        {{}, "text", drop, "Format TEXT in MKV nicht möglich"},
        {intoMp4, "mov_text", keep, "wird kopiert"},
        {intoMp4, "ass", convert, "→ MP4-Text", "mov_text"},
        {intoMp4, "hdmv_pgs_subtitle", drop, "Bilduntertitel in MP4 nicht möglich"},
    };
    for (const auto &[settings, codec, action, reason, target] : cases) {
        const MediaInfo film = aFilm().subtitle(codec);
        EXPECT_EQ(planned(film, settings).subtitles,
                  (std::vector<SubtitleDecision>{{film.subtitles[0], action, reason, target}}))
            << codec;
    }
}

TEST(Planner, carriesFontsOnlyWithStyledSubtitlesFromMatroskaToMatroska)
{
    const auto styled = aFilm().subtitle("ass").attachment().attachment();
    EXPECT_THAT(planned(styled).attachments, ElementsAre(2, 3));
    EXPECT_THAT(planned(styled, intoMp4).attachments, IsEmpty());
    EXPECT_THAT(planned(aFilm().subtitle("ass").attachment().container("mov,mp4")).attachments, IsEmpty());
    EXPECT_THAT(planned(aFilm().subtitle("subrip").attachment()).attachments, IsEmpty());
}

TEST(Planner, knowsWhenNothingWouldChange)
{
    const auto full = [] { return aFilm().audio("ac3", "deu").subtitle("ass").attachment(); };
    EXPECT_TRUE(planned(full().named("Film.MKV"), kept).isNoop);
    EXPECT_TRUE(planned(aFilm().withoutVideo().audio("ac3", "deu"), kept).isNoop);
    EXPECT_TRUE(planned(aFilm().named("Film.mp4"), keptInMp4).isNoop);
    EXPECT_TRUE(planned(aFilm().named("Film.M4V"), keptInMp4).isNoop);

    EXPECT_FALSE(planned(full()).isNoop);                                        // video
    EXPECT_FALSE(planned(full().audio("ac3", "eng"), kept).isNoop);              // audio
    EXPECT_FALSE(planned(full().subtitle("mov_text"), kept).isNoop);             // subtitle
    EXPECT_FALSE(planned(aFilm().subtitle("subrip").attachment(), kept).isNoop); // fonts
    EXPECT_FALSE(planned(aFilm(), keptInMp4).isNoop);                            // container
    EXPECT_FALSE(planned(aFilm().named("Film.m4v"), kept).isNoop);
}

TEST(Planner, leavesAloneWhatItCannotKeepAsItIs)
{
    const Planner::Abilities old{.keepsTurnInMatroska = false};
    MediaInfo several = aFilm().audio("aac", "jpn"), doubtful = several, endless = several;
    several.hasSeveralFilms = true;
    doubtful.video->hasDoubtfulTurn = true;
    endless.duration = 1e308;
    MediaInfo late = endless;
    late.lastPacket = 3600;
    const auto avi = [] { return aFilm().named("Film.avi").audio("aac", "deu"); };
    const struct {
        const char *reason; // begins so; empty where it is not left alone
        MediaInfo film;
        ConversionSettings settings = {};
        Planner::Abilities abilities = {};
    } cases[] = {
        {"Die Datei enthält mehrere Filme", several},
        {"Wie das Bild gedreht gehört", doubtful},
        {"Die angegebene Laufzeit", endless},
        {"", late},
        {"Der Film ist aus Stücken", avi().cut(Cut::rearranged)},
        {"", avi().cut(Cut::picture)},
        {"Der Film ist geschnitten", avi().cut(Cut::picture), kept},
        {"", avi().cut(Cut::sound), kept},
        {"Das Bild ist gedreht, und dieses ffmpeg", avi().turned(90), kept, old},
        {"", avi().turned(90), kept},
        {"", avi().turned(90), keptInMp4, old},
        {"", avi().turned(90), {}, old},
        {"Das Bild ist gedreht und im Zeilen", avi().turned(90).interlaced()},
        {"", aFilm().cut(Cut::picture), kept}, // nothing would be done anyway
    };
    for (const auto &[reason, film, settings, abilities] : cases) {
        const Plan plan = Planner::plan(film, settings, std::nullopt, abilities);
        const std::string found = plan.leftAlone.value_or("");
        EXPECT_TRUE(found.starts_with(reason) && found.empty() == (*reason == '\0'))
            << found << " for " << reason;
        if (!plan.leftAlone)
            continue;
        EXPECT_TRUE(plan.isNoop && !plan.encodesVideo());
        EXPECT_EQ(plan.keptAudio().size(), film.audio.size());
    }
}

} // namespace kestrel
