#include "encoding/FileConversion.h"

#include <fstream>
#include <thread>

#include "encoding/JobFixture.h"
#include "platform/Cancelled.h"
#include "platform/OnExit.h"
#include "support/Mounts.h"
#include "support/OrdinaryUser.h"
#include "support/Seen.h"

namespace kestrel::test {
namespace {

class FileConversionTest : public JobTest {
protected:
    // A real ffmpeg but for the scoring: VMAF is `at23` at CRF 23 and falls by `slope` for each step
    // (both in tenths). Asked for CRFs are noted in the toolbox.
    void scoringFFmpeg(int at23, int slope)
    {
        tools.hasVMAF = tools.mayMeasure = true;
        ffmpeg("crf=" + quoted(toolbox / "crf") + "\n" +
               R"(for word; do
  case $previous in -crf) echo $word >> $crf;; esac
  case $word in *libvmaf=*) log=${word#*log_path=}; log=${log%%:*};; esac
  previous=$word
done
[ -n "$log" ] || exec /usr/bin/ffmpeg "$@"
score=$(( )" + std::to_string(at23) +
               " - " + std::to_string(slope) + R"( * ($(tail -n 1 $crf) - 23) ))
echo "{\"pooled_metrics\":{\"vmaf\":{\"mean\":$(( score / 10 )).$(( score % 10 ))}}}" > "$log")");
    }

    FileConversion::Result run(const MediaInfo &info, std::optional<SampleResult> sample = std::nullopt)
    {
        FileConversion conversion({info, settings, tools, folder.path(), std::move(sample)});
        measured.reset();
        return conversion.run({[this](double fraction) { analysed = fraction; },
                               [this](const SampleResult &found) { measured = found; },
                               [this](double, double) { ++runningReports; }, [] {}},
                              {});
    }

    std::string failure(const MediaInfo &info)
    {
        try {
            run(info);
            return {};
        } catch (const ToolError &error) {
            return error.what();
        }
    }

    static std::vector<int> values(const SampleResult &result)
    {
        std::vector<int> list;
        for (const auto &step : result.steps)
            list.push_back(step.value);
        return list;
    }

