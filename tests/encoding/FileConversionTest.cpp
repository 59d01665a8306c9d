#include "encoding/FileConversion.h"

#include <thread>

#include <fmt/format.h>

#include "encoding/JobFixture.h"
#include "platform/Cancelled.h"
#include "platform/OnExit.h"
#include "support/Mounts.h"
#include "support/OrdinaryUser.h"
#include "support/Seen.h"

namespace kestrel::test {
namespace {

using Kind = ConversionOutcome::Kind;

SampleResult aSample(int qualityValue, double videoBitrate = 1000)
{
    SampleResult sample;
    sample.qualityValue = qualityValue;
    sample.vmafTarget = 92.5;
    sample.videoBitrate = videoBitrate;
    return sample;
}

class FileConversionTest : public JobTest {
protected:
    // A real ffmpeg but for the scoring: VMAF is 98 at CRF 23 and falls by 0.6 for each step. Asked for CRFs
    // are noted in the toolbox.
    void scoringFFmpeg()
    {
        tools.hasVMAF = tools.mayMeasure = true;
        ffmpeg("crf=" + quoted(toolbox / "crf") + R"(
for word; do
  case $previous in -crf) echo $word >> $crf;; esac
  case $word in *libvmaf=*) log=${word#*log_path=}; log=${log%%:*};; esac
  previous=$word
done
[ -n "$log" ] || exec /usr/bin/ffmpeg "$@"
score=$(( 980 - 6 * ($(tail -n 1 $crf) - 23) ))
echo "{\"pooled_metrics\":{\"vmaf\":{\"mean\":$(( score / 10 )).$(( score % 10 ))}}}" > "$log")");
    }

    FileConversion::Result run(const MediaInfo &info, std::optional<SampleResult> sample = std::nullopt)
    {
        measured.reset();
        FileConversion::Callbacks callbacks = silent;
        callbacks.analyzing = [this](double fraction) { analysed = fraction; };
        callbacks.measured = [this](const SampleResult &found) { measured = found; };
        callbacks.running = [this](double, double) { ++runningReports; };
        return FileConversion({info, settings, tools, folder.path(), std::move(sample)}).run(callbacks, {});
    }
    FileConversion::Result run(const fs::path &film, std::optional<SampleResult> sample = std::nullopt)
    {
        return run(probe(film), std::move(sample));
    }
    std::string failure(const MediaInfo &info)
    {
        return failureOf([&] { run(info); });
    }

