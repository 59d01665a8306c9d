#include "encoding/NetworkSwap.h"

#include <fstream>

#include "encoding/JobFixture.h"
#include "encoding/StorageLocation.h"
#include "encoding/SwapJournal.h"
#include "platform/Files.h"
#include "support/KillAt.h"
#include "support/Mounts.h"

namespace kestrel::test {
namespace {

// A folder with the film "original" and an upload, "new", that is to replace it.
struct Exchange {
    Exchange(const fs::path &place, const std::string &sourceName, const std::string &finalName = "Film.mkv")
        : folder(place), source(place / sourceName), upload(place / ".Film.kestrel-upload"),
          final(place / finalName)
    {
        fs::create_directories(place);
        std::ofstream(source) << "original";
        std::ofstream(upload) << "new";
        converted = Files::attributes(source);
    }
    void run(std::int64_t newSize = 3) const { swapOnNetwork(source, converted, upload, final, newSize); }

    // How many visible or hidden names hold this content; work files, which the next scan removes, aside.
    int namesWith(const std::string &content) const
    {
        int count = 0;
        for (const auto &[name, text] : contents(folder))
            count += text == content && !name.ends_with(".kestrel-upload") ? 1 : 0;
        return count;
    }

    const fs::path folder, source, upload, final;
    Files::Attributes converted;
};

// A share is a real mount that the kernel lists as one.
class ShareTest : public JobTest {
protected:
    ShareTest() : share(Mount::share(behind("server"), folder / "nas")) {}

    fs::path behind(const char *name) const
    {
        fs::create_directories(folder / name);
        return folder / name;
    }
    static void expectNoTraces()
    {
        EXPECT_THAT(names(home() / ".cache/Kestrel/Arbeit"), IsEmpty());
        EXPECT_FALSE(fs::exists(SwapJournal::file()));
    }

