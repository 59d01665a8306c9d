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
    static fs::path result()
    {
        return Clips::make("smaller.mkv",
                           "-f lavfi -i testsrc2=s=160x120:r=25:d=2 -f lavfi -i sine=d=2 -c:v libx265 "
                           "-preset ultrafast -x265-params log-level=error -c:a ac3 -b:a 48k");
    }

    // The state in which the job hands over: the result lies hidden beside the film.
    LocalSwap::Swap swap(const std::string &filmName = "Film.mkv", const fs::path &made = result())
    {
        film = folder.put(Clips::film(), filmName);
        const fs::path work = folder.put(made, ".Film.kestrel-tmp.mkv");
        return {work, {film, Files::attributes(film)}, folder / "Film.mkv", {true, true, 1}};
    }
    ResultRecords::Record show() { return LocalSwap::showBeside(swap(), settings); }

    std::vector<std::string> finish() const { return UnfinishedSwaps::finish(tools.ffprobe, {}); }
    std::string done() const { return "Ersetzen abgeschlossen: " + (folder / "Film.mkv").native(); }

    bool isReplaced() const
    {
        return names(folder.path()) == std::vector<std::string>{"Film.mkv"} &&
               readFile(folder / "Film.mkv") == readFile(result()) && names(trash()).size() == 1 &&
               readFile(trash() / names(trash()).front()) == readFile(Clips::film());
    }
    bool isUntouched() const
    {
        return names(folder.path()) == std::vector<std::string>{film.filename()} &&
               readFile(film) == readFile(Clips::film()) && names(trash()).empty();
    }
    void startOver()
    {
        for (const auto &name : names(folder.path()))
            fs::remove_all(folder / name);
        fs::remove_all(home() / ".local");
    }

    fs::path film;
    const fs::path shown = folder / "Film (Kestrel).mkv";
};

TEST_F(UnfinishedTest, aSwapThatIsKilledAnywhereIsFinishedByTheNextRun)
{
    for (const char *name : {"Film.mkv", "Film.avi"}) {
        int kills = 0, besideOriginal = 0, withoutOriginal = 0;
        for (bool wasKilled = true; wasKilled; ++kills) {
            startOver();
            const LocalSwap::Swap prepared = swap(name);
            wasKilled = killedBeforeChange(
                kills, [&] { LocalSwap::takePlace(LocalSwap::showBeside(prepared, settings)); });
            const bool isShown = fs::exists(shown);
            besideOriginal += isShown && fs::exists(film) ? 1 : 0;
            withoutOriginal += isShown && !fs::exists(film) ? 1 : 0;

            EXPECT_EQ(finish().size(), isShown ? 1U : 0U) << name << " killed before change " << kills;
            Prober::removeLeftovers(Prober::findLeftovers(folder.path(), {}));
            EXPECT_TRUE(isReplaced() || (!isShown && isUntouched())) << name << kills;
            EXPECT_THAT(ResultRecords::all(), IsEmpty()) << name << kills;
        }
        EXPECT_TRUE(isReplaced());
        EXPECT_GT(kills, 15);
        EXPECT_GT(besideOriginal, 3);
        EXPECT_GT(withoutOriginal, 1);
    }
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
        fs::rename(file, toolbox / "elsewhere");
        fs::create_symlink(toolbox / "elsewhere", file);
    };
    struct Case {
        const char *what;
        std::function<void()> happens;
    };
    const Case cases[] = {
        {"the record is lost", [&] { fs::remove_all(home() / ".local"); }},
        {"the record is damaged", [&] { std::ofstream(ResultRecords::file()) << std::string(9999, 'x'); }},
        {"another result", [&] { anotherOf(shown); }},
        {"another original", [&] { anotherOf(film); }},
        {"a result that was changed", [&] { touched(shown); }},
        {"an original that was changed", [&] { touched(film); }},
        {"a link to the result", [&] { linked(shown); }},
        {"a link to the original", [&] { linked(film); }},
    };
    for (const Case &c : cases) {
        startOver();
        show();
        c.happens();
        EXPECT_THAT(finish(), IsEmpty()) << c.what;
        EXPECT_THAT(names(folder.path()), ElementsAre("Film (Kestrel).mkv", "Film.mkv")) << c.what;
        EXPECT_EQ(readFile(film), readFile(Clips::film())) << c.what;
        EXPECT_EQ(readFile(shown), readFile(result())) << c.what;
        EXPECT_THAT(names(trash()), IsEmpty()) << c.what;
        EXPECT_THAT(ResultRecords::all(), IsEmpty()) << c.what;
        fs::remove(toolbox / "elsewhere");
    }
}

