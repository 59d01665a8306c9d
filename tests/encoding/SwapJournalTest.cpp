#include "encoding/SwapJournal.h"

#include <fstream>
#include <thread>
#include <vector>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "encoding/NetworkSwap.h"
#include "media/Tools.h"
#include "platform/Files.h"
#include "support/Sandbox.h"

namespace kestrel::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class SwapJournalTest : public testing::Test {
protected:
    SwapJournalTest() { fs::remove(SwapJournal::file()); }

    SwapJournal::Entry entry(const std::string &final = "Film.mkv") const
    {
        return {share / "Film.mkv", share / ".Film.mkv.kestrel-original", share / final};
    }
    static void writeJournal(const std::string &text)
    {
        fs::create_directories(SwapJournal::file().parent_path());
        std::ofstream(SwapJournal::file()) << text;
    }

    Sandbox share;
};

TEST_F(SwapJournalTest, existsOnlyWhileASwapIsUnderWay)
{
    SwapJournal::add(entry());
    SwapJournal::add(entry());
    SwapJournal::add(entry("Film.mp4"));
    EXPECT_THAT(SwapJournal::entries(), ElementsAre(entry(), entry(), entry("Film.mp4")));
    SwapJournal::remove(entry());
    EXPECT_THAT(SwapJournal::entries(), ElementsAre(entry("Film.mp4")));
    SwapJournal::remove(entry("Film.mp4"));
    EXPECT_FALSE(fs::exists(SwapJournal::file()));
}

TEST_F(SwapJournalTest, putsTheOriginalBackWhereTheNewFileNeverArrived)
{
    share.write(".Film.mkv.kestrel-original", "original");
    SwapJournal::add(entry("Film.mp4"));
    EXPECT_THAT(SwapJournal::recover(),
                ElementsAre("Original wiederhergestellt: " + (share / "Film.mkv").native()));
    EXPECT_EQ(readFile(share / "Film.mkv"), "original");
    EXPECT_FALSE(fs::exists(SwapJournal::file()));
}

TEST_F(SwapJournalTest, finishesASwapWhoseNewFileIsThere)
{
    share.write(".Film.mkv.kestrel-original", "original");
    share.write("Film.mkv", "new");
    SwapJournal::add(entry());
    EXPECT_THAT(SwapJournal::recover(),
                ElementsAre("Tausch abgeschlossen: " + (share / "Film.mkv").native()));
    EXPECT_THAT(names(share.path()), ElementsAre("Film.mkv"));
    EXPECT_FALSE(fs::exists(SwapJournal::file()));
}

TEST_F(SwapJournalTest, neverDeletesABackupForAnotherFileThanTheNewOne)
{
    share.write(".Film.mkv.kestrel-original", "original");
    share.write("Film.mkv", "half");
    EXPECT_TRUE(SwapJournal::add(entry(), 1000));
    EXPECT_THAT(SwapJournal::recover(),
                ElementsAre("Original wiederhergestellt: " + (share / "Film (Original).mkv").native()));
    EXPECT_EQ(readFile(share / "Film (Original).mkv"), "original");
    EXPECT_EQ(readFile(share / "Film.mkv"), "half");
    EXPECT_FALSE(fs::exists(SwapJournal::file()));
}

TEST_F(SwapJournalTest, saysWhenASwapCannotBeNoted)
{
    const fs::path folder = SwapJournal::file().parent_path();
    fs::remove_all(folder);
    fs::create_directories(folder.parent_path());
    std::ofstream(folder) << "in the way";
    EXPECT_FALSE(SwapJournal::add(entry()));
    fs::remove(folder);
}