    double analysed = -1;
    std::optional<SampleResult> measured;
    int runningReports = 0;
};

TEST_F(FileConversionTest, searchesTheQualityThatReachesTheTargetAndEncodesWithIt)
{
    scoringFFmpeg(980, 6); // high aims at 95: reached at 28
    settings.quality = QualityLevel::high;
    const fs::path film = folder.put(Clips::film(), "Film.mkv");

    const auto result = run(probe(film));

    ASSERT_TRUE(measured);
    EXPECT_THAT(values(*measured), ElementsAre(23, 27, 28));
    EXPECT_EQ(measured->qualityValue, 28);
    EXPECT_EQ(measured->vmafTarget, 95.0);
    EXPECT_NEAR(*measured->vmafMean, 95.0, 1e-9);
    EXPECT_EQ(readFile(toolbox / "crf"), "23\n27\n28\n28\n");
    EXPECT_EQ(analysed, 1.0);
    EXPECT_GE(runningReports, 1);
    EXPECT_EQ(result.outcome.kind, ConversionOutcome::Kind::replaced);
    ASSERT_TRUE(result.newInfo);
    EXPECT_EQ(result.newInfo->video->codec, "hevc");
    for (const auto &name : names(fs::temp_directory_path()))
        EXPECT_FALSE(name.starts_with("Kestrel-")) << "a search leaves nothing behind";
}

TEST_F(FileConversionTest, aKnownSampleIsUsedAndNotMeasuredAgain)
{
    scoringFFmpeg(980, 6);
    SampleResult sample;
    sample.qualityValue = 31;
    sample.vmafTarget = 92.5;
    sample.videoBitrate = 1000;
    const auto result = run(probe(folder.put(Clips::film(), "Film.mkv")), sample);
    EXPECT_FALSE(measured);
    EXPECT_EQ(readFile(toolbox / "crf"), "31\n");
}

TEST_F(FileConversionTest, aSampleWithoutATargetIsEnoughUntilSomethingMeasures)
{
    scoringFFmpeg(980, 6);
    settings.quality = QualityLevel::high;
    tools.mayMeasure = false;
    const fs::path film = folder.put(Clips::film(), "Film.mkv");
    run(probe(film));
    ASSERT_TRUE(measured);
    const SampleResult unscored = *measured;
    EXPECT_FALSE(unscored.vmafTarget || unscored.vmafMean);
    EXPECT_EQ(readFile(toolbox / "crf"), "23\n23\n");

    folder.put(Clips::film(), "Film.mkv");
    run(probe(film), unscored);
    EXPECT_FALSE(measured);
    EXPECT_EQ(readFile(toolbox / "crf"), "23\n23\n23\n");

    tools.mayMeasure = true;
    folder.put(Clips::film(), "Film.mkv");
    run(probe(film), unscored);
    ASSERT_TRUE(measured);
    EXPECT_EQ(measured->vmafTarget, 95.0);
}

TEST_F(FileConversionTest, aFilmThatWouldHardlyShrinkIsLeftAsItIs)
{
    SampleResult sample;
    sample.vmafTarget = 92.5;
    sample.videoBitrate = 1e12;
    const fs::path film = folder.put(Clips::film(), "Film.mkv");
    const MediaInfo info = probe(film);

    const auto result = run(info, sample);
    EXPECT_EQ(result.outcome.kind, ConversionOutcome::Kind::noSavings);
    EXPECT_EQ(result.outcome.originalSize, info.fileSize);
    EXPECT_EQ(readFile(film), readFile(Clips::film()));

    // Where there is something else to do, the picture is copied. Without the muxer's name the source is
    // smaller than any copy.
    const fs::path bare =
        Clips::make("bare.mkv", "-i " + quoted(Clips::film()) + " -c copy -fflags +bitexact");
    const fs::path mov = folder.put(bare, "Film.mov");
    settings.outputMode = OutputMode::separateFolder;
    const fs::path made = ConversionJob::targetURL(mov, settings, folder.path());
    run(probe(mov), sample);
    EXPECT_EQ(runningReports > 0, true);
    EXPECT_FALSE(fs::exists(made)) << "a bare copy saves nothing";
}

TEST_F(FileConversionTest, whatIsThereAlreadyIsNotConvertedAgain)
{
    settings.outputMode = OutputMode::separateFolder;
    const MediaInfo info = probe(folder.put(Clips::film(), "Film.mkv"));
    const auto first = run(info);
    EXPECT_FALSE(first.wasConvertedBefore);
    const fs::path target = *first.outcome.finalURL;

    const auto second = run(info);
    EXPECT_TRUE(second.wasConvertedBefore);
    EXPECT_EQ(second.outcome.kind, ConversionOutcome::Kind::written);
    EXPECT_EQ(second.outcome.newSize, static_cast<std::int64_t>(fs::file_size(target)));
    EXPECT_EQ(second.outcome.finalURL, target);

    settings.codec = VideoCodecChoice::av1SVT;
    EXPECT_FALSE(run(info).wasConvertedBefore) << "another codec is asked for";
    std::ofstream(target) << "no video";
    EXPECT_FALSE(run(info).wasConvertedBefore) << "what lies there is not readable";
    fs::remove_all(target.parent_path());
}

TEST_F(FileConversionTest, aTurnedFilmIsConvertedOnce)
{
    settings.outputMode = OutputMode::separateFolder;
    const fs::path film = folder.put(
        Clips::make("to-turn.mp4",
                    "-f lavfi -i testsrc2=s=320x180:r=25:d=1 -c:v libx264 -preset ultrafast -crf 1"),
        "Film.mp4");
    Mp4::turn(film, 1);
    const auto first = run(probe(film));
    EXPECT_FALSE(first.wasConvertedBefore);
    EXPECT_EQ(probe(*first.outcome.finalURL).video->seenSize(), (FrameSize{180, 320}));
    EXPECT_TRUE(run(probe(film)).wasConvertedBefore);
    fs::remove_all(first.outcome.finalURL->parent_path());
}

// The source of the old result may be gone: the result is all that is left of that film.
TEST_F(FileConversionTest, anotherFilmsResultIsNeitherOverwrittenNorTakenForThisOne)
{
    settings.outputMode = OutputMode::separateFolder;
    const fs::path beside = folder.path().native() + " (Kestrel)";
    const fs::path result = Clips::make(
        "earlier-result.mkv", "-f lavfi -i testsrc2=s=320x240:r=25:d=2 -f lavfi -i sine=d=2 -c:v libx265 "
                              "-preset ultrafast -x265-params log-level=error -c:a ac3");
    fs::create_directories(beside);
    fs::copy_file(result, beside / "Film.mkv");
    fs::last_write_time(beside / "Film.mkv", fs::file_time_type::clock::now() - std::chrono::hours(50));

    const fs::path film = folder.put(Clips::film(), "Film.avi");
    const auto first = run(probe(film));
    EXPECT_FALSE(first.wasConvertedBefore);
    EXPECT_EQ(first.outcome.finalURL, beside / "Film (Kestrel).mkv");
    EXPECT_EQ(readFile(beside / "Film.mkv"), readFile(result));
    EXPECT_TRUE(run(probe(film)).wasConvertedBefore);
    fs::remove_all(beside);
}

TEST_F(FileConversionTest, twoSourcesOfOneNameGetTwoTargets)
{
    settings.outputMode = OutputMode::separateFolder;
    const MediaInfo one = probe(folder.put(Clips::film(), "film.mov"));
    const MediaInfo two = probe(folder.put(Clips::film(), "film.m4v"));
    const fs::path output = ConversionJob::outputRoot(folder.path());
    EXPECT_EQ(run(one).outcome.finalURL, output / "film.mkv");
    EXPECT_EQ(run(two).outcome.finalURL, output / "film (Kestrel).mkv");
    EXPECT_TRUE(run(one).wasConvertedBefore);
    EXPECT_TRUE(run(two).wasConvertedBefore);
    fs::remove_all(output);
}

TEST_F(FileConversionTest, aFileReplacedBeforeItsTurnIsLookedAtAgain)
{
    const fs::path film = folder.put(Clips::film(), "Film.mkv");
    const MediaInfo before = probe(film);
    folder.put(Clips::make("two-tracks.mkv", "-i " + quoted(Clips::film()) +
                                                 " -map 0 -map 0:a -c copy -metadata:s:a:1 language=ger"),
               "Film.mkv");
    const auto result = run(before);
    ASSERT_TRUE(result.newInfo);
    EXPECT_EQ(result.newInfo->audio.size(), 2U);
}

TEST_F(FileConversionTest, tellsWhyInGerman)
{
    const fs::path film = folder.put(Clips::film(), "Film.mkv");
    MediaInfo info = probe(film);
    info.duration = 0;
    EXPECT_EQ(failure(info), "Qualitätssuche fehlgeschlagen: Laufzeit unbekannt");
    info.duration = 2;
    ffmpeg("echo kaputt >&2; exit 1");
    EXPECT_EQ(failure(info), "Qualitätssuche fehlgeschlagen: Probekodierung fehlgeschlagen: kaputt");
    tools.hasVMAF = tools.mayMeasure = true;
    ffmpeg("case \"$*\" in *libvmaf*) echo kein Modell >&2; exit 0;; esac; exec /usr/bin/ffmpeg \"$@\"");
    EXPECT_EQ(failure(info), "Qualitätssuche fehlgeschlagen: VMAF-Messung fehlgeschlagen: kein Modell");
    fs::remove(film);
    EXPECT_EQ(failure(info), "Datei ist nicht mehr vorhanden.");
}

TEST_F(FileConversionTest, anOriginalThatCannotBeMovedIsFoundOutBeforeAnyWork)
{
    const fs::path film = folder.put(Clips::film(), "Film.mov");
    const MediaInfo info = probe(film);
    if (!shell("chattr +i " + quoted(film) + " 2>/dev/null"))
        GTEST_SKIP() << "chattr +i needs root and a file system that knows it";
    const auto unlock = onExit([&] { shell("chattr -i " + quoted(film)); });
    ffmpeg("touch " + quoted(toolbox / "ran"));
    for (const auto codec : {VideoCodecChoice::hevcX265, VideoCodecChoice::keepVideo}) {
        settings.codec = codec;
        ASSERT_FALSE(Planner::plan(info, settings, std::nullopt).isNoop);
        EXPECT_EQ(
            failure(info),
            "Das Original ist gegen Änderungen gesperrt (chattr +i oder +a) und ließe sich nicht in den "
            "Papierkorb legen – es bleibt, wie es ist.");
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
    const MediaInfo info = probe(folder.put(Clips::film(), "Filme/Serie/Film.mkv"));
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
    SampleResult sample;
    sample.vmafTarget = 92.5;
    sample.qualityValue = 30;
    const fs::path film = folder.put(Clips::film(), "Film.mkv");
    ffmpeg("touch " + quoted(toolbox / "ran"));
    FileConversion conversion({probe(film), settings, tools, folder.path(), sample});
    conversion.suspend();
    std::stop_source stop;
    bool wasCancelled = false;
    std::jthread worker([&] {
        try {
            conversion.run({[](double) {}, [](const auto &) {}, [](double, double) {}, [] {}},
                           stop.get_token());
        } catch (const Cancelled &) {
            wasCancelled = true;
        }
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    stop.request_stop();
    worker.join();
    EXPECT_TRUE(wasCancelled);
    EXPECT_FALSE(fs::exists(toolbox / "ran"));
}

} // namespace
} // namespace kestrel::test