TEST_F(UnfinishedTest, theChecksAndTheSavingsRuleHoldOnceMore)
{
    auto lacksTrack = swap();
    lacksTrack.expected.audioTracks = 2;
    LocalSwap::showBeside(lacksTrack, settings);
    EXPECT_THAT(finish(), IsEmpty());
    EXPECT_THAT(names(folder.path()), ElementsAre("Film (Kestrel).mkv", "Film.mkv"));
    EXPECT_THAT(ResultRecords::all(), IsEmpty());

    startOver();
    LocalSwap::showBeside(swap("Film.mkv", Clips::film()), settings);
    EXPECT_THAT(finish(), IsEmpty());
    EXPECT_THAT(names(folder.path()), ElementsAre("Film (Kestrel).mkv", "Film.mkv"));
    EXPECT_THAT(ResultRecords::all(), IsEmpty());
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
    const fs::path inner = folder / "Platte";
    const LocalSwap::Swap prepared{
        folder.put(result(), "Platte/.Film.kestrel-tmp.mkv"),
        {folder.put(Clips::film(), "Platte/Film.mkv"), Files::attributes(folder / "Platte/Film.mkv")},
        inner / "Film.mkv",
        {true, true, 1}};
    LocalSwap::showBeside(prepared, settings);
    fs::rename(inner, folder / "weg");
    EXPECT_THAT(finish(), IsEmpty());
    fs::rename(folder / "weg", inner);
    EXPECT_EQ(finish().size(), 1U);
    EXPECT_THAT(names(inner), ElementsAre("Film.mkv"));
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
    EXPECT_THAT(finish(), ElementsAre(done()));
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
    film = folder.put(Clips::film(), "Film.mkv");
    ffmpeg("echo >> " + quoted(toolbox / "runs") + "; cp " + quoted(result()) + " \"$last\"");
    const MediaInfo info = probe(film);
    const auto again = [&] {
        return FileConversion({info, settings, tools, folder.path(), std::nullopt})
            .run({[](double) {}, [](const auto &) {}, [](double, double) {}, [] {}}, {});
    };
    if (!shell("chattr +i " + quoted(film) + " 2>/dev/null"))
        GTEST_SKIP() << "chattr +i needs root and a file system that knows it";
    std::string first, second;
    {
        const auto unlock = onExit([&] { shell("chattr -i " + quoted(film)); });
        first = failure(info); // found out only at the end
        EXPECT_THAT(finish(), IsEmpty());
        try {
            again();
        } catch (const ToolError &error) {
            second = error.what();
        }
    }
    EXPECT_EQ(first,
              "Original konnte nicht in den Papierkorb gelegt werden (Keine Berechtigung). Neue Datei: "
              "Film (Kestrel).mkv");
    EXPECT_EQ(second, first);
    EXPECT_THAT(names(folder.path()), ElementsAre("Film (Kestrel).mkv", "Film.mkv"));

    const auto third = again();
    EXPECT_TRUE(isReplaced());
    EXPECT_EQ(third.outcome.kind, ConversionOutcome::Kind::replaced);
    EXPECT_EQ(third.outcome.finalURL, film);
    EXPECT_EQ(third.outcome.originalSize, info.fileSize);
    EXPECT_EQ(third.newInfo->video->codec, "hevc");
    EXPECT_EQ(readFile(toolbox / "runs"), "\n") << "encoded once";
}

TEST_F(UnfinishedTest, aResultThatWaitsIsNoFilmOfItsOwn)
{
    folder.write("other/Film (Kestrel).mkv", "a film of that name");
    const auto listed = [&] {
        return UnfinishedSwaps::withoutResults(Prober::findVideos(folder.path(), {}));
    };
    const auto record = show();
    EXPECT_THAT(listed(), ElementsAre(film, folder / "other/Film (Kestrel).mkv"));
    fs::create_directory_symlink(folder.path(), toolbox / "link");
    EXPECT_EQ(UnfinishedSwaps::withoutResults({toolbox / "link/Film (Kestrel).mkv"}).size(), 0U);
    fs::remove(film); // then it is the film
    EXPECT_THAT(listed(), ElementsAre(shown, folder / "other/Film (Kestrel).mkv"));
    ResultRecords::remove(record);
    EXPECT_EQ(listed().size(), 2U);
}

} // namespace
} // namespace kestrel::test
