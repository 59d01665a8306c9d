#include "model/Library.h"

#include <gmock/gmock.h>

#include "model/RunStats.h"
#include "support/Builders.h"

namespace kestrel {
namespace {

using test::aFilm;
using testing::ElementsAre;
namespace fs = std::filesystem;

class LibraryTest : public testing::Test {
protected:
    LibraryTest()
    {
        library.fill(Library::Contents(
            {"/f/Serie/Folge 2.mkv", "/f/Serie/Folge 10.mkv", "/f/Serie/Staffel 1/x.mkv", "/f/a.mkv"}, "/f"));
        std::int64_t size = 1'000'000'000;
        for (const auto &item : library.items()) {
            library.setInfo(*item, aFilm().fileSize(size).duration(static_cast<double>(size) / 1e6));
            size += 1'000'000'000;
        }
        library.recompute(settings);
    }
    FileItem &at(std::size_t index) { return *library.items()[index]; }
    std::vector<std::string> order() const
    {
        std::vector<std::string> names;
        for (const FileItem *item : library.filesInTableOrder())
            names.push_back(item->name());
        return names;
    }

    Library library;
    ConversionSettings settings;
};

TEST_F(LibraryTest, rowsFormATreeThatIsSortedAsPeopleSort)
{
    EXPECT_THAT(order(), ElementsAre("a.mkv", "Folge 2.mkv", "Folge 10.mkv", "x.mkv"));
    library.setSortOrder({{RowComparator::Column::size, false}});
    EXPECT_THAT(order(), ElementsAre("x.mkv", "Folge 10.mkv", "Folge 2.mkv", "a.mkv"));
    library.setSortOrder({{RowComparator::Column::duration, true}});
    EXPECT_THAT(order(), ElementsAre("a.mkv", "Folge 2.mkv", "Folge 10.mkv", "x.mkv"));

    const TableNode &root = library.root();
    ASSERT_EQ(root.children.size(), 2U);
    const TableNode &series = *root.children[1];
    EXPECT_EQ(series.id, "/f/Serie");
    EXPECT_EQ(std::tuple(series.sizeValue, series.durationValue, series.folderItems().size()),
              std::tuple(6'000'000'000, 6000, 3));
    EXPECT_THAT(library.expandedFolders(), ElementsAre("/f/Serie", "/f/Serie/Staffel 1"));
    library.toggleFolder("/f/Serie");
    EXPECT_THAT(library.expandedFolders(), ElementsAre("/f/Serie/Staffel 1"));
    library.setSelection({"/f/Serie"});
    EXPECT_EQ(library.selectedItem(), nullptr);
    library.setSelection({"/f/a.mkv"});
    EXPECT_EQ(library.selectedItem(), &at(3));
}

TEST_F(LibraryTest, aFolderSumsWhatItsFilesWillBe)
{
    const TableNode &series = *library.root().children[1];
    const double all = series.estimateValue;
    EXPECT_DOUBLE_EQ(all, at(0).estimateValue() + at(1).estimateValue() + at(2).estimateValue());
    library.setIncluded({"/f/Serie/Folge 2.mkv"}, false);
    EXPECT_DOUBLE_EQ(series.estimateValue, all - at(0).estimateValue() + 1e9) << "kept as it is";
    EXPECT_EQ(library.totals().files, 3U);
    library.setIncluded({"/f/Serie"}, std::nullopt);
    EXPECT_TRUE(at(0).included && !at(2).included && at(3).included);
}

TEST_F(LibraryTest, totalsCountWhatIsCounted)
{
    EXPECT_EQ(library.totals().actionable, 4U);
    library.change(at(0), [](FileItem &item) { item.status = Status::Done{1'000'000'000, 400'000'000}; });
    library.change(at(1), [](FileItem &item) { item.status = Status::NoSavings{1'900'000'000}; });
    const Totals &totals = library.totals();
    EXPECT_EQ(std::tuple(totals.files, totals.actionable, totals.sourceBytes),
              std::tuple(4, 3, 10'000'000'000));
    EXPECT_DOUBLE_EQ(totals.estimatedBytes, 4e8 + 2e9 + at(2).estimateValue() + at(3).estimateValue());
    const double seconds =
        at(1).estimate->encodeSeconds + at(2).estimate->encodeSeconds + at(3).estimate->encodeSeconds;
    EXPECT_DOUBLE_EQ(totals.encodeSeconds, seconds / parallelGain(settings.codec, settings.parallelJobs));
    EXPECT_EQ(totals.weakestKind, SizeEstimate::Kind::heuristic);
    EXPECT_EQ(Library().totals().weakestKind, std::nullopt);
}

TEST_F(LibraryTest, samplesTeachTheEstimatesOfTheOthers)
{
    const double guessed = at(1).estimateValue();
    SampleResult sample{.videoBitrate = 2e6,
                        .vmafMean = 94,
                        .megapixelsPerSecond = 1000,
                        .heuristicBitrate = 4e6,
                        .qualityValue = 27};
    library.setSample(at(0), settings.videoKey(), sample);
    library.recompute(settings);
    EXPECT_EQ(at(0).plan->qualityValue, 27);
    EXPECT_EQ(at(1).estimate->kind, SizeEstimate::Kind::calibrated);
    EXPECT_NEAR(at(1).estimate->videoBytes, guessed / 2, guessed * 0.05);
    EXPECT_THAT(library.totals().vmafValues, ElementsAre(94));

    const double calibrated = at(1).estimateValue();
    settings.quality = QualityLevel::small; // another key: nothing is known of it
    library.recompute(settings);
    EXPECT_EQ(at(1).estimate->kind, SizeEstimate::Kind::heuristic);
    settings.quality = QualityLevel::high;
    library.recompute(settings);
    EXPECT_EQ(at(1).estimateValue(), calibrated);
    sample.heuristicBitrate = 0;
    library.setSample(at(0), settings.videoKey(), sample);
    library.recompute(settings);
    EXPECT_EQ(at(1).estimate->kind, SizeEstimate::Kind::heuristic) << "nothing to learn from";
}

TEST_F(LibraryTest, aFileGoesByWhatHappensToIt)
{
    struct Case {
        JobStatus status;
        double fraction;
        bool isActionable;
    };
    for (const Case &c : {Case{Status::Idle{}, 0, true}, Case{Status::Queued{}, 0, true},
                          Case{Status::Analyzing{0.7}, 0, true}, Case{Status::Running{0.7}, 0.7, true},
                          Case{Status::Uploading{}, 0.99, true}, Case{Status::Failed{"x"}, 1, true},
                          Case{Status::NoSavings{1}, 1, true}, Case{Status::Done{2, 1}, 1, false}}) {
        at(0).status = c.status;
        EXPECT_EQ(at(0).runFraction(), c.fraction) << c.status.index();
        EXPECT_EQ(at(0).isActionable(), c.isActionable) << c.status.index();
    }
    const FileItem fresh("/f/Serie/x.mkv", "/f");
    EXPECT_TRUE(fresh.included && !fresh.isCounted());
    EXPECT_EQ(fresh.relativePath.native(), "Serie/x.mkv");
    EXPECT_EQ(fresh.folder(), "Serie");
}

TEST_F(LibraryTest, aRunCountsInEstimatedSeconds)
{
    using namespace std::chrono_literals;
    at(0).estimate->encodeSeconds = 0.2;
    at(1).estimate->encodeSeconds = 99;
    at(2).estimate->encodeSeconds = 100;
    RunStats run = RunStats::of({&at(0), &at(1), &at(2)}, settings);
    EXPECT_EQ(run.weight(at(0).id), 1);
    EXPECT_EQ(run.totalWeight, 200);
    const auto now = run.started + 100s;
    EXPECT_DOUBLE_EQ(run.activeSeconds(now), 100);
    run.usualRate = 4;
    run.pause(now - 50s);
    run.pause(now - 40s);
    run.resume(now - 20s);
    run.resume(now);
    EXPECT_EQ(run.pausedTotal, 30s) << "a call in the same state changes nothing";
    run.pause(now - 20s);
    EXPECT_DOUBLE_EQ(run.activeSeconds(now), 50);
    run.pauseStarted = now - 1000s;
    EXPECT_EQ(run.activeSeconds(now), 0);

    run.pauseStarted.reset();
    run.pausedTotal = 0s;
    run.started -= 100s;
    EXPECT_EQ(run.remaining({}), std::nullopt) << "nothing is done yet";
    EXPECT_EQ(run.secondsFor({&at(2)}, {}), 25s) << "the usual rate, until its own is known";
    run.resumedWeight = 1;
    using Kind = ConversionOutcome::Kind;
    run.finish(at(0).id, ConversionOutcome{Kind::written, 10, 4, {}});
    EXPECT_EQ(run.remaining({}), std::nullopt) << "what was found converted is no work";
    at(1).status = Status::Running{0.5};
    EXPECT_DOUBLE_EQ(run.progress({&at(1)}), 50.5 / 200);
    EXPECT_NEAR(*run.remaining({&at(1)}), 149.5 * 100 / 49.5, 1);
    EXPECT_NEAR(run.secondsFor({&at(1)}, {&at(1)}).count(), 49.5 * 100 / 49.5, 2);
    at(1).status = Status::Uploading{};
    EXPECT_NEAR(run.progress({&at(1)}), (1 + 99 * 0.99) / 200, 1e-9);

    run.finish(at(1).id, ConversionOutcome{Kind::noSavings, 10, 10, {}});
    EXPECT_EQ(run.soFarText(), "Bisher: 0 KB → 0 KB, 0 KB gespart (−60 %)");
    run.finished = run.started + 61s;
    EXPECT_EQ(run.finishedText(),
              "Fertig: 1 konvertiert · 1 ohne Ersparnis übersprungen · 1 abgebrochen – Dauer 1 min");
    EXPECT_EQ(run.remaining({}), std::nullopt);
}

} // namespace
} // namespace kestrel