    Mount share;
};

TEST_F(ShareTest, aFilmOnAShareIsEncodedLocallyAndSwapped)
{
    SKIP_WITHOUT(share);
    EXPECT_TRUE(StorageLocation::detect(folder / "nas").isNetwork());
    for (const std::string &name :
         {std::string("Film.mkv"), std::string(246, 'l') + ".mkv", std::string("\xff nicht utf8\n.mkv")}) {
        const fs::path film = put("nas/" + name);
        const auto before = fs::last_write_time(film);
        uploads = 0;
        EXPECT_EQ(convert(film).kind, ConversionOutcome::Kind::replaced);
        EXPECT_EQ(uploads, 1);
        EXPECT_EQ(probe(film).video->codec, "hevc");
        EXPECT_EQ(fs::last_write_time(film), before);
        EXPECT_THAT(names(folder / "server"), ElementsAre(name));
        EXPECT_THAT(names(trash()), IsEmpty()) << "a share's original is deleted, not trashed";
        expectNoTraces();
        fs::remove(film);
    }
}

TEST_F(ShareTest, anUploadThatRunsOutOfSpaceLosesNothing)
{
    const Mount disk = Mount::tmpfs(folder / "disk", 220'000'000);
    SKIP_WITHOUT(disk);
    const Mount small = Mount::share(folder / "disk", folder / "small");
    SKIP_WITHOUT(small);
    const fs::path film = put("small/Film.mkv"), hog = folder / "disk/hog";
    ffmpegMakes(result(), "head -c 300000000 /dev/zero > " + quoted(hog) + " 2>/dev/null; exit 0");

    EXPECT_EQ(failure(film), "Hochladen fehlgeschlagen: Kein Speicherplatz mehr frei");
    EXPECT_THAT(names(folder / "disk"), ElementsAre("Film.mkv", "hog"));
    EXPECT_EQ(readFile(film), readFile(Clips::film()));
    expectNoTraces();
}

TEST_F(ShareTest, theShareGoesAwayDuringTheEncode)
{
    SKIP_WITHOUT(share);
    const fs::path film = put("nas/Film.mkv");
    ffmpegMakes(result(), "umount -l " + quoted(folder / "nas"));
    EXPECT_THROW(convert(film), std::exception);
    EXPECT_EQ(readFile(folder / "server/Film.mkv"), readFile(Clips::film()));
    expectNoTraces();
}

TEST_F(ShareTest, anOriginalThatCannotBeDeletedIsNamed)
{
    // Without links, or the very move aside would have to delete a name.
    const Mount linkless = Mount::sshfs(behind("server"), folder / "linkless", "disable_hardlink");
    SKIP_WITHOUT(linkless);
    const Mount strict = Mount::share(folder / "linkless", folder / "strict", "--delete-deny");
    SKIP_WITHOUT(strict);
    const fs::path film = put("strict/Film.mkv"), left = folder / "strict/Film (Original).mkv";

    const ConversionOutcome outcome = convert(film);

    EXPECT_EQ(outcome.kind, ConversionOutcome::Kind::replaced);
    EXPECT_EQ(outcome.note.value_or(""),
              "Das Original wurde nicht gelöscht (Keine Berechtigung). Es belegt weiter Platz: " +
                  left.native());
    EXPECT_EQ(probe(film).video->codec, "hevc");
    EXPECT_EQ(readFile(left), readFile(Clips::film()));
    EXPECT_THAT(names(folder / "server"), ElementsAre("Film (Original).mkv", "Film.mkv"));
    expectNoTraces();
}

TEST(NetworkSwap, aFailureRestoresTheOriginal)
{
    const Sandbox share;
    const Exchange taken(share / "taken", "Film.avi");
    share.write("taken/Film.mkv", "somebody else's");
    EXPECT_EQ(failureOf([&] { taken.run(); }),
              "Neue Datei konnte nicht übernommen werden – Original ist wiederhergestellt: "
              "Unter diesem Namen gibt es schon etwas");
    EXPECT_EQ(taken.namesWith("somebody else's"), 1);

    const Exchange cut(share / "cut", "Film.avi");
    EXPECT_THROW(cut.run(4), ToolError) << "the upload has another size now";
    EXPECT_FALSE(fs::exists(cut.final));

    for (const Exchange *film : {&taken, &cut})
        EXPECT_EQ(readFile(film->source), "original");

    const Exchange changed(share / "changed", "Film.avi");
    share.write("changed/Film.avi", "original and more");
    EXPECT_THROW(changed.run(), ToolError) << "the source changed at the last moment";
    EXPECT_EQ(readFile(changed.source), "original and more");
    EXPECT_FALSE(fs::exists(changed.final));
    EXPECT_FALSE(fs::exists(SwapJournal::file()));
}

TEST(NetworkSwap, whatEarlierSwapsHaveLeftIsKept)
{
    const Sandbox share;
    const Exchange visible(share / "visible", "Film.mkv");
    share.write("visible/Film (Original).mkv", "older");
    visible.run();
    EXPECT_EQ(contents(visible.folder), (Contents{{"Film (Original).mkv", "older"}, {"Film.mkv", "new"}}));

    const Exchange hidden(share / "hidden", "Film.avi"); // nobody could put it back
    share.write("hidden/.Film.avi.kestrel-original", "first");
    share.write("hidden/Film (Original).avi", "older");
    hidden.run();
    EXPECT_EQ(contents(hidden.folder), (Contents{{"Film (Original 2).avi", "first"},
                                                 {"Film (Original).avi", "older"},
                                                 {"Film.mkv", "new"}}));

    const Exchange second(share / "second", "Film.avi"); // only another name of the source
    fs::create_hard_link(second.source, second.folder / ".Film.avi.kestrel-original");
    second.run();
    EXPECT_EQ(contents(second.folder), (Contents{{"Film.mkv", "new"}}));
}

// Disturbs one exchange after the other, each a step later, until there is no such step any more (then a
// disturbance returns false), and repairs it. Returns how many there were.
int disturbEveryStep(const fs::path &place, const std::string &finalName,
                     const std::function<bool(int step, const Exchange &)> &disturbance,
                     const std::function<void(const Exchange &)> &check)
{
    int steps = 0;
    for (bool wasReached = true; wasReached; ++steps) {
        const Exchange film(place / (finalName + std::to_string(steps)), "Film.mkv", finalName);
        SCOPED_TRACE(film.folder);
        wasReached = disturbance(steps, film);
        SwapJournal::recover();
        check(film);
    }
    return steps;
}

// After the recovery either film is there whole, once, under a name that a person finds, and the journal is
// empty.
void expectRepairAfterEveryKill(const fs::path &place)
{
    for (const char *finalName : {"Film.mkv", "Film.mp4"}) {
        const int steps = disturbEveryStep(
            place, finalName,
            [](int step, const Exchange &film) { return killedBeforeChange(step, [&] { film.run(); }); },
            [](const Exchange &film) {
                EXPECT_TRUE(readFile(film.source) == "original" || readFile(film.final) == "new");
                EXPECT_LE(film.namesWith("original"), 1);
                EXPECT_LE(film.namesWith("new"), 1);
                EXPECT_FALSE(fs::exists(film.folder / ".Film.mkv.kestrel-original"));
                EXPECT_FALSE(fs::exists(SwapJournal::file()));
            });
        EXPECT_GT(steps, 8);
        EXPECT_EQ(readFile(place / (finalName + std::to_string(steps - 1)) / finalName), "new");
    }
}

// On shares moves are made of links, and the film has two names for a moment; sshfs does not report that they
// are one file's.
TEST_F(ShareTest, aCrashAtAnyPointIsRepaired)
{
    expectRepairAfterEveryKill(folder / "local");
    SKIP_WITHOUT(share);
    expectRepairAfterEveryKill(folder / "nas");
    const Mount sshfs = Mount::sshfs(behind("sftp"), folder / "ssh");
    SKIP_WITHOUT(sshfs);
    expectRepairAfterEveryKill(folder / "ssh");
}

// The server does what it was asked for, and its answer gets lost: nothing that may be the film's last name
// is removed. What could not be told apart is left to a person, under visible names.
TEST_F(ShareTest, anAnswerThatGetsLostAtAnyPointCostsNoFilm)
{
    SKIP_WITHOUT(share);
    const Mount sshfs = Mount::sshfs(behind("sftp"), folder / "ssh");
    SKIP_WITHOUT(sshfs);
    const auto expectAFilm = [](const Exchange &film) {
        EXPECT_GE(film.namesWith("original") + film.namesWith("new"), 1);
    };
    for (const fs::path &place : {folder / "nas", folder / "ssh"}) {
        disturbEveryStep(
            place / "swap", "Film.mkv",
            [](int step, const Exchange &film) { return deniedAfterChange(step, [&] { film.run(); }); },
            expectAFilm);
        disturbEveryStep(
            place / "recovery", "Film.mkv",
            [](int step, const Exchange &film) {
                killedBeforeChange(9, [&] { film.run(); }); // when only the backup was left
                return deniedAfterChange(step, [] { SwapJournal::recover(); });
            },
            expectAFilm);
    }
    for (const auto &entry : SwapJournal::entries())
        SwapJournal::remove(entry);
}

// Somebody saves a film under this name at any moment of the swap.
TEST_F(ShareTest, aFileThatAppearsUnderTheFilmsNameIsNeverReplaced)
{
    SKIP_WITHOUT(share);
    const std::string theirs = "somebody else's";
    bool hasAppeared = false;
    for (const char *finalName : {"Film.mkv", "Film.mp4"})
        disturbEveryStep(
            folder / "nas", finalName,
            [&](int step, const Exchange &film) {
                hasAppeared = false;
                return interruptedBeforeChange(
                    step, [&] { film.run(); },
                    [&] {
                        hasAppeared = !fs::exists(film.final);
                        if (hasAppeared)
                            std::ofstream(film.final) << theirs;
                    });
            },
            [&](const Exchange &film) {
                EXPECT_EQ(film.namesWith(theirs), hasAppeared ? 1 : 0);
                EXPECT_EQ(film.namesWith("original") + film.namesWith("new"), 1);
            });
    EXPECT_THAT(SwapJournal::entries(), IsEmpty());
}

// sshfs gives a file another number whenever the kernel has forgotten it, and after a reconnection.
TEST_F(ShareTest, aFilmOnSshfsIsSwappedAlsoAfterAReconnection)
{
    const Mount sshfs = Mount::sshfs(behind("sftp"), folder / "ssh");
    SKIP_WITHOUT(sshfs);
    const StorageLocation location = StorageLocation::detect(folder / "ssh");
    EXPECT_EQ(location.title(), "Netzwerk (SFTP)");
    EXPECT_FALSE(location.hasRecycleBin);
    fs::create_directory(folder / "sftp/.recycle");
    EXPECT_TRUE(StorageLocation::detect(folder / "ssh").hasRecycleBin);

    put("sftp/A.mkv");
    const fs::path film = put("ssh/Film.mkv");
    const auto before = fs::last_write_time(film);
    ffmpeg("/usr/bin/ffmpeg \"$@\" || exit\ncd /; umount " + quoted(folder / "ssh") +
           "; sshfs -o 'ssh_command=sh -c /usr/lib/openssh/sftp-server' server:" + quoted(folder / "sftp") +
           " " + quoted(folder / "ssh") + "; stat " + quoted(folder / "ssh/A.mkv"));
    EXPECT_EQ(failure(film), "");
    EXPECT_EQ(probe(film).video->codec, "hevc");
    EXPECT_EQ(fs::last_write_time(film), before);
    EXPECT_EQ(uploads, 1);
    EXPECT_THAT(names(folder / "sftp"), ElementsAre(".recycle", "A.mkv", "Film.mkv"));
}

} // namespace
} // namespace kestrel::test
