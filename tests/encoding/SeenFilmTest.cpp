// Whatever is encoded, copied or scaled: the result is seen and heard as its source was.

#include <array>

#include "encoding/CommandBuilder.h"
#include "encoding/JobFixture.h"
#include "media/ProcessRunner.h"
#include "support/Seen.h"

namespace kestrel::test {
namespace {

constexpr double frame = 0.04, soundPacket = 0.03; // seconds; a cut falls between two packets of sound

// The beep comes after the flash as it did before.
void expectInTime(const Seen &before, const Seen &after)
{
    ASSERT_TRUE(before.flash && after.flash && before.beep && after.beep);
    EXPECT_NEAR(*after.beep - *after.flash, *before.beep - *before.flash, frame / 2 + soundPacket);
}

// Four corners of different brightness, and enough noise to shrink.
const std::string picture =
    "-f lavfi -i \"color=c=0x505050:s=320x180:r=25:d=1,drawbox=x=0:y=0:w=160:h=90:c=white:t=fill,"
    "drawbox=x=160:y=0:w=160:h=90:c=0xa0a0a0:t=fill,drawbox=x=160:y=90:w=160:h=90:c=black:t=fill,"
    "noise=alls=12:allf=t,format=yuv420p\" ";
// A flash and a beep two seconds from the start of six, otherwise dark and still.
const std::string flash =
    "-f lavfi -i \"color=c=black:s=96x54:r=25:d=6,drawbox=c=white:t=fill:enable='between(t,1.99,2.19)',"
    "noise=alls=30:allf=t,format=yuv420p\" -f lavfi -i \"sine=f=1000:d=6,volume='between(t,2,2.2)':"
    "eval=frame\" ";
const std::string rich = "-c:v libx264 -preset ultrafast -crf 1 -bf 2 -b_strategy 0 -g 50 ";

// A turned camera picture of one second, once its header has been changed.
fs::path corners()
{
    return Clips::make("corners.mov", picture + "-f lavfi -i sine=d=1 " + rich + "-c:a pcm_s16le");
}

class SeenFilm : public JobTest {
protected:
    // The finished film; what goes wrong is a failure of the test.
    fs::path converted(const fs::path &source)
    {
        const auto outcome = convert(source);
        EXPECT_TRUE(outcome.finalURL) << source << " brought no savings";
        return outcome.finalURL.value_or(source);
    }
    Plan planned(const fs::path &source) const
    {
        return Planner::plan(probe(source), settings, std::nullopt, Planner::abilities(tools));
    }
    void keepThePicture()
    {
        settings.codec = VideoCodecChoice::keepVideo;
        settings.convertLosslessAudio = true; // what else would there be to do?
    }
};

struct Way {
    const char *name;
    bool copies = false;
    TargetResolution resolution = TargetResolution::original;
};
constexpr std::array<Way, 3> ways{{{"encode"}, {"scale", false, TargetResolution::p576}, {"copy", true}}};

class TurnedFilm : public SeenFilm, public testing::WithParamInterface<Way> {};
INSTANTIATE_TEST_SUITE_P(Ways, TurnedFilm, testing::ValuesIn(ways),
                         [](const auto &way) { return way.param.name; });

TEST_P(TurnedFilm, isSeenAsItsSource)
{
    const Way way = GetParam();
    settings.resolution = way.resolution;
    if (way.copies)
        keepThePicture();
    else
        settings.codec = VideoCodecChoice::hevcX265;
    // Scaling needs a picture beyond the smallest limit.
    const bool scales = way.resolution != TargetResolution::original;
    const fs::path clip =
        scales ? Clips::make("corners-wide.mov", "-i " + quoted(corners()) +
                                                     " -vf scale=1280:720 -frames:v 2 " + rich + "-c:a copy")
               : corners();
    for (const auto container : {OutputContainer::mkv, OutputContainer::mp4})
        for (const bool isMirrored : {false, true})
            for (const int quarters : {0, 1, 2, 3}) {
                if (isMirrored && quarters > 1)
                    continue; // the others are the same, seen from behind
                settings.container = container;
                const fs::path source = folder.put(clip, "Film.mov");
                Mp4::turn(source, quarters, isMirrored);
                const Seen before = look(source);
                ASSERT_NEAR(before.aspect, quarters % 2 == 0 ? 16.0 / 9 : 9.0 / 16, 0.01);
                SCOPED_TRACE(testing::Message() << 90 * quarters << "°" << (isMirrored ? " mirrored" : "")
                                                << " into " << id(container));
                const Plan plan = planned(source);
                const bool isLeft = way.copies && container == OutputContainer::mkv &&
                                    (quarters != 0 || isMirrored) && !tools.keepsTurnInMatroska;
                ASSERT_EQ(plan.leftAlone.has_value(), isLeft);
                if (!isLeft) {
                    const fs::path result = converted(source);
                    const Seen after = look(result);
                    EXPECT_TRUE(isSamePicture(before, after));
                    EXPECT_NEAR(after.aspect / before.aspect, 1, 0.01);
                    EXPECT_EQ(after.pictures, before.pictures);
                    if (scales) {
                        EXPECT_EQ(probe(result).video->seenSize(),
                                  (quarters % 2 == 0 ? FrameSize{1024, 576} : FrameSize{576, 1024}));
                    }
                }
                emptyFolder();
            }
}

// An ffmpeg that promises more than it does: the check before the swap keeps the original.
TEST_F(SeenFilm, aTurnThatGotLostKeepsTheOriginal)
{
    keepThePicture();
    tools.keepsTurnInMatroska = true;
    const fs::path source = folder.put(corners(), "Film.mov");
    Mp4::turn(source, 1);
    ffmpeg("exec /usr/bin/ffmpeg -nostdin -v error -y -i " + quoted(corners()) +
           " -c:v copy -c:a eac3 \"$last\"");
    EXPECT_EQ(failure(source), "Prüfung fehlgeschlagen: Das Bild ist anders gedreht als im Original.");
    EXPECT_TRUE(fs::exists(source));

    const fs::path wide = put("Breit.mkv");
    settings.codec = VideoCodecChoice::hevcX265;
    ffmpeg("exec /usr/bin/ffmpeg -nostdin -v error -y -i " + quoted(wide) +
           " -vf setsar=16/15 -c:v libx265 -crf 30 -preset ultrafast -x265-params log-level=error -c:a copy "
           "\"$last\"");
    EXPECT_EQ(failure(wide), "Prüfung fehlgeschlagen: Das Bild hat eine andere Form (1,42 statt 1,33).");
    EXPECT_TRUE(fs::exists(wide));
}

TEST_F(SeenFilm, aspectRatiosSurvive)
{
    for (const auto resolution : {TargetResolution::original, TargetResolution::p576}) {
        settings.resolution = resolution;
        const fs::path source =
            put("anamorphic.mpg",
                picture + "-vf scale=1440:1080,setsar=4/3 -frames:v 2 -c:v mpeg2video -qscale:v 2 -f mpeg");
        const Seen before = look(source), after = look(converted(source));
        EXPECT_NEAR(before.aspect, 16.0 / 9, 0.01);
        EXPECT_NEAR(after.aspect / before.aspect, 1, 0.01);
        emptyFolder();
    }
}

TEST_F(SeenFilm, theFilmIsTakenWhereAStillComesFirst)
{
    const fs::path source =
        put("still-then-film.mkv", "-f lavfi -i color=red:s=64x64:r=25:d=0.04 " + picture +
                                       "-f lavfi -i sine=d=1 -map 0 -map 1 -map 2 -c:v:0 mjpeg "
                                       "-c:v:1 libx264 -preset ultrafast -crf 1 -c:a ac3");
    ASSERT_EQ(probe(source).video->codec, "h264");
    const Seen after = look(converted(source));
    EXPECT_NEAR(after.aspect, 16.0 / 9, 0.01);
    EXPECT_EQ(after.pictures, 25);

    const fs::path two =
        put("two-videos.mkv", picture + "-f lavfi -i testsrc=s=64x64:d=1 -map 0 -map 1 " + rich);
    EXPECT_EQ(planned(two).leftAlone, "Die Datei enthält mehrere Filme – bleibt unverändert");
    EXPECT_EQ(look(converted(put("motion.avi", picture + "-c:v mjpeg -qscale:v 2"))).pictures, 25);
}

TEST_F(SeenFilm, whatAnEditListLeavesOutStaysOut)
{
    const fs::path whole = Clips::make("flash-small.mp4", flash + rich + "-c:a aac");
    // Nothing is left out, the front, the end, and both.
    for (const auto &[start, length] :
         {std::pair(0.0, 6.0), std::pair(1.4, 4.6), std::pair(0.0, 4.0), std::pair(1.4, 2.4)})
        for (const auto container : {OutputContainer::mkv, OutputContainer::mp4}) {
            if (container == OutputContainer::mp4 && length > 3)
                continue; // one suffices
            SCOPED_TRACE(testing::Message() << length << " s from " << start << " into " << id(container));
            settings.container = container;
            const fs::path source = folder.put(whole, "Film.mp4");
            Mp4::edit(source, 'v', {{start + 2 * frame, length}});
            Mp4::edit(source, 's', {{start + 1024.0 / 44100, length}});
            const Seen before = look(source);
            ASSERT_NEAR(before.pictures, length / frame, 1);
            const Seen after = look(converted(source));
            EXPECT_NEAR(after.pictures, before.pictures, container == OutputContainer::mp4 ? 1 : 0);
            expectInTime(before, after);
            EXPECT_NEAR(*after.flash - after.first, *before.flash - before.first, frame / 2);
            emptyFolder();
        }

    // A copy would bring the pictures back.
    const fs::path source = folder.put(whole, "Film.mp4");
    Mp4::edit(source, 'v', {{1.4, 3}});
    settings.codec = VideoCodecChoice::keepVideo;
    settings.container = OutputContainer::mkv;
    EXPECT_THAT(planned(source).leftAlone.value_or(""), HasSubstr("brächte das Weggeschnittene zurück"));
    // But sound that was left out stays out.
    folder.put(whole, "Film.mp4");
    Mp4::edit(source, 's', {{0.6, 5.4}});
    const Seen before = look(source);
    const auto arguments =
        CommandBuilder::arguments(probe(source), planned(source), settings, folder / "copy.mkv", std::nullopt,
                                  CommandBuilder::Streams::all);
    ASSERT_EQ(ProcessRunner::run(tools.ffmpeg, arguments, {}).status, 0);
    const Seen after = look(folder / "copy.mkv");
    EXPECT_EQ(after.pictures, before.pictures);
    expectInTime(before, after);
}

TEST_F(SeenFilm, aSourceThatEndsEarlierThanItSaysIsNoted)
{
    std::string bytes = readFile(Clips::film());
    const std::size_t at = bytes.find("\x44\x89\x88"); // Matroska's Duration, eight bytes
    ASSERT_NE(at, std::string::npos);
    bytes.replace(at + 3, 8, std::string("\x40\xa7\x70\0\0\0\0\0", 8)); // 3000 ms, of a film of two seconds
    const auto note = convert(folder.write("Film.mkv", bytes)).note;
    EXPECT_THAT(note.value_or(""), StartsWith("Der Film ist 2,0"));
    EXPECT_THAT(note.value_or(""), HasSubstr(" s lang; der Container des Originals gab 3,00 s an."));
    EXPECT_EQ(convert(put("Whole.mkv")).note, std::nullopt);
}

TEST_F(SeenFilm, soundStaysInTimeWhereATrackBeginsLater)
{
    for (const std::string late : {"late-sound", "late-picture"}) {
        std::string inputs = flash;
        inputs.insert(late == "late-sound" ? flash.rfind("-f lavfi") : 0, "-itsoffset 0.7 ");
        const fs::path clip = Clips::make(late + "-small.mp4", inputs + rich + "-c:a aac");
        for (const auto container : {OutputContainer::mkv, OutputContainer::mp4}) {
            SCOPED_TRACE(late + " into " + std::string(id(container)));
            settings.container = container;
            const fs::path source = folder.put(clip, "Film.mp4");
            const Seen before = look(source), after = look(converted(source));
            expectInTime(before, after);
            emptyFolder();
        }
    }
}

} // namespace
} // namespace kestrel::test