TEST_F(SwapJournalTest, keepsWhatItCannotRepair)
{
    // The original's name is taken by another file, while the new one never arrived.
    share.write(".Film.mkv.kestrel-original", "original");
    share.write("Film.mkv", "another");
    SwapJournal::add(entry("Film.mp4"));
    EXPECT_THAT(SwapJournal::recover(), IsEmpty());
    EXPECT_THAT(SwapJournal::entries(), ElementsAre(entry("Film.mp4")));
    EXPECT_EQ(readFile(share / ".Film.mkv.kestrel-original"), "original");

    // A backup that cannot be deleted is told every time.
    fs::remove(share / ".Film.mkv.kestrel-original");
    share.write(".Film.mkv.kestrel-original/blocks", "");
    share.write("Film.mp4", "new");
    for (int i = 0; i < 2; ++i)
        EXPECT_THAT(SwapJournal::recover(),
                    ElementsAre("Tausch abgeschlossen: " + (share / "Film.mp4").native()));
    EXPECT_THAT(SwapJournal::entries(), ElementsAre(entry("Film.mp4")));
}

TEST_F(SwapJournalTest, keepsTheBackupWhileTheNewFileCannotBeLookedAt)
{
    share.write(".Film.mkv.kestrel-original", "original");
    fs::create_symlink("nowhere", share / "Film.mp4");
    SwapJournal::add(entry("Film.mp4"), 3);
    EXPECT_THAT(SwapJournal::recover(), IsEmpty());
    EXPECT_EQ(readFile(share / ".Film.mkv.kestrel-original"), "original");
    EXPECT_THAT(SwapJournal::entries(), ElementsAre(entry("Film.mp4")));
    fs::remove(share / "Film.mp4");

    // A link in a circle stands for whatever else the system cannot answer.
    fs::create_symlink("circle", share / "circle");
    SwapJournal::Entry unknown = entry("Film.mp4");
    SwapJournal::remove(unknown);
    unknown.final = share / "circle/Film.mp4";
    SwapJournal::add(unknown, 3);
    EXPECT_THAT(SwapJournal::recover(), IsEmpty());
    EXPECT_THAT(SwapJournal::entries(), ElementsAre(unknown));
    EXPECT_EQ(readFile(share / ".Film.mkv.kestrel-original"), "original");
    SwapJournal::remove(unknown);
}

TEST_F(SwapJournalTest, waitsForAShareThatIsNotMounted)
{
    SwapJournal::add({"/nowhere/Film.mkv", "/nowhere/.Film.mkv.kestrel-original", "/nowhere/Film.mkv"});
    EXPECT_THAT(SwapJournal::recover(), IsEmpty());
    EXPECT_EQ(SwapJournal::entries().size(), 1U);

    // An empty mount point is there as a folder, but it is not the share.
    writeJournal(R"([{"original":")" + (share / "Film.mkv").native() + R"(","backup":")" +
                 (share / ".Film.mkv.kestrel-original").native() + R"(","final":")" +
                 (share / "Film.mkv").native() + R"(","mount":"/mnt/nas"}])");
    EXPECT_THAT(SwapJournal::recover(), IsEmpty());
    EXPECT_THAT(SwapJournal::entries(), ElementsAre(entry()));
}

TEST_F(SwapJournalTest, whatIsNoJournalIsKeptBesideItUnderAVisibleName)
{
    const auto kept = [](const char *number = "") {
        return SwapJournal::file().parent_path() / fmt::format("tauschvorgaenge (unlesbar{}).json", number);
    };
    for (const std::string text : {"no json", "{}", "[{\"original\": 1}]", "[{", "null"}) {
        writeJournal(text);
        EXPECT_THAT(SwapJournal::recover(), IsEmpty()) << text;
        EXPECT_FALSE(fs::exists(SwapJournal::file())) << text;
        EXPECT_EQ(readFile(kept()), text);
        fs::remove(kept());
    }
    for (const char *text : {"[]", ""}) { // nothing is in it
        writeJournal(text);
        EXPECT_THAT(SwapJournal::recover(), IsEmpty()) << text;
        EXPECT_FALSE(fs::exists(SwapJournal::file()) || fs::exists(kept())) << text;
    }
    writeJournal("no json");
    EXPECT_TRUE(SwapJournal::add(entry()));
    EXPECT_THAT(SwapJournal::entries(), ElementsAre(entry()));
    writeJournal("no json either");
    SwapJournal::remove(entry());
    EXPECT_EQ(readFile(kept()), "no json");
    EXPECT_EQ(readFile(kept(" 2")), "no json either");
    fs::remove(kept());
    fs::remove(kept(" 2"));
}

