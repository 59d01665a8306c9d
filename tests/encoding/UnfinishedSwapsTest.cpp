#include "encoding/UnfinishedSwaps.h"

#include <fstream>

#include "encoding/FileConversion.h"
#include "encoding/JobFixture.h"
#include "encoding/LocalSwap.h"
#include "platform/FileLock.h"
#include "platform/OnExit.h"
#include "support/KillAt.h"
#include "support/Mounts.h"

namespace kestrel::test {
namespace {

// A film, and a finished result that is on its way into the film's place.
class UnfinishedTest : public JobTest {
protected:
    // The state in which the job hands over: the result lies hidden beside the film.
    LocalSwap::Swap swap(const std::string &filmName = "Film.mkv", const fs::path &made = result())
    {
        film = put(filmName);
        const fs::path work = folder.put(made, film.parent_path() / ".Film.kestrel-tmp.mkv");
        return {work, {film, Files::attributes(film)}, film.parent_path() / "Film.mkv", {true, true, 1}};
    }
    ResultRecords::Record show() { return LocalSwap::showBeside(swap(), settings); }

    std::vector<std::string> finish() const { return UnfinishedSwaps::finish(tools.ffprobe, {}); }

    bool isReplaced() const
    {
        return names(folder.path()) == std::vector<std::string>{"Film.mkv"} &&
               readFile(folder / "Film.mkv") == readFile(result()) && names(trash()).size() == 1 &&
               readFile(trash() / names(trash()).front()) == readFile(Clips::film());
    }
    bool isUntouched() const { return readFile(film) == readFile(Clips::film()) && names(trash()).empty(); }
    // Nothing was moved, and nothing will be.
    void expectBothToStay() const
    {
        EXPECT_THAT(finish(), IsEmpty());
        EXPECT_TRUE(isUntouched());
        EXPECT_THAT(names(folder.path()), ElementsAre("Film (Kestrel).mkv", "Film.mkv"));
        EXPECT_THAT(ResultRecords::all(), IsEmpty());
    }
    void startOver()
    {
        emptyFolder();
        fs::remove_all(home() / ".local");
    }

