#include "model/ModelFixture.h"
#include "model/ProbeClip.h"

namespace kestrel::test {
namespace {

class SamplingTest : public ModelTest {
protected:
    void makeClip()
    {
        model->makeProbeClip();
        EXPECT_TRUE(idle());
    }
    static constexpr const char *noneNeeded =
        "Für diese Einstellungen liegen schon Stichproben vor (oder es wird nichts neu kodiert).";

    std::vector<std::string> sampled() const
    {
        std::vector<std::string> files;
        for (const auto &file : model->library().items())
            if (!file->samples.empty())
                files.push_back(file->name());
        return files;
    }
};

TEST_F(SamplingTest, filesAreSpreadOverTheLibraryAndTakenOnce)
{
    for (int i = 0; i < 10; ++i)
        film(std::to_string(i) + ".mkv");
    ffmpeg(measurable);
    startAndScan();
    model->library().setIncluded({folder / "9.mkv"}, false);
    model->startSampling(3, {});
    EXPECT_EQ(model->activity(), (Activity{Activity::Kind::sampling, 0, 3}));
    EXPECT_TRUE(idle());
    EXPECT_THAT(sampled(), ElementsAre("1.mkv", "4.mkv", "7.mkv"));
    EXPECT_EQ(item("1.mkv").estimate->kind, SizeEstimate::Kind::measured);
    EXPECT_EQ(item("0.mkv").estimate->kind, SizeEstimate::Kind::calibrated) << "learnt from the others";

    sample(3);
    EXPECT_EQ(sampled().size(), 6U) << "others this time";
    sample(12);
    EXPECT_EQ(sampled().size(), 9U);
    model->startSampling({}, {});
    EXPECT_EQ(model->message(), noneNeeded);

    changeSettings([](auto &settings) { settings.audioLanguages = {"eng"}; });
    model->startSampling({}, {});
    EXPECT_FALSE(model->isBusy()) << "the same picture";
    changeSettings([](auto &settings) { settings.codec = VideoCodecChoice::keepVideo; });
    model->startSampling({}, Library::Ids{folder / "9.mkv"});
    EXPECT_EQ(model->message(), "Für diese Datei wird kein Video neu kodiert.");
    changeSettings([](auto &settings) { settings.codec = VideoCodecChoice::av1SVT; });
    sample({}, Library::Ids{folder / "3.mkv"});
    EXPECT_EQ(item("3.mkv").samples.size(), 2U) << "the old one stays";
}

TEST_F(SamplingTest, aSampleWithoutATargetIsEnoughUntilSomethingMeasures)
{
    scoringFfmpeg(measurable);
    measuresQuality = false;
    scan({"a.mkv", "b.mkv"});
    const std::string key = model->settings().videoKey();
    giveSample("b.mkv"); // with a target
    model->startSampling({}, {});
    EXPECT_EQ(model->activity().total, 1U) << "the searched one is enough";
    EXPECT_TRUE(idle());
    EXPECT_FALSE(item("a.mkv").sample(key)->vmafTarget);
    model->startSampling({}, {});
    EXPECT_EQ(model->message(), noneNeeded);

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

TEST_F(SamplingTest, neitherAFailureNorChangedSettingsTouchTheOthers)
{
    ffmpeg("echo \"$*\" >> " + tool("calls") +
           "; case \"$*\" in *a.mkv*) echo kaputt >&2; exit 1;; esac; sleep 0.1; " + measurable);
    scan({"a.mkv", "b.mkv"});
    const std::string key = model->settings().videoKey();
    model->startSampling({}, {});
    changeSettings([](auto &settings) { settings.resolution = TargetResolution::p720; });
    EXPECT_TRUE(idle());
    EXPECT_THAT(sampled(), ElementsAre("b.mkv"));
    EXPECT_NE(item("b.mkv").sample(key), nullptr);
    EXPECT_EQ(readFile(toolbox / "calls").find("scale"), std::string::npos) << "of another picture";
    EXPECT_EQ(model->message(),
              "Stichprobe für „a.mkv“ fehlgeschlagen: Probekodierung fehlgeschlagen: kaputt");
    EXPECT_FALSE(item("a.mkv").isSampling);
    changeSettings([](auto &settings) { settings.resolution = TargetResolution::original; });
    model->startSampling({}, {});
    EXPECT_EQ(model->activity().total, 1U) << "it can be measured again";
    stop();
}

TEST_F(SamplingTest, aStopKeepsWhatIsMeasured)
{
    ffmpeg(std::string("case \"$*\" in *b.mkv*) sleep 1000;; esac; ") + measurable);
    scan({"a.mkv", "b.mkv"});
    model->startSampling({}, {});
    EXPECT_TRUE(eventually([&] { return model->activity().done == 1; }));
    stop();
    EXPECT_EQ(model->message(), std::nullopt);
    EXPECT_THAT(sampled(), ElementsAre("a.mkv"));
}

TEST_F(SamplingTest, aClipComesFromTheLaterPartOrIsTheWholeFile)
{
    EXPECT_EQ(ProbeClip::segmentOf(40), (Segment{0, 40}));
    EXPECT_EQ(ProbeClip::segmentOf(100), (Segment{35, 60}));
    EXPECT_EQ(ProbeClip::segmentOf(70), (Segment{10, 60}));

    fs::resize_file(film("Film.mkv"), 2'000'000); // large enough for an hour
    fs::last_write_time(folder / "Film.mkv", fs::file_time_type::clock::now() - std::chrono::hours(1));
    ffprobe("", "3600");
    ffmpeg("echo \"$*\" > " + tool("call") + "; echo clip > \"$last\"");
    startAndScan();
    model->makeProbeClip();
    EXPECT_FALSE(model->isBusy()) << "nothing is selected";
    model->library().setSelection({folder / "Film.mkv"});
    fs::path made;
    QObject::connect(model.get(), &AppModel::clipMade, [&](const auto &clip) { made = clip; });
    makeClip();
    EXPECT_EQ(made, home() / "Movies/Kestrel Probeclips/Film – Probeclip HEVC Hoch.mkv");
    EXPECT_EQ(readFile(made), "clip\n");
    EXPECT_EQ(model->message(),
              "Probeclip gespeichert: Film – Probeclip HEVC Hoch.mkv – auf das NAS kopieren und am "
              "Fernseher testen.");
    EXPECT_THAT(readFile(toolbox / "call"), HasSubstr("-ss 1260"));

    ffmpeg(
        R"(case "$*" in *'-ss 1260.000 -t 60.000 -fflags +genpts -i '*) echo 'with times' > "$last"; exit;; esac
echo "[matroska @ 0x564652fe7b00] Can't write packet with unknown timestamp" >&2; exit 1)");
    makeClip();
    EXPECT_EQ(readFile(made), "with times\n");

    ffmpeg("echo half > \"$last\"; echo kaputt >&2; exit 1");
    makeClip();
    EXPECT_EQ(model->message(), "Probeclip fehlgeschlagen: kaputt");
    EXPECT_TRUE(model->isMessageOfProblem());
    EXPECT_THAT(names(made.parent_path()), ElementsAre(made.filename().native())) << "no partial file";
    EXPECT_EQ(readFile(made), "with times\n") << "the one from before stays";
    fs::remove_all(made.parent_path());
    std::ofstream(made.parent_path()) << "in the way";
    makeClip();
    EXPECT_THAT(*model->message(), StartsWith("Probeclip fehlgeschlagen: "));
    fs::remove(made.parent_path());
}

} // namespace
} // namespace kestrel::test
