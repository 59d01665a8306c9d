#include "encoding/SwapJournal.h"

#include <fstream>
#include <thread>

#include <fmt/format.h>

#include "encoding/JobFixture.h"
#include "encoding/NetworkSwap.h"
#include "platform/Files.h"

namespace kestrel::test {
namespace {

const std::string backup = ".Film.mkv.kestrel-original";

class SwapJournalTest : public testing::Test {
protected:
    SwapJournalTest() { fs::remove_all(SwapJournal::file().parent_path()); }

    SwapJournal::Entry entry(const std::string &final = "Film.mkv") const
    {
        return {share / "Film.mkv", share / backup, share / final};
    }
    static void writeJournal(const std::string &text)
    {
        fs::create_directories(SwapJournal::file().parent_path());
        std::ofstream(SwapJournal::file()) << text;
    }
    // Where the texts go that are no journal.
    static fs::path kept(const std::string &number = "")
    {
        return SwapJournal::file().parent_path() / fmt::format("tauschvorgaenge (unlesbar{}).json", number);
    }
    std::string restored(const std::string &name = "Film.mkv") const
    {
        return "Original wiederhergestellt: " + (share / name).native();
    }
    void expectToWait() const
    {
        const auto waiting = SwapJournal::entries();
        EXPECT_THAT(SwapJournal::recover(), IsEmpty());
        EXPECT_EQ(SwapJournal::entries(), waiting);
    }