    fs::path film;
    const fs::path shown = folder / "Film (Kestrel).mkv";
    const std::string done = "Ersetzen abgeschlossen: " + (folder / "Film.mkv").native();
};

// The second film's result has another name than its source.
class KilledJob : public UnfinishedTest, public testing::WithParamInterface<const char *> {};
INSTANTIATE_TEST_SUITE_P(Films, KilledJob, testing::Values("Film.mkv", "Film.avi"));

TEST_P(KilledJob, isFinishedByTheNextRun)
{
    ffmpegMakes(result());
    const MediaInfo info = probe(put(GetParam()));
    int kills = 0, besideOriginal = 0, withoutOriginal = 0;
    for (bool wasKilled = true; wasKilled; ++kills) {
        startOver();
        film = put(GetParam());
        SCOPED_TRACE(testing::Message() << "killed before change " << kills);
        wasKilled = killedBeforeChange(kills, [&] { convert(info); });
        const bool isShown = fs::exists(shown);
        besideOriginal += isShown && fs::exists(film) ? 1 : 0;
        withoutOriginal += isShown && !fs::exists(film) ? 1 : 0;

        EXPECT_EQ(finish().size(), isShown ? 1U : 0U);
        Prober::removeLeftovers(Prober::findLeftovers(folder.path(), {}));
        EXPECT_TRUE(isReplaced() || (!isShown && isUntouched() && names(folder.path()).size() == 1));
        EXPECT_THAT(ResultRecords::all(), IsEmpty());
    }
    EXPECT_TRUE(isReplaced());
    EXPECT_GT(kills, 15);
    EXPECT_GT(besideOriginal, 3);
    EXPECT_GT(withoutOriginal, 1);
}

TEST_F(UnfinishedTest, finishingThatIsKilledAnywhereIsFinishedByTheNextRun)
{
    int kills = 0;
    for (bool wasKilled = true; wasKilled; ++kills) {
        startOver();
        show();
        wasKilled = killedBeforeChange(kills, [&] { finish(); });
        finish();
        EXPECT_TRUE(isReplaced()) << kills;
        EXPECT_THAT(ResultRecords::all(), IsEmpty()) << kills;
    }
    EXPECT_GT(kills, 10);
}

// A name, a length and a time are not enough.
TEST_F(UnfinishedTest, bothFilesStayWhereAnythingDiffersFromTheRecord)
{
    const auto anotherOf = [&](const fs::path &file) { // the same to look at
        const auto time = fs::last_write_time(file);
        fs::copy_file(file, folder / "copy");
        fs::rename(folder / "copy", file);
        fs::last_write_time(file, time);
    };
    const auto touched = [](const fs::path &file) {
        fs::last_write_time(file, fs::last_write_time(file) + std::chrono::seconds(1));
    };
    const auto linked = [&](const fs::path &file) {
        fs::remove(toolbox / "elsewhere");
        fs::rename(file, toolbox / "elsewhere");
        fs::create_symlink(toolbox / "elsewhere", file);
    };
    const std::map<std::string, std::function<void()>> differences{
        {"the record is lost", [&] { fs::remove_all(home() / ".local"); }},
        {"the record is damaged", [&] { std::ofstream(ResultRecords::file()) << std::string(9999, 'x'); }},
        {"another result", [&] { anotherOf(shown); }},
        {"another original", [&] { anotherOf(film); }},
        {"a result that was changed", [&] { touched(shown); }},
        {"an original that was changed", [&] { touched(film); }},
        {"a link to the result", [&] { linked(shown); }},
        {"a link to the original", [&] { linked(film); }},
    };
    for (const auto &[what, happens] : differences) {
        SCOPED_TRACE(what);
        startOver();
        show();
        happens();
        expectBothToStay();
        EXPECT_EQ(readFile(shown), readFile(result()));
    }
}

TEST_F(UnfinishedTest, theChecksAndTheSavingsRuleHoldOnceMore)
{
    auto lacksTrack = swap();
    lacksTrack.expected.audioTracks = 2;
    LocalSwap::showBeside(lacksTrack, settings);
    expectBothToStay();

    startOver();
    LocalSwap::showBeside(swap("Film.mkv", Clips::film()), settings);
    expectBothToStay();
}

TEST_F(UnfinishedTest, aNameThatIsTakenMeanwhileIsLeftToItsOwner)
{
    LocalSwap::showBeside(swap("Film.avi"), settings);
    folder.write("Film.mkv", "somebody else's");
    EXPECT_THAT(finish(), ElementsAre("Ersetzen abgeschlossen: " + shown.native()));
    EXPECT_EQ(readFile(folder / "Film.mkv"), "somebody else's");
    EXPECT_EQ(readFile(shown), readFile(result()));
    EXPECT_THAT(names(trash()), ElementsAre("Film.avi"));
}

TEST_F(UnfinishedTest, aVolumeThatIsNotThereIsWaitedFor)
{
    LocalSwap::showBeside(swap("Platte/Film.mkv"), settings);
    fs::rename(folder / "Platte", folder / "weg");
    EXPECT_THAT(finish(), IsEmpty());
    fs::rename(folder / "weg", folder / "Platte");
    EXPECT_EQ(finish().size(), 1U);
    EXPECT_THAT(names(folder / "Platte"), ElementsAre("Film.mkv"));
}

TEST_F(UnfinishedTest, whatAnotherProcessPutsInPlaceIsLeftToIt)
{
    show();
    {
        const FileLock job = FileLock::tryTake(shown);
        ASSERT_TRUE(job.isHeld());
        EXPECT_THAT(finish(), IsEmpty());
        EXPECT_THROW(UnfinishedSwaps::finish(film, tools.ffprobe, {}), ToolError);
        EXPECT_THAT(names(folder.path()), ElementsAre("Film (Kestrel).mkv", "Film.mkv"));
    }
    EXPECT_THAT(finish(), ElementsAre(done));
    EXPECT_TRUE(isReplaced());
}

TEST_F(UnfinishedTest, withoutARecordTheSwapGoesOn)
{
    const Mount readOnly = Mount::tmpfs(home() / ".local/share/Kestrel", 1'000'000);
    SKIP_WITHOUT(readOnly);
    ASSERT_TRUE(readOnly.makeReadOnly());
    const auto record = show();
    EXPECT_EQ(record.id, 0);
    EXPECT_EQ(LocalSwap::takePlace(record), film);
    EXPECT_TRUE(isReplaced());
}

TEST_F(UnfinishedTest, anOriginalThatTheTrashRefusedIsNotConvertedAgain)
{
    film = put("Film.mkv");
    ffmpegMakes(result(), "echo >> " + quoted(toolbox / "runs"));
    const MediaInfo info = probe(film);
    const auto again = [&] {
        return FileConversion({info, settings, tools, folder.path(), std::nullopt}).run(silent, {});
    };
    if (!shell("chattr +i " + quoted(film) + " 2>/dev/null"))
        GTEST_SKIP() << "chattr +i needs root and a file system that knows it";
    {
        const auto unlock = onExit([&] { shell("chattr -i " + quoted(film)); });
        const std::string refused =
            "Original konnte nicht in den Papierkorb gelegt werden (Keine Berechtigung). Neue Datei: "
            "Film (Kestrel).mkv";
        EXPECT_EQ(failure(info), refused); // found out only at the end
        EXPECT_THAT(finish(), IsEmpty());
        EXPECT_EQ(failureOf(again), refused);
    }
    EXPECT_THAT(names(folder.path()), ElementsAre("Film (Kestrel).mkv", "Film.mkv"));

    const auto third = again();
    EXPECT_TRUE(isReplaced());
    EXPECT_EQ(third.outcome, (ConversionOutcome{ConversionOutcome::Kind::replaced, info.fileSize,
                                                probe(film).fileSize, film}));
    EXPECT_EQ(third.newInfo->video->codec, "hevc");
    EXPECT_EQ(readFile(toolbox / "runs"), "\n") << "encoded once";
}

TEST_F(UnfinishedTest, aResultThatWaitsIsNoFilmOfItsOwn)
{
    const fs::path other = folder.write("other/Film (Kestrel).mkv", "a film of that name");
    const auto listed = [&] {
        return UnfinishedSwaps::withoutResults(Prober::findVideos(folder.path(), {}));
    };
    const auto record = show();
    EXPECT_THAT(listed(), ElementsAre(film, other));
    fs::create_directory_symlink(folder.path(), toolbox / "link");
    EXPECT_THAT(UnfinishedSwaps::withoutResults({toolbox / "link/Film (Kestrel).mkv"}), IsEmpty());
    fs::remove(film); // then it is the film
    EXPECT_THAT(listed(), ElementsAre(shown, other));
    ResultRecords::remove(record);
    EXPECT_THAT(listed(), ElementsAre(shown, other));
}

} // namespace
} // namespace kestrel::test
