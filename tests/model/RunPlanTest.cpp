#include "model/ActivityText.h"
#include "model/FileState.h"
#include "model/ModelFixture.h"
#include "model/StatusReport.h"

namespace kestrel::test {
namespace {

// What every front shows of a run while it lasts and afterwards, whatever is changed meanwhile.
class RunPlanTest : public ModelTest {
protected:
    // Waits in each conversion until the file "go" is there.
    void slowFfmpeg()
    {
        ffmpeg("case \"$last\" in *.kestrel-tmp*) " + waitsFor("go") + writes(4) +
               ";; *) head -c 20000 /dev/zero > \"$last\";; esac");
    }
    std::string video(const std::string &name) const
    {
        const FileItem &file = item(name);
        return VideoText::of(*file.info, *file.shownPlan(), file.shownSettings(model->settings())).whole();
    }
    StatusSnapshot page() const { return statusSnapshot(*model); }
};

TEST_F(RunPlanTest, whatASearchFindsIsShownAtOnce)
{
    slowFfmpeg();
    scan({"a.mkv", "b.mkv"}, {.settings = ConversionSettings{.parallelJobs = 1}});
    const double guess = item("a.mkv").estimate->total();
    model->startConversion();
    ASSERT_TRUE(reaches<Status::Running>("a.mkv"));
    ASSERT_TRUE(
        eventually([&] { return item("a.mkv").shownEstimate()->kind == SizeEstimate::Kind::measured; }));
    EXPECT_EQ(item("a.mkv").estimate->kind, SizeEstimate::Kind::measured);
    const double measured = item("a.mkv").shownEstimate()->total();
    EXPECT_NE(measured, guess);
    EXPECT_EQ(item("a.mkv").row->estimateValue, measured) << "the table";
    EXPECT_DOUBLE_EQ(model->totals().estimatedBytes, measured + item("b.mkv").bytesAfter()) << "the sums";
    go();
    EXPECT_TRUE(idle());
}

TEST_F(RunPlanTest, settingsAndCheckMarksDoNotChangeARun)
{
    slowFfmpeg();
    library({"Serie/a.mkv", "Serie/b.mkv"});
    model->startConversion();
    ASSERT_TRUE(reaches<Status::Running>("Serie/a.mkv"));
    const Totals before = model->totals();
    const StatusSnapshot::Folder folderBefore = page().folders.at(0);
    const auto end = model->completionOf(*item("Serie/a.mkv").row->parent);
    ASSERT_TRUE(end.has_value());
    EXPECT_NE(folderBefore.eta, std::nullopt);
    const double rate = model->run()->rate({});

    changeSettings([](auto &settings) {
        settings.codec = VideoCodecChoice::keepVideo;
        settings.parallelJobs = 8;
    });
    model->library().setIncluded({folder / "Serie"}, false);
    EXPECT_TRUE(item("Serie/a.mkv").plan->isNoop) << "with the current settings";
    for (const char *name : {"Serie/a.mkv", "Serie/b.mkv"})
        EXPECT_EQ(video(name), "1080p · H.264 → HEVC");
    EXPECT_EQ(model->totals().estimatedBytes, before.estimatedBytes);
    EXPECT_EQ(model->totals().actionable, 2U);
    EXPECT_THAT(page().folders, ElementsAre(folderBefore));
    EXPECT_EQ(model->run()->rate({}), rate) << "„Gleichzeitig“ is of the next run";

    stop();
    EXPECT_EQ(video("Serie/a.mkv"), "1080p · H.264") << "back on the current settings";
    EXPECT_FALSE(item("Serie/b.mkv").inRun.has_value());
    EXPECT_EQ(model->totals().actionable, 0U);
    EXPECT_EQ(page().folders.at(0).count, 2U) << "of the run, also after it";
}

TEST_F(RunPlanTest, windowAndPageCountTheSameFilesOfAFolder)
{
    slowFfmpeg();
    library({"Serie/S1/a.mkv", "Serie/S1/b.mkv", "Serie/z.mkv", "d.mkv"});
    giveSample("Serie/S1/a.mkv", 9.9e6); // hardly smaller: left as it is
    item("Serie/S1/a.mkv").plan = PlannedFile::of(*item("Serie/S1/a.mkv").info, model->settings(), {}).plan;
    model->library().setIncluded({folder / "d.mkv"}, false);
    model->startConversion();
    ASSERT_TRUE(reaches<Status::Running>("Serie/S1/b.mkv"));
    EXPECT_EQ(item("Serie/S1/a.mkv").status, JobStatus(Status::NoSavings{10'000, false}));
    const auto expectSame = [&](const std::string &name, std::size_t processed, std::size_t count) {
        const auto folders = page().folders;
        const auto row =
            std::find_if(folders.begin(), folders.end(), [&](const auto &r) { return r.name == name; });
        ASSERT_NE(row, folders.end()) << name;
        const TableNode *node = item("Serie/S1/b.mkv").row->parent;
        const FolderProgress progress =
            folderProgress((name == "Serie" ? node->parent : node)->folderItems());
        EXPECT_EQ(std::tuple(row->processed, row->count), std::tuple(processed, count)) << name;
        EXPECT_EQ(std::tuple(progress.processed, progress.count), std::tuple(processed, count)) << name;
    };
    expectSame("Serie › S1", 1, 2);
    expectSame("Serie", 1, 3);
    const auto encoded = [&](double fraction) {
        model->library().change(item("Serie/S1/b.mkv"),
                                [&](FileItem &file) { file.status = Status::Running{fraction}; });
    };
    encoded(1);
    expectSame("Serie › S1", 1, 2); // encoded, but not yet checked
    EXPECT_EQ(page().folders[1].state, "working");

    model->togglePause();
    const TableNode &season = *item("Serie/S1/b.mkv").row->parent;
    EXPECT_EQ(model->completionOf(season), std::nullopt);
    EXPECT_EQ(page().folders[0].eta, std::nullopt) << "nobody knows when a pause ends";
    encoded(0.5);
    model->togglePause();
    const auto inner = model->completionOf(season), outer = model->completionOf(*season.parent);
    ASSERT_TRUE(inner && outer);
    EXPECT_LT(*inner, *outer) << "by the run's order, not all at the same hour";
    go();
    EXPECT_TRUE(idle());
    expectSame("Serie › S1", 2, 2);
    expectSame("Serie", 3, 3);
    EXPECT_EQ(page().tiles.back().icon == "clock" ? page().tiles.back().value : "–", "–");
}

TEST_F(RunPlanTest, aMeasurementMovesEverywhere)
{
    ffmpeg(
        "echo out_time_us=1000000; echo progress=continue; sleep 0.2; head -c 20000 /dev/zero > \"$last\"");
    scan({"a.mkv", "b.mkv"});
    model->startSampling(2, std::nullopt);
    std::vector<double> shown;
    QObject::connect(model.get(), &AppModel::sampling, [&](const FileItem &, double fraction) {
        EXPECT_EQ(page().progress, ActivityText::of(*model).progress);
        if (fraction > 0 && fraction < 1)
            shown.push_back(*page().progress);
    });
    EXPECT_TRUE(idle());
    EXPECT_TRUE(std::any_of(shown.begin(), shown.end(), [](double p) { return p > 0 && p < 0.5; }))
        << "between two files, too";
}

} // namespace
} // namespace kestrel::test