    Sandbox share;
};

TEST_F(SwapJournalTest, existsOnlyWhileASwapIsUnderWay)
{
    SwapJournal::Entry strange = entry(); // a path of any bytes
    strange.original = share / "\xff\xfe\n\"Film\".mkv";
    for (const auto &added : {entry(), entry(), strange})
        SwapJournal::add(added);
    EXPECT_THAT(SwapJournal::entries(), ElementsAre(entry(), entry(), strange));
    SwapJournal::remove(entry());
    EXPECT_THAT(SwapJournal::entries(), ElementsAre(strange));
    SwapJournal::remove(strange);
    EXPECT_FALSE(fs::exists(SwapJournal::file()));
}

TEST_F(SwapJournalTest, neverDeletesABackupForAnotherFileThanTheNewOne)
{
    share.write(backup, "original");
    share.write("Film.mkv", "half");
    EXPECT_TRUE(SwapJournal::add(entry(), 1000));
    EXPECT_THAT(SwapJournal::recover(), ElementsAre(restored("Film (Original).mkv")));
    EXPECT_EQ(contents(share.path()), (Contents{{"Film (Original).mkv", "original"}, {"Film.mkv", "half"}}));
    EXPECT_FALSE(fs::exists(SwapJournal::file()));
}

TEST_F(SwapJournalTest, saysWhenASwapCannotBeNoted)
{
    const fs::path folder = SwapJournal::file().parent_path();
    fs::create_directories(folder.parent_path());
    std::ofstream(folder) << "in the way";
    EXPECT_FALSE(SwapJournal::add(entry()));
}

TEST_F(SwapJournalTest, keepsWhatItCannotRepair)
{
    // The original's name is taken by another file, while the new one never arrived.
    share.write(backup, "original");
    share.write("Film.mkv", "another");
    SwapJournal::add(entry("Film.mp4"));
    expectToWait();
    EXPECT_EQ(readFile(share / backup), "original");

    // A backup that cannot be deleted is told every time.
    fs::remove(share / backup);
    share.write(fs::path(backup) / "blocks", "");
    share.write("Film.mp4", "new");
    for (int i = 0; i < 2; ++i)
        EXPECT_THAT(SwapJournal::recover(),
                    ElementsAre("Tausch abgeschlossen: " + (share / "Film.mp4").native()));
    EXPECT_THAT(SwapJournal::entries(), ElementsAre(entry("Film.mp4")));
}

// A link in a circle stands for whatever else the system cannot answer.
TEST_F(SwapJournalTest, keepsTheBackupWhileTheNewFileCannotBeLookedAt)
{
    share.write(backup, "original");
    fs::create_symlink("nowhere", share / "Film.mp4");
    fs::create_symlink("circle", share / "circle");
    SwapJournal::add(entry("Film.mp4"), 3);
    SwapJournal::add(entry("circle/Film.mp4"), 3);
    expectToWait();
    EXPECT_THAT(SwapJournal::entries(), ElementsAre(entry("Film.mp4"), entry("circle/Film.mp4")));
    EXPECT_EQ(readFile(share / backup), "original");
}

TEST_F(SwapJournalTest, waitsForAShareThatIsNotMounted)
{
    SwapJournal::add({"/nowhere/Film.mkv", "/nowhere/" + backup, "/nowhere/Film.mkv"});
    expectToWait();
    EXPECT_EQ(SwapJournal::entries().size(), 1U);

    // An empty mount point is there as a folder, but it is not the share.
    writeJournal(fmt::format(R"([{{"original":"{0}","backup":"{1}","final":"{0}","mount":"/mnt/nas"}}])",
                             (share / "Film.mkv").native(), (share / backup).native()));
    expectToWait();
    EXPECT_THAT(SwapJournal::entries(), ElementsAre(entry()));
}

TEST_F(SwapJournalTest, whatIsNoJournalIsKeptBesideItUnderAVisibleName)
{
    for (const std::string text : {"no json", "{}", "[{\"original\": 1}]", "[{", "null", "[]", ""}) {
        writeJournal(text);
        EXPECT_THAT(SwapJournal::recover(), IsEmpty()) << text;
        EXPECT_FALSE(fs::exists(SwapJournal::file())) << text;
        const bool isEmpty = text.empty() || text == "[]";
        EXPECT_EQ(fs::exists(kept()), !isEmpty) << text;
        EXPECT_EQ(readFile(kept()), isEmpty ? "" : text);
        fs::remove(kept());
    }
    writeJournal("no json");
    EXPECT_TRUE(SwapJournal::add(entry()));
    EXPECT_THAT(SwapJournal::entries(), ElementsAre(entry()));
    writeJournal("no json either");
    SwapJournal::remove(entry());
    EXPECT_EQ(readFile(kept()), "no json");
    EXPECT_EQ(readFile(kept(" 2")), "no json either");
}

TEST_F(SwapJournalTest, oneBadEntryDoesNotCostTheOthers)
{
    share.write(backup, "original");
    SwapJournal::add(entry());
    std::string text = readFile(SwapJournal::file());
    text.insert(1, R"({"original":"/a"},[],{"original":"a","backup":".a","final":"a"},)");
    writeJournal(text);
    EXPECT_THAT(SwapJournal::entries(), ElementsAre(entry()));
    EXPECT_THAT(SwapJournal::recover(), ElementsAre(restored()));
    EXPECT_EQ(readFile(kept()), text);
}

TEST_F(SwapJournalTest, isLeftAloneWhileItCannotBeReadAndNoSwapBegins)
{
    const fs::path film = share.write("Film.avi", "original"), upload = share.write("upload", "new");
    fs::create_directories(SwapJournal::file().parent_path());
    // Reading from an address where nothing is fails with an I/O error.
    fs::create_symlink("/proc/self/mem", SwapJournal::file());
    EXPECT_EQ(SwapJournal::problem(), "Lese- oder Schreibfehler");
    expectToWait();
    SwapJournal::remove(entry());
    EXPECT_FALSE(SwapJournal::add(entry()));
    EXPECT_THROW(swapOnNetwork(film, Files::attributes(film), upload, share / "Film.mkv", 3), ToolError);
    EXPECT_EQ(readFile(film), "original");
    EXPECT_TRUE(fs::is_symlink(SwapJournal::file()));
    fs::remove(SwapJournal::file());
    EXPECT_EQ(SwapJournal::problem(), std::nullopt);
}

TEST_F(SwapJournalTest, aFilmWithTwoNamesIsOneFilm)
{
    for (const char *final : {"Film.mkv", "Film.mp4"}) {
        share.write("Film.mkv", "original");
        fs::create_hard_link(share / "Film.mkv", share / backup);
        SwapJournal::add(entry(final), 3);
        EXPECT_THAT(SwapJournal::recover(), ElementsAre(restored()));
        EXPECT_THAT(names(share.path()), ElementsAre("Film.mkv"));
        EXPECT_FALSE(fs::exists(SwapJournal::file()));
    }
    // A link to the hidden film is no film.
    fs::rename(share / "Film.mkv", share / backup);
    fs::create_symlink(backup, share / "Film.mkv");
    SwapJournal::add(entry(), 3);
    SwapJournal::recover();
    EXPECT_EQ(readFile(share / "Film (Original).mkv"), "original");
}

TEST_F(SwapJournalTest, jobsSideBySideLoseNoEntry)
{
    {
        std::vector<std::jthread> jobs;
        for (int i = 0; i < 8; ++i)
            jobs.emplace_back([job = entry(std::to_string(i))] {
                for (int k = 0; k < 10; ++k) {
                    SwapJournal::add(job);
                    SwapJournal::remove(job);
                }
                SwapJournal::add(job);
            });
    }
    EXPECT_EQ(SwapJournal::entries().size(), 8U);
}

} // namespace
} // namespace kestrel::test
