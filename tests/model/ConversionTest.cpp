#include "model/ModelFixture.h"
#include "support/Buses.h"
#include "support/Mounts.h"

namespace kestrel::test {
namespace {

// The state of a process whose number a stand-in has written down: 'T' is frozen.
char stateOf(const fs::path &pid)
{
    std::string number = readFile(pid);
    while (!number.empty() && number.back() == '\n')
        number.pop_back();
    const std::string status = readFile("/proc/" + number + "/stat");
    const auto end = status.rfind(") ");
    return end == std::string::npos ? '-' : status.at(end + 2);
}

class ConversionTest : public ModelTest {
protected:
    // The films, and the results beside their folder.
    void library(const std::vector<std::string> &files, std::int64_t jobs = 2)
    {
        ModelTest::library(files, jobs);
        changeSettings([](auto &settings) { settings.outputMode = OutputMode::separateFolder; });
    }
    // The process that the stand-in has written down.
    bool isProcess(char state)
    {
        return eventually([&] { return stateOf(toolbox / "pid") == state; });
    }
    // The states that a run goes through, however short they are.
    std::vector<std::size_t> statesOfRun()
    {
        std::vector<std::size_t> states;
        const QObject untilTheEnd;
        QObject::connect(&model->library(), &Library::itemChanged, &untilTheEnd, [&](const FileItem &file) {
            if (states.empty() || states.back() != file.status.index())
                states.push_back(file.status.index());
        });
        convert();
        return states;
    }
    template <typename... States>
    static std::vector<std::size_t> indexesOf()
    {
        return {JobStatus(States{}).index()...};
    }
    ~ConversionTest() override { fs::remove_all(folder.path().native() + " (Kestrel)"); }
};

TEST_F(ConversionTest, convertsInTheTablesOrderWithSoManySlots)
{
    ffmpeg(countsItself("sleep 0.1") + writes(5));
    library({"a.mkv", "b.mkv", "c.mkv", "d.mkv", "e.mkv"});
    model->library().setSortOrder({{RowComparator::Column::name, false}});
    model->library().setIncluded({folder / "b.mkv"}, false);
    std::vector<std::string> badges;
    QObject::connect(model.get(), &AppModel::badgeChanged,
                     [&](const auto &text) { badges.push_back(text.value_or("none")); });
    int attention = 0;
    QObject::connect(model.get(), &AppModel::attentionRequested, [&] { ++attention; });

    model->startConversion();
    EXPECT_TRUE(is<Status::Queued>(item("a.mkv").status));
    EXPECT_EQ(model->run()->total, 4U);
    EXPECT_THAT(model->run()->order,
                ElementsAre(folder / "e.mkv", folder / "d.mkv", folder / "c.mkv", folder / "a.mkv"));
    model->rescan(); // ignored while busy
    EXPECT_TRUE(idle());

    EXPECT_THAT(counts(), testing::AllOf(testing::Contains(2), testing::Each(testing::Le(2))));
    const RunStats &run = *model->run();
    EXPECT_EQ(std::tuple(run.converted, run.bytesBefore, run.bytesAfter), std::tuple(4, 40'000, 20'000));
    EXPECT_EQ(item("a.mkv").status, JobStatus(Status::Done{10'000, 5'000}));
    EXPECT_TRUE(is<Status::Idle>(item("b.mkv").status));
    EXPECT_THAT(run.finishedText(), StartsWith("Fertig: 4 konvertiert – Dauer "));
    EXPECT_EQ(model->runProgress(), 1);
    EXPECT_EQ(badges.front() + ", " + badges.back(), "0 %, none");
    EXPECT_EQ(attention, 1);

    model->startConversion();
    EXPECT_FALSE(model->isBusy());
    EXPECT_EQ(model->message(), "Es gibt nichts zu konvertieren.");
    EXPECT_EQ(model->run()->converted, 4U) << "the last run's books stay";
}

TEST_F(ConversionTest, whatFailedOrSavedNothingIsTriedAgain)
{
    library({"a.mkv", "b.mkv", "c.mkv"}, 0);
    ffmpeg("case \"$last\" in *.a.*) echo kaputt >&2; exit 1;; *.b.*) " + writes(10) + ";; *) " + writes(5) +
           ";; esac");
    fs::remove(folder / "c.mkv");
    convert();
    EXPECT_EQ(item("a.mkv").status, JobStatus(Status::Failed{"ffmpeg meldet einen Fehler (1):\nkaputt"}));
    EXPECT_EQ(item("b.mkv").status, JobStatus(Status::NoSavings{10'000}));
    EXPECT_EQ(item("c.mkv").status, JobStatus(Status::Failed{"Datei ist nicht mehr vorhanden."}));
    EXPECT_THAT(model->run()->finishedText(),
                StartsWith("Fertig: 0 konvertiert · 1 ohne Ersparnis übersprungen · 2 mit Fehler – Dauer "));
    film("c.mkv");
    ffmpeg(writes(5));
    convert();
    EXPECT_EQ(model->run()->converted, 3U);
}

TEST_F(ConversionTest, replacedFilesAreLookedAtAgain)
{
    ModelTest::library({"a.avi"});
    ffmpeg(writes(5));
    convert();
    const FileItem &file = item("a.avi");
    EXPECT_EQ(file.url, folder / "a.mkv");
    EXPECT_EQ(file.info->url, folder / "a.mkv");
    EXPECT_EQ(file.info->fileSize, 5'000);
    EXPECT_EQ(model->totals().sourceBytes, 10'000) << "before the run";
    EXPECT_EQ(model->totals().estimatedBytes, 5'000);
    changeSettings([](auto &settings) { settings.codec = VideoCodecChoice::keepVideo; });
    EXPECT_EQ(file.converted.value().whole(), "1080p · H.264 → HEVC") << "whatever is chosen now";
}

TEST_F(ConversionTest, aPauseFreezesAndDoesNotCountAndNewSettingsWait)
{
    ffmpeg("echo \"$*\" >> " + tool("calls") + "; echo $$ > " + tool("pid") + "; [ -e " + tool("fast") +
           " ] || sleep 1\n" + writes(5));
    library({"a.mkv", "b.mkv"}, 1);
    model->startConversion();
    EXPECT_TRUE(isProcess('S'));
    model->togglePause();
    EXPECT_TRUE(model->isPaused());
    EXPECT_TRUE(isProcess('T'));
    const auto begun = RunStats::Clock::now();
    const double active = model->run()->activeSeconds();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    settle();
    EXPECT_NEAR(model->run()->activeSeconds(), active, 0.05);
    changeSettings([](auto &settings) { settings.codec = VideoCodecChoice::av1SVT; });
    go("fast");
    model->togglePause();
    const std::chrono::duration<double> paused = RunStats::Clock::now() - begun;
    EXPECT_NEAR(model->run()->pausedTotal.count(), paused.count(), 0.1);
    EXPECT_TRUE(idle());
    EXPECT_EQ(model->run()->converted, 2U);
    EXPECT_FALSE(model->isPaused());
    EXPECT_EQ(readFile(toolbox / "calls").find("svtav1"), std::string::npos) << "of the next run";
}

TEST_F(ConversionTest, theComputerStaysAwakeForAsLongAsWorkLasts)
{
    Buses buses;
    if (buses.problem())
        GTEST_SKIP() << *buses.problem();
    const std::string manager = "org.gnome.SessionManager";
    ASSERT_TRUE(buses.serveSessionManager()) << buses.error(manager);
    const auto held = [&](int times, int given) {
        return eventually([&] {
            return buses.calls(manager, "Inhibit") == times && buses.calls(manager, "Uninhibit") == given;
        });
    };
    ffmpeg("sleep 1000");
    library({"a.mkv", "b.mkv"});
    model->startConversion();
    EXPECT_TRUE(held(1, 0));
    EXPECT_THAT(buses.log(manager), HasSubstr("Videos werden konvertiert"));
    const auto prevent = [&](bool wanted) {
        changeSettings([&](auto &settings) { settings.preventSleep = wanted; });
    };
    prevent(true); // nothing new
    prevent(false);
    EXPECT_TRUE(held(1, 1));
    prevent(true);
    EXPECT_TRUE(held(2, 1));
    stop();
    EXPECT_TRUE(held(2, 2));

    model->startSampling({}, {}); // every film has its sample
    changeSettings([](auto &settings) { settings.quality = QualityLevel::small; });
    model->startSampling({}, {});
    EXPECT_TRUE(held(3, 2));
    EXPECT_THAT(buses.log(manager), HasSubstr("Stichproben werden gemessen"));
    EXPECT_TRUE(eventually([&] { return model->sleepInhibitor().isGranted(); }));
    model.reset();
    EXPECT_TRUE(held(3, 3));
}

TEST_F(ConversionTest, aPauseAlsoFreezesTheQualitySearch)
{
    ffmpeg("echo $$ > " + tool("pid") + "; sleep 1000");
    scan({"a.mkv"});
    model->startConversion();
    EXPECT_TRUE(reaches<Status::Analyzing>("a.mkv"));
    EXPECT_TRUE(isProcess('S'));
    model->togglePause();
    EXPECT_TRUE(isProcess('T'));
    stop(); // a frozen process ends all the same
    EXPECT_TRUE(is<Status::Idle>(item("a.mkv").status));
    EXPECT_TRUE(isProcess('-'));

    model->startConversion();
    EXPECT_TRUE(isProcess('S'));
    stop();
    EXPECT_EQ(model->run()->failed, 0U);
    EXPECT_TRUE(isProcess('-'));
}

TEST_F(ConversionTest, aStopEndsEveryPhaseAndLeavesTheFiles)
{
    ffmpeg("echo out_time_us=1000000; echo progress=continue; sleep 1000");
    library({"a.mkv", "b.mkv", "c.mkv"});
    for (const bool isPaused : {false, true}) {
        model->startConversion();
        EXPECT_TRUE(reaches<Status::Running>("a.mkv") && reaches<Status::Running>("b.mkv"));
        if (isPaused)
            model->togglePause();
        stop();
        EXPECT_FALSE(model->isPaused());
        for (const char *name : {"a.mkv", "b.mkv", "c.mkv"})
            EXPECT_TRUE(is<Status::Idle>(item(name).status)) << name;
        EXPECT_THAT(model->run()->finishedText(),
                    HasSubstr("Fertig: 0 konvertiert · 3 abgebrochen – Dauer "));
        EXPECT_THAT(names(folder.path()), ElementsAre("a.mkv", "b.mkv", "c.mkv"));
    }
}

TEST_F(ConversionTest, aStopDuringTheUploadLeavesTheOriginal)
{
    const Sandbox server;
    const fs::path original = server.write("a.mkv", "");
    fs::resize_file(original, 2'000'000'000); // of holes
    fs::last_write_time(original, fs::file_time_type::clock::now() - std::chrono::hours(1));
    fs::create_directories(folder / "nas");
    const Mount share = Mount::share(server.path(), folder / "nas");
    SKIP_WITHOUT(share);
    ffmpeg("head -c 400000000 /dev/zero > \"$last\"");
    startAndScan();
    giveSample("nas/a.mkv");
    QObject::connect(&model->library(), &Library::itemChanged, [&](const FileItem &file) {
        if (is<Status::Uploading>(file.status))
            QMetaObject::invokeMethod(
                model.get(), [this] { model->stop(); }, Qt::QueuedConnection);
    });
    EXPECT_EQ(statesOfRun(), (indexesOf<Status::Queued, Status::Running, Status::Uploading, Status::Idle>()));
    EXPECT_THAT(names(server.path()), ElementsAre("a.mkv"));
    EXPECT_EQ(fs::file_size(original), 2'000'000'000U);
    EXPECT_THAT(names(home() / ".cache/Kestrel/Arbeit"), IsEmpty());
}

TEST_F(ConversionTest, whatWasMeasuredIsKeptWhenTheFileThenFails)
{
    ffmpeg("case \"$*\" in *Kestrel-*) head -c 100000 /dev/zero > \"$last\";; *) exit 1;; esac");
    scan({"a.mkv"});
    EXPECT_EQ(statesOfRun(),
              (indexesOf<Status::Queued, Status::Analyzing, Status::Running, Status::Failed>()));
    EXPECT_EQ(item("a.mkv").samples.size(), 1U);
    EXPECT_EQ(item("a.mkv").estimate->kind, SizeEstimate::Kind::measured);
}

TEST_F(ConversionTest, aStopWhilePausedBetweenTwoFilesEndsTheRun)
{
    ffmpeg("sleep 0.2\n" + writes(5));
    library({"a.mkv", "b.mkv"}, 1);
    model->startConversion();
    // The first file ends although the run is paused: its ffmpeg has just written its last byte.
    QObject::connect(model.get(), &AppModel::runChanged, [&] {
        if (model->run()->processed() == 1 && !model->isPaused())
            model->togglePause();
    });
    EXPECT_TRUE(eventually([&] { return model->run()->processed() == 1 && model->isPaused(); }));
    settle();
    EXPECT_TRUE(model->isBusy());
    stop();
    EXPECT_EQ(model->run()->converted, 1U);
}

TEST_F(ConversionTest, whatIsThereAlreadyCountsAsDoneButNotAsWork)
{
    library({"a.mkv", "b.mkv"}, 1);
    ffmpeg(writes(5));
    ffprobe("case \"$last\" in *Kestrel*) cat <<'END'\n"
            R"({"format": {"duration": "2", "format_name": "matroska"},
 "streams": [{"index": 0, "codec_type": "video", "codec_name": "hevc", "width": 1920, "height": 1080}]})"
            "\nEND\nexit;; esac");
    const fs::path beside = folder.path().native() + " (Kestrel)";
    fs::create_directories(beside);
    std::ofstream(beside / "a.mkv") << "converted";
    fs::last_write_time(beside / "a.mkv", fs::last_write_time(folder / "a.mkv"));
    convert();
    EXPECT_EQ(readFile(beside / "a.mkv"), "converted");
    EXPECT_EQ(model->run()->converted, 2U);
    EXPECT_EQ(model->run()->resumedWeight, model->run()->weight(folder / "a.mkv"));
    EXPECT_EQ(item("a.mkv").status, JobStatus(Status::Done{10'000, 9}));
}

TEST_F(ConversionTest, theFolderMayVanishDuringTheRun)
{
    ffmpeg("sleep 0.3\n" + writes(5));
    library({"a.mkv", "b.mkv", "c.mkv"}, 1);
    const fs::path away = folder.path().native() + "-away";
    model->startConversion();
    EXPECT_TRUE(reaches<Status::Running>("a.mkv"));
    fs::rename(folder.path(), away);
    EXPECT_TRUE(idle());
    EXPECT_GE(model->run()->failed, 2U);
    EXPECT_EQ(names(away).size(), 3U);
    fs::rename(away, folder.path());
    convert();
    EXPECT_EQ(model->run()->failed, 0U);
}

} // namespace
} // namespace kestrel::test