    double analysed = -1;
    std::optional<SampleResult> measured;
    int runningReports = 0;
};

TEST_F(FileConversionTest, searchesTheQualityThatReachesTheTargetAndEncodesWithIt)
{
    scoringFFmpeg();
    settings.quality = QualityLevel::high; // aims at 95: reached at 28

    const auto result = run(put("Film.mkv"));

    ASSERT_TRUE(measured);
    EXPECT_EQ(measured->qualityValue, 28);
    EXPECT_EQ(measured->vmafTarget, 95.0);
    EXPECT_NEAR(*measured->vmafMean, 95.0, 1e-9);
    EXPECT_EQ(measured->steps.size(), 3U);
    EXPECT_EQ(readFile(toolbox / "crf"), "23\n27\n28\n28\n");
    EXPECT_EQ(analysed, 1.0);
    EXPECT_GE(runningReports, 1);
    EXPECT_EQ(result.outcome.kind, Kind::replaced);
    ASSERT_TRUE(result.newInfo);
    EXPECT_EQ(result.newInfo->video->codec, "hevc");
    EXPECT_THAT(names(fs::temp_directory_path()), Not(Contains(StartsWith("Kestrel-"))))
        << "a search leaves nothing behind";
}

TEST_F(FileConversionTest, aKnownSampleIsUsedUntilSomethingMeasuresBetter)
{
    scoringFFmpeg();
    run(put("Film.mkv"), aSample(31));
    EXPECT_FALSE(measured);
    EXPECT_EQ(readFile(toolbox / "crf"), "31\n");

    settings.quality = QualityLevel::high;
    tools.mayMeasure = false;
    run(put("Film.mkv"));
    ASSERT_TRUE(measured);
    const SampleResult unscored = *measured;
    EXPECT_FALSE(unscored.vmafTarget || unscored.vmafMean);
    EXPECT_EQ(readFile(toolbox / "crf"), "31\n23\n23\n");

    run(put("Film.mkv"), unscored);
    EXPECT_FALSE(measured);
    EXPECT_EQ(readFile(toolbox / "crf"), "31\n23\n23\n23\n");

    tools.mayMeasure = true;
    run(put("Film.mkv"), unscored);
    ASSERT_TRUE(measured);
    EXPECT_EQ(measured->vmafTarget, 95.0);
}

TEST_F(FileConversionTest, aFilmThatWouldHardlyShrinkIsLeftAsItIs)
{
    const SampleResult sample = aSample(23, 1e12);
    const MediaInfo info = probe(put("Film.mkv"));
    EXPECT_EQ(run(info, sample).outcome, (ConversionOutcome{Kind::noSavings, info.fileSize, info.fileSize}));
    EXPECT_EQ(readFile(info.url), readFile(Clips::film()));
    EXPECT_EQ(runningReports, 0);

    // Where there is something else to do, the picture is copied. Without the muxer's name the source is
    // smaller than any copy.
    const fs::path bare = put("bare.mkv", "-i " + quoted(Clips::film()) + " -c copy -fflags +bitexact");
    fs::rename(bare, folder / "Film.mov");
    settings.outputMode = OutputMode::separateFolder;
    EXPECT_EQ(run(folder / "Film.mov", sample).outcome.kind, Kind::noSavings);
    EXPECT_GT(runningReports, 0);
    EXPECT_FALSE(fs::exists(beside / "Film.mkv")) << "a bare copy saves nothing";
}

TEST_F(FileConversionTest, whatIsThereAlreadyIsNotConvertedAgain)
{
    settings.outputMode = OutputMode::separateFolder;
    const MediaInfo info = probe(put("Film.mkv"));
    const auto first = run(info);
    EXPECT_FALSE(first.wasConvertedBefore);

    const auto second = run(info);
    EXPECT_TRUE(second.wasConvertedBefore);
    EXPECT_EQ(second.outcome, first.outcome);

    settings.codec = VideoCodecChoice::av1SVT;
    EXPECT_FALSE(run(info).wasConvertedBefore) << "another codec is asked for";
    fs::resize_file(beside / "Film.mkv", 10);
    EXPECT_FALSE(run(info).wasConvertedBefore) << "what lies there is not readable";
}

TEST_F(FileConversionTest, aTurnedFilmIsConvertedOnce)
{
    settings.outputMode = OutputMode::separateFolder;
    const fs::path film =
        put("to-turn.mp4", "-f lavfi -i testsrc2=s=320x180:r=25:d=1 -c:v libx264 -preset ultrafast -crf 1");
    Mp4::turn(film, 1);
    const auto first = run(film);
    EXPECT_FALSE(first.wasConvertedBefore);
    EXPECT_EQ(probe(*first.outcome.finalURL).video->seenSize(), (FrameSize{180, 320}));
    EXPECT_TRUE(run(film).wasConvertedBefore);
}

// The source of the old result may be gone: the result is all that is left of that film.
TEST_F(FileConversionTest, anotherFilmsResultIsNeitherOverwrittenNorTakenForThisOne)
{
    settings.outputMode = OutputMode::separateFolder;
    const fs::path earlier = folder.put(result(), beside / "Film.mkv");
    fs::last_write_time(earlier, fs::file_time_type::clock::now() - std::chrono::hours(50));

    const fs::path film = put("Film.avi");
    const auto first = run(film);
    EXPECT_FALSE(first.wasConvertedBefore);
    EXPECT_EQ(first.outcome.finalURL, beside / "Film (Kestrel).mkv");
    EXPECT_EQ(readFile(earlier), readFile(result()));
    EXPECT_TRUE(run(film).wasConvertedBefore);
}

TEST_F(FileConversionTest, twoSourcesOfOneNameGetTwoTargets)
{
    settings.outputMode = OutputMode::separateFolder;
    const MediaInfo one = probe(put("film.mov")), two = probe(put("film.m4v"));
    for (const bool isDone : {false, true}) {
        const auto first = run(one), second = run(two);
        EXPECT_EQ(first.outcome.finalURL, beside / "film.mkv");
        EXPECT_EQ(second.outcome.finalURL, beside / "film (Kestrel).mkv");
        EXPECT_EQ(first.wasConvertedBefore, isDone);
        EXPECT_EQ(second.wasConvertedBefore, isDone);
    }
}

TEST_F(FileConversionTest, aFileReplacedBeforeItsTurnIsLookedAtAgain)
{
    const MediaInfo before = probe(put("Film.mkv"));
    folder.put(Clips::make("two-tracks.mkv", "-i " + quoted(Clips::film()) +
                                                 " -map 0 -map 0:a -c copy -metadata:s:a:1 language=ger"),
               "Film.mkv");
    const auto result = run(before);
    ASSERT_TRUE(result.newInfo);
    EXPECT_EQ(result.newInfo->audio.size(), 2U);
}

TEST_F(FileConversionTest, tellsWhyInGerman)
{
    MediaInfo info = probe(put("Film.mkv"));
    info.duration = 0;
    EXPECT_EQ(failure(info), "Qualitätssuche fehlgeschlagen: Laufzeit unbekannt");
    info.duration = 2;
    ffmpeg("echo kaputt >&2; exit 1");
    EXPECT_EQ(failure(info), "Qualitätssuche fehlgeschlagen: Probekodierung fehlgeschlagen: kaputt");
    tools.hasVMAF = tools.mayMeasure = true;
    ffmpeg("case \"$*\" in *libvmaf*) echo kein Modell >&2; exit 0;; esac; exec /usr/bin/ffmpeg \"$@\"");
    EXPECT_EQ(failure(info), "Qualitätssuche fehlgeschlagen: VMAF-Messung fehlgeschlagen: kein Modell");
    fs::remove(info.url);
    EXPECT_EQ(failure(info), "Datei ist nicht mehr vorhanden.");
}

TEST_F(FileConversionTest, anOriginalThatCannotBeMovedIsFoundOutBeforeAnyWork)
{
    const MediaInfo info = probe(put("Film.mov"));
    if (!shell("chattr +i " + quoted(info.url) + " 2>/dev/null"))
        GTEST_SKIP() << "chattr +i needs root and a file system that knows it";
    const auto unlock = onExit([&] { shell("chattr -i " + quoted(info.url)); });
    ffmpeg("touch " + quoted(toolbox / "ran"));
    for (const auto codec : {VideoCodecChoice::hevcX265, VideoCodecChoice::keepVideo}) {
        settings.codec = codec;
        ASSERT_FALSE(Planner::plan(info, settings, std::nullopt).isNoop);
        EXPECT_EQ(failure(info),
                  "Das Original ist gegen Änderungen gesperrt (chattr +i oder +a) und ließe sich nicht in "
                  "den Papierkorb legen – es bleibt, wie es ist.");
    }
    EXPECT_FALSE(fs::exists(toolbox / "ran"));
    EXPECT_THAT(names(folder.path()), ElementsAre("Film.mov"));
}

// Every run would make the same results again, because none of them would be known as one.
TEST_F(FileConversionTest, anOutputFolderThatTakesNoTimesIsFoundOutBeforeAnyWork)
{
    SKIP_UNLESS_ROOT();
    const fs::path opened = folder / "Filme", server = folder / "server", output = folder / "Filme (Kestrel)";
    fs::create_directories(server);
    const Mount mount = Mount::passThrough(server, output, "--force-user=root --perms=a+rwX");
    SKIP_WITHOUT(mount);
    settings.outputMode = OutputMode::separateFolder;
    const MediaInfo info = probe(put("Filme/Serie/Film.mkv"));
    ffmpeg("touch " + quoted(server / "ran"));
    openWayTo(folder.path());

    EXPECT_EQ(asOrdinaryUser([&] {
                  FileConversion({info, settings, tools, opened, std::nullopt}).run({}, {});
                  return "";
              }),
              "Im Ausgabeordner lässt sich das Änderungsdatum nicht setzen. Daran erkennt Kestrel, was schon "
              "konvertiert ist – die Datei bleibt, wie sie ist.");
    EXPECT_THAT(names(server), IsEmpty());
}

TEST_F(FileConversionTest, aPausedFileWaitsBeforeItsEncodeAndCanBeStopped)
{
    const MediaInfo info = probe(put("Film.mkv"));
    ffmpeg("touch " + quoted(toolbox / "ran"));
    FileConversion conversion({info, settings, tools, folder.path(), aSample(30)});
    conversion.suspend();
    std::stop_source stop;
    std::jthread worker([&] { EXPECT_THROW(conversion.run(silent, stop.get_token()), Cancelled); });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    stop.request_stop();
    worker.join();
    EXPECT_FALSE(fs::exists(toolbox / "ran"));
}

} // namespace
} // namespace kestrel::test