TEST_F(SwapJournalTest, oneBadEntryDoesNotCostTheOthers)
{
    share.write(".Film.mkv.kestrel-original", "original");
    SwapJournal::add(entry());
    std::string text = readFile(SwapJournal::file());
    text.insert(1, R"({"original":"/a"},[],{"original":"a","backup":".a","final":"a"},)");
    writeJournal(text);
    EXPECT_THAT(SwapJournal::entries(), ElementsAre(entry()));
    EXPECT_THAT(SwapJournal::recover(),
                ElementsAre("Original wiederhergestellt: " + (share / "Film.mkv").native()));
    const fs::path kept = SwapJournal::file().parent_path() / "tauschvorgaenge (unlesbar).json";
    EXPECT_EQ(readFile(kept), text);
    fs::remove(kept);
}

TEST_F(SwapJournalTest, isLeftAloneWhileItCannotBeReadAndNoSwapBegins)
{
    share.write("Film.avi", "original");
    share.write(".Film.kestrel-upload", "new");
    fs::create_directories(SwapJournal::file().parent_path());
    // Reading from an address where nothing is fails with an I/O error.
    fs::create_symlink("/proc/self/mem", SwapJournal::file());
    EXPECT_EQ(SwapJournal::problem(), "Lese- oder Schreibfehler");
    EXPECT_THAT(SwapJournal::recover(), IsEmpty());
    SwapJournal::remove(entry());
    EXPECT_FALSE(SwapJournal::add(entry()));
    EXPECT_THROW(swapOnNetwork(share / "Film.avi", Files::attributes(share / "Film.avi"),
                               share / ".Film.kestrel-upload", share / "Film.mkv", 3),
                 ToolError);
    EXPECT_EQ(readFile(share / "Film.avi"), "original");
    EXPECT_TRUE(fs::is_symlink(SwapJournal::file()));
    fs::remove(SwapJournal::file());
    EXPECT_EQ(SwapJournal::problem(), std::nullopt);
}

TEST_F(SwapJournalTest, aFilmWithTwoNamesIsOneFilm)
{
    for (const char *final : {"Film.mkv", "Film.mp4"}) {
        share.write("Film.mkv", "original");
        fs::create_hard_link(share / "Film.mkv", share / ".Film.mkv.kestrel-original");
        SwapJournal::add(entry(final), 3);
        EXPECT_THAT(SwapJournal::recover(),
                    ElementsAre("Original wiederhergestellt: " + (share / "Film.mkv").native()));
        EXPECT_THAT(names(share.path()), ElementsAre("Film.mkv"));
        EXPECT_FALSE(fs::exists(SwapJournal::file()));
    }
    // A link to the hidden film is no film.
    fs::rename(share / "Film.mkv", share / ".Film.mkv.kestrel-original");
    fs::create_symlink(".Film.mkv.kestrel-original", share / "Film.mkv");
    SwapJournal::add(entry(), 3);
    SwapJournal::recover();
    EXPECT_EQ(readFile(share / "Film (Original).mkv"), "original");
}

TEST_F(SwapJournalTest, carriesPathsOfAnyBytes)
{
    SwapJournal::Entry strange = entry();
    strange.original = share / "\xff\xfe\n\"Film\".mkv";
    SwapJournal::add(strange);
    EXPECT_THAT(SwapJournal::entries(), ElementsAre(strange));
}

TEST_F(SwapJournalTest, jobsSideBySideLoseNoEntry)
{
    {
        std::vector<std::jthread> jobs;
        for (int i = 0; i < 8; ++i)
            jobs.emplace_back([&, i] {
                for (int k = 0; k < 10; ++k) {
                    SwapJournal::add(entry(std::to_string(i)));
                    SwapJournal::remove(entry(std::to_string(i)));
                }
                SwapJournal::add(entry(std::to_string(i)));
            });
    }
    EXPECT_EQ(SwapJournal::entries().size(), 8U);
}

} // namespace
} // namespace kestrel::test
