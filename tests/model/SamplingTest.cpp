#include "model/ModelFixture.h"
#include "model/ProbeClip.h"

namespace kestrel::test {
namespace {

class SamplingTest : public ModelTest {
protected:
    std::vector<std::string> sampled() const
    {
        std::vector<std::string> files;
        for (const auto &file : model->library().items())
            if (!file->samples.empty())
                files.push_back(file->name());
        return files;
    }
    // What a measurement needs: an encode with some bytes.
    void measurable() { ffmpeg("head -c 100000 /dev/zero > \"$last\""); }
};

TEST_F(SamplingTest, filesAreSpreadOverTheLibraryAndTakenOnce)
{
    for (int i = 0; i < 10; ++i)
        film(std::to_string(i) + ".mkv");
    measurable();
    startAndScan();
    model->library().setIncluded({folder / "9.mkv"}, false);
    model->startSampling(3, {});
    EXPECT_EQ(model->activity(), (Activity{Activity::Kind::sampling, 0, 3}));
    EXPECT_TRUE(idle());
    EXPECT_THAT(sampled(), ElementsAre("1.mkv", "4.mkv", "7.mkv"));
    EXPECT_EQ(item("1.mkv").estimate->kind, SizeEstimate::Kind::measured);
    EXPECT_EQ(item("0.mkv").estimate->kind, SizeEstimate::Kind::calibrated) << "learnt from the others";

    model->startSampling(3, {});
    EXPECT_TRUE(idle());
    EXPECT_EQ(sampled().size(), 6U) << "others this time";
    model->startSampling(12, {});
    EXPECT_TRUE(idle());
    EXPECT_EQ(sampled().size(), 9U);
    model->startSampling({}, {});
    EXPECT_EQ(model->message(),
              "Für diese Einstellungen liegen schon Stichproben vor (oder es wird nichts neu kodiert).");

    ConversionSettings settings = model->settings();
    settings.audioLanguages = {"eng"};
    model->setSettings(settings);
    model->startSampling({}, {});
    EXPECT_FALSE(model->isBusy()) << "the same picture";
    settings.codec = VideoCodecChoice::keepVideo;
    model->setSettings(settings);
    model->startSampling({}, Library::Ids{folder / "9.mkv"});
    EXPECT_EQ(model->message(), "Für diese Datei wird kein Video neu kodiert.");
    settings.codec = VideoCodecChoice::av1SVT;
    model->setSettings(settings);
    model->startSampling({}, Library::Ids{folder / "3.mkv"});
    EXPECT_TRUE(idle());
    EXPECT_EQ(item("3.mkv").samples.size(), 2U) << "the old one stays";
}

TEST_F(SamplingTest, aSampleWithoutATargetIsEnoughUntilSomethingMeasures)
{
    film("a.mkv");
    film("b.mkv");
    scoringFfmpeg("head -c 100000 /dev/zero > \"$last\"");
    measuresQuality = false;
    startAndScan();
    const std::string key = model->settings().videoKey();
    giveSample("b.mkv"); // with a target
    model->startSampling({}, {});
    EXPECT_EQ(model->activity().total, 1U) << "the searched one is enough";
    EXPECT_TRUE(idle());
    EXPECT_FALSE(item("a.mkv").sample(key)->vmafTarget);
    model->startSampling({}, {});
    EXPECT_EQ(model->message(),
              "Für diese Einstellungen liegen schon Stichproben vor (oder es wird nichts neu kodiert).");

    model->setMeasuresQuality(true);
    model->startSampling({}, {});
    EXPECT_EQ(model->activity().total, 1U);
    model->setMeasuresQuality(false); // of the next run
    EXPECT_TRUE(idle());
    EXPECT_EQ(item("a.mkv").sample(key)->vmafTarget, 95.0);
    EXPECT_NEAR(*item("a.mkv").sample(key)->vmafMean, 95.2, 1e-9);
    model->startSampling({}, {});
    EXPECT_FALSE(model->isBusy());
}

TEST_F(SamplingTest, whetherQualityIsMeasuredIsStoredApartFromTheSettings)
{
    measuresQuality.reset();
    start();
    EXPECT_TRUE(model->measuresQuality()) << "from the start";
    EXPECT_EQ(model->tools()->measuring(), Measuring::builtIn);
    const std::string key = model->settings().videoKey();
    int changes = 0;
    QObject::connect(model.get(), &AppModel::toolsChanged, [&] { ++changes; });
    model->setMeasuresQuality(false);
    model->setMeasuresQuality(false);
    EXPECT_EQ(changes, 1);
    EXPECT_EQ(model->tools()->measuring(), Measuring::nothing);
    EXPECT_EQ(model->settings().videoKey(), key);
    EXPECT_EQ(UserDefaults::standard().settings(), std::nullopt);

    start();
    EXPECT_FALSE(model->measuresQuality());
    EXPECT_EQ(model->tools()->measuring(), Measuring::nothing);
    start({.measuresQuality = true, .persists = false});
    EXPECT_TRUE(model->measuresQuality());
    EXPECT_EQ(UserDefaults::standard().measuresQuality(), false) << "for this start only";
    std::ofstream(UserDefaults::standard().file()) << "[General]\nmeasuresQuality=vielleicht\n";
    start();
    EXPECT_TRUE(model->measuresQuality());
}

TEST_F(SamplingTest, aFailureIsToldAndTheOthersGoOn)
{
    film("a.mkv");
    film("b.mkv");
    ffmpeg("case \"$*\" in *a.mkv*) echo kaputt >&2; exit 1;; esac; head -c 100000 /dev/zero > \"$last\"");
    startAndScan();
    model->startSampling({}, {});
    EXPECT_TRUE(idle());
    EXPECT_THAT(sampled(), ElementsAre("b.mkv"));
    EXPECT_EQ(model->message(),
              "Stichprobe für „a.mkv“ fehlgeschlagen: Probekodierung fehlgeschlagen: kaputt");
    EXPECT_FALSE(item("a.mkv").isSampling);
    model->startSampling({}, {});
    EXPECT_TRUE(model->isBusy()) << "it can be measured again";
    model->stop();
    EXPECT_TRUE(idle());
}

TEST_F(SamplingTest, settingsThatChangeMeanwhileDoNotTouchIt)
{
    film("a.mkv");
    film("b.mkv");
    ffmpeg("echo \"$*\" >> " + quoted(toolbox / "calls") +
           "; sleep 0.1; head -c 100000 /dev/zero > \"$last\"");
    startAndScan();
    const std::string key = model->settings().videoKey();
    model->startSampling({}, {});
    ConversionSettings other = model->settings();
    other.resolution = TargetResolution::p720;
    model->setSettings(other);
    EXPECT_TRUE(idle());
    for (const char *name : {"a.mkv", "b.mkv"})
        EXPECT_NE(item(name).sample(key), nullptr);
    EXPECT_EQ(readFile(toolbox / "calls").find("scale"), std::string::npos) << "of another picture";
}

TEST_F(SamplingTest, aStopKeepsWhatIsMeasured)
{
    film("a.mkv");
    film("b.mkv");
    ffmpeg("case \"$*\" in *b.mkv*) sleep 1000;; esac; head -c 100000 /dev/zero > \"$last\"");
    startAndScan();
    model->startSampling({}, {});
    EXPECT_TRUE(eventually([&] { return model->activity().done == 1; }));
    model->stop();
    EXPECT_TRUE(idle());
    EXPECT_EQ(model->message(), std::nullopt);
    EXPECT_THAT(sampled(), ElementsAre("a.mkv"));
}

TEST_F(SamplingTest, aMeasurementThatShowsNoSavingsKeepsTheVideo)
{
    film("a.mkv");
    startAndScan();
    giveSample("a.mkv", 9.1e6);
    const auto *copy = std::get_if<CopyVideo>(&item("a.mkv").plan->video);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->reason, "Messung: bei gleicher Qualität kaum Ersparnis – bleibt unverändert");
    giveSample("a.mkv", 8.9e6);
    EXPECT_EQ(item("a.mkv").plan->qualityValue, 30);
}

TEST_F(SamplingTest, aClipComesFromTheLaterPartOrIsTheWholeFile)
{
    EXPECT_EQ(ProbeClip::segmentOf(40), (Segment{0, 40}));
    EXPECT_EQ(ProbeClip::segmentOf(100), (Segment{35, 60}));
    EXPECT_EQ(ProbeClip::segmentOf(70), (Segment{10, 60}));

    fs::resize_file(film("Film.mkv"), 2'000'000); // large enough for an hour
    fs::last_write_time(folder / "Film.mkv", fs::file_time_type::clock::now() - std::chrono::hours(1));
    ffprobe("", "3600");
    ffmpeg("echo \"$*\" > " + quoted(toolbox / "call") + "; echo clip > \"$last\"");
    startAndScan();
    model->makeProbeClip();
    EXPECT_FALSE(model->isBusy()) << "nothing is selected";
    model->library().setSelection({folder / "Film.mkv"});
    fs::path made;
    QObject::connect(model.get(), &AppModel::clipMade, [&](const auto &clip) { made = clip; });
    model->makeProbeClip();
    EXPECT_TRUE(idle());
    EXPECT_EQ(made, home() / "Movies/Kestrel Probeclips/Film – Probeclip HEVC Hoch.mkv");
    EXPECT_EQ(readFile(made), "clip\n");
    EXPECT_EQ(model->message(),
              "Probeclip gespeichert: Film – Probeclip HEVC Hoch.mkv – auf das NAS kopieren und am "
              "Fernseher testen.");
    EXPECT_THAT(readFile(toolbox / "call"), HasSubstr("-ss 1260"));

    ffmpeg(
        R"(case "$*" in *'-ss 1260.000 -t 60.000 -fflags +genpts -i '*) echo 'with times' > "$last"; exit;; esac
echo "[matroska @ 0x564652fe7b00] Can't write packet with unknown timestamp" >&2; exit 1)");
    model->makeProbeClip();
    EXPECT_TRUE(idle());
    EXPECT_EQ(readFile(made), "with times\n");

    ffmpeg("echo half > \"$last\"; echo kaputt >&2; exit 1");
    model->makeProbeClip();
    EXPECT_TRUE(idle());
    EXPECT_EQ(model->message(), "Probeclip fehlgeschlagen: kaputt");
    EXPECT_TRUE(model->isMessageOfProblem());
    EXPECT_THAT(names(made.parent_path()), ElementsAre(made.filename().native())) << "no partial file";
    EXPECT_EQ(readFile(made), "with times\n") << "the one from before stays";
    fs::remove_all(made.parent_path());
    std::ofstream(made.parent_path()) << "in the way";
    model->makeProbeClip();
    EXPECT_TRUE(idle());
    EXPECT_THAT(*model->message(), StartsWith("Probeclip fehlgeschlagen: "));
    fs::remove(made.parent_path());
}

} // namespace
} // namespace kestrel::test
