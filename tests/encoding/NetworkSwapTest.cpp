#include "encoding/NetworkSwap.h"

#include <fstream>
#include <functional>

#include "encoding/JobFixture.h"
#include "encoding/StorageLocation.h"
#include "encoding/SwapJournal.h"
#include "platform/Files.h"
#include "support/KillAt.h"
#include "support/Mounts.h"

namespace kestrel::test {
namespace {

// A share is a real mount that the kernel lists as one.
class ShareTest : public JobTest {
protected:
    ShareTest() : share(Mount::share(behind(), folder / "nas")) {}

    fs::path behind()
    {
        fs::create_directories(folder / "server");
        return folder / "server";
    }
    static fs::path workRoot() { return home() / ".cache/Kestrel/Arbeit"; }

    Mount share;
};

TEST_F(ShareTest, aFilmOnAShareIsEncodedLocallyAndSwapped)
{
    SKIP_WITHOUT(share);
    EXPECT_TRUE(StorageLocation::detect(folder / "nas").isNetwork());
    const fs::path film = folder.put(Clips::film(), "nas/Film.mkv");
    const auto before = fs::last_write_time(film);

    const ConversionOutcome outcome = convert(film);

    EXPECT_EQ(outcome.kind, ConversionOutcome::Kind::replaced);
    EXPECT_EQ(uploads, 1);
    EXPECT_EQ(probe(film).video->codec, "hevc");
    EXPECT_EQ(fs::last_write_time(film), before);
    EXPECT_THAT(names(folder / "server"), ElementsAre("Film.mkv"));
    EXPECT_THAT(names(workRoot()), IsEmpty());
    EXPECT_FALSE(fs::exists(SwapJournal::file()));
    EXPECT_THAT(names(trash()), IsEmpty()) << "a share's original is deleted, not trashed";
}

TEST_F(ShareTest, namesOnASharesLimitsAreSwappedToo)
{
    SKIP_WITHOUT(share);
    for (const std::string &name : {std::string(246, 'l') + ".mkv", std::string("\xff nicht utf8\n.mkv")}) {
        const fs::path film = folder.put(Clips::film(), "nas/" + name);
        EXPECT_EQ(convert(film).finalURL, film);
        EXPECT_THAT(names(folder / "server"), ElementsAre(name));
        fs::remove(film);
    }
}

TEST_F(ShareTest, anUploadThatRunsOutOfSpaceLosesNothing)
{
    SKIP_WITHOUT(share);
    const Mount disk = Mount::tmpfs(folder / "disk", 220'000'000);
    SKIP_WITHOUT(disk);
    const Mount small = Mount::share(folder / "disk", folder / "small");
    SKIP_WITHOUT(small);
    const fs::path film = folder.put(Clips::film(), "small/Film.mkv");
    const fs::path hog = folder / "disk/hog";
    ffmpeg("/usr/bin/ffmpeg \"$@\"; head -c 300000000 /dev/zero > " + quoted(hog) + " 2>/dev/null; exit 0");

    EXPECT_EQ(failure(film), "Hochladen fehlgeschlagen: Kein Speicherplatz mehr frei");
    EXPECT_THAT(names(folder / "disk"), ElementsAre("Film.mkv", "hog"));
    EXPECT_EQ(readFile(film), readFile(Clips::film()));
    EXPECT_THAT(names(workRoot()), IsEmpty());
    EXPECT_FALSE(fs::exists(SwapJournal::file()));
}

TEST_F(ShareTest, theShareGoesAwayDuringTheEncode)
{
    SKIP_WITHOUT(share);
    const fs::path film = folder.put(Clips::film(), "nas/Film.mkv");
    ffmpeg("/usr/bin/ffmpeg \"$@\"; umount -l " + quoted(folder / "nas"));
    EXPECT_THROW(convert(film), std::exception);
    EXPECT_EQ(readFile(folder / "server/Film.mkv"), readFile(Clips::film()));
    EXPECT_THAT(names(workRoot()), IsEmpty());
}

TEST_F(ShareTest, anOriginalThatCannotBeDeletedIsNamed)
{
    SKIP_WITHOUT(share);
    // Without links, or the very move aside would have to delete a name.
    const Mount linkless = Mount::sshfs(behind(), folder / "linkless", "disable_hardlink");
    SKIP_WITHOUT(linkless);
    const Mount strict = Mount::share(folder / "linkless", folder / "strict", "--delete-deny");
    SKIP_WITHOUT(strict);
    const fs::path film = folder.put(Clips::film(), "strict/Film.mkv");

    const ConversionOutcome outcome = convert(film);

    EXPECT_EQ(outcome.kind, ConversionOutcome::Kind::replaced);
    EXPECT_EQ(probe(film).video->codec, "hevc");
    EXPECT_EQ(outcome.note.value_or(""),
              "Das Original wurde nicht gelöscht (Keine Berechtigung). Es belegt weiter Platz: " +
                  (folder / "strict/Film (Original).mkv").native());
    EXPECT_EQ(readFile(folder / "server/Film (Original).mkv"), readFile(Clips::film()));
    EXPECT_THAT(names(folder / "server"), ElementsAre("Film (Original).mkv", "Film.mkv"));
    EXPECT_FALSE(fs::exists(SwapJournal::file()));
}

TEST(NetworkSwap, aFailureRestoresTheOriginal)
{
    const Sandbox share;
    const fs::path source = share.write("Film.avi", "original");
    const fs::path upload = share.write(".Film.kestrel-upload", "new");
    const fs::path taken = share.write("Film.mkv", "somebody else's");
    try {
        swapOnNetwork(source, Files::attributes(source), upload, taken, 3);
        FAIL();
    } catch (const ToolError &error) {
        EXPECT_STREQ(error.what(),
                     "Neue Datei konnte nicht übernommen werden – Original ist wiederhergestellt: "
                     "Unter diesem Namen gibt es schon etwas");
    }
    EXPECT_EQ(readFile(source), "original");
    EXPECT_EQ(readFile(taken), "somebody else's");
    EXPECT_FALSE(fs::exists(SwapJournal::file()));

    EXPECT_THROW(swapOnNetwork(source, Files::attributes(source), upload, source, 4), ToolError)
        << "the upload has another size now";
    EXPECT_EQ(readFile(source), "original");
}

TEST(NetworkSwap, aVisibleLeftoverOfTheNameIsNotTouched)
{
    const Sandbox share;
    const fs::path source = share.write("Film.mkv", "original");
    share.write("Film (Original).mkv", "older");
    swapOnNetwork(source, Files::attributes(source), share.write(".Film.kestrel-upload", "new"), source, 3);
    EXPECT_EQ(readFile(source), "new");
    EXPECT_EQ(readFile(share / "Film (Original).mkv"), "older");
    EXPECT_THAT(names(share.path()), ElementsAre("Film (Original).mkv", "Film.mkv"));
}

TEST(NetworkSwap, anOriginalThatNobodyCouldPutBackIsNotLostToTheNextSwap)
{
    const Sandbox share;
    share.write(".Film.avi.kestrel-original", "first");
    share.write("Film (Original).avi", "older");
    const fs::path source = share.write("Film.avi", "second");
    const fs::path upload = share.write(".Film.kestrel-upload", "new");
    swapOnNetwork(source, Files::attributes(source), upload, share / "Film.mkv", 3);
    EXPECT_EQ(readFile(share / "Film (Original 2).avi"), "first");
    EXPECT_THAT(names(share.path()), ElementsAre("Film (Original 2).avi", "Film (Original).avi", "Film.mkv"));
}

TEST(NetworkSwap, aSourceThatChangedAtTheLastMomentStays)
{
    const Sandbox share;
    const fs::path source = share.write("Film.avi", "original");
    const Files::Attributes converted = Files::attributes(source);
    share.write("Film.avi", "original and more");
    const fs::path upload = share.write(".Film.kestrel-upload", "new");
    EXPECT_THROW(swapOnNetwork(source, converted, upload, share / "Film.mkv", 3), ToolError);
    EXPECT_EQ(readFile(source), "original and more");
    EXPECT_FALSE(fs::exists(share / "Film.mkv"));
    EXPECT_FALSE(fs::exists(SwapJournal::file()));
}

// How many visible or hidden names hold this content; work files, which the next scan removes, aside.
int namesWith(const fs::path &folder, const std::string &content)
{
    int count = 0;
    for (const auto &name : names(folder))
        if (!name.ends_with(".kestrel-upload") && readFile(folder / name) == content)
            ++count;
    return count;
}

using Disturbance = std::function<bool(int n, const std::function<void()> &swap)>;

// Disturbed at any step: after the recovery either film is there whole, once, under a name that a person
// finds, and the journal is empty.
void expectRepairAfterEvery(const Disturbance &disturbance, const fs::path &place)
{
    for (const char *finalName : {"Film.mkv", "Film.mp4"}) {
        int steps = 0;
        for (bool wasReached = true; wasReached; ++steps) {
            const fs::path share = place / (finalName + std::to_string(steps));
            fs::create_directory(share);
            const fs::path source = share / "Film.mkv", upload = share / ".Film.kestrel-upload";
            std::ofstream(source) << "original";
            std::ofstream(upload) << "new";
            const fs::path final = share / finalName;
            wasReached = disturbance(
                steps, [&] { swapOnNetwork(source, Files::attributes(source), upload, final, 3); });
            SwapJournal::recover();

            const bool hasNew = readFile(final) == "new";
            EXPECT_TRUE(readFile(source) == "original" || hasNew) << "change " << steps;
            EXPECT_LE(namesWith(share, "original"), 1) << steps;
            EXPECT_LE(namesWith(share, "new"), 1) << steps;
            EXPECT_FALSE(fs::exists(share / ".Film.mkv.kestrel-original")) << steps;
            EXPECT_FALSE(fs::exists(SwapJournal::file())) << steps;
            if (!wasReached) {
                EXPECT_TRUE(hasNew);
            }
        }
        EXPECT_GT(steps, 8);
        for (const auto &entry : fs::directory_iterator(place))
            fs::remove_all(entry.path());
    }
}

TEST(NetworkSwap, aCrashAtAnyPointIsRepaired)
{
    const Sandbox folder;
    expectRepairAfterEvery(killedBeforeChange, folder.path());
}

// There the film has two names for a moment; only the first of these shares tells that they are one file's.
TEST_F(ShareTest, aCrashAtAnyPointIsRepairedWhereMovesAreMadeOfLinks)
{
    SKIP_WITHOUT(share);
    expectRepairAfterEvery(killedBeforeChange, folder / "nas");
    fs::create_directory(folder / "sftp");
    const Mount sshfs = Mount::sshfs(folder / "sftp", folder / "ssh");
    SKIP_WITHOUT(sshfs);
    expectRepairAfterEvery(killedBeforeChange, folder / "ssh");
}

// The server does what it was asked for, and its answer gets lost: nothing that may be the film's last name
// is removed. What could not be told apart is left to a person, under visible names.
TEST_F(ShareTest, anAnswerThatGetsLostAtAnyPointCostsNoFilm)
{
    SKIP_WITHOUT(share);
    fs::create_directory(folder / "sftp");
    const Mount sshfs = Mount::sshfs(folder / "sftp", folder / "ssh");
    SKIP_WITHOUT(sshfs);
    for (const fs::path &place : {folder / "nas", folder / "ssh"})
        for (const bool isRecovery : {false, true}) {
            bool wasReached = true;
            for (int n = 0; wasReached; ++n) {
                const fs::path film = place / (std::to_string(isRecovery) + std::to_string(n));
                fs::create_directory(film);
                const fs::path source = film / "Film.mkv", upload = film / ".Film.kestrel-upload";
                std::ofstream(source) << "original";
                std::ofstream(upload) << "new";
                const auto swap = [&] {
                    swapOnNetwork(source, Files::attributes(source), upload, source, 3);
                };
                if (isRecovery) { // of a swap that was killed when only the backup was left
                    killedBeforeChange(9, swap);
                    wasReached = deniedAfterChange(n, [] { SwapJournal::recover(); });
                } else {
                    wasReached = deniedAfterChange(n, swap);
                }
                SwapJournal::recover();
                EXPECT_GE(namesWith(film, "original") + namesWith(film, "new"), 1) << film;
            }
        }
    for (const auto &entry : SwapJournal::entries())
        SwapJournal::remove(entry);
}

// Somebody saves a film under this name at any moment of the swap.
TEST_F(ShareTest, aFileThatAppearsUnderTheFilmsNameIsNeverReplaced)
{
    SKIP_WITHOUT(share);
    const std::string theirs = "somebody else's";
    for (const char *finalName : {"Film.mkv", "Film.mp4"}) {
        bool wasReached = true;
        for (int n = 0; wasReached; ++n) {
            const fs::path place = folder / "nas" / (finalName + std::to_string(n));
            fs::create_directory(place);
            const fs::path source = place / "Film.mkv", upload = place / ".Film.kestrel-upload";
            std::ofstream(source) << "original";
            std::ofstream(upload) << "new";
            const fs::path final = place / finalName;
            bool hasAppeared = false;
            wasReached = interruptedBeforeChange(
                n, [&] { swapOnNetwork(source, Files::attributes(source), upload, final, 3); },
                [&] {
                    hasAppeared = !fs::exists(final);
                    if (hasAppeared)
                        std::ofstream(final) << theirs;
                });
            SwapJournal::recover();
            EXPECT_EQ(namesWith(place, theirs), hasAppeared ? 1 : 0) << finalName << " before change " << n;
            EXPECT_EQ(namesWith(place, "original") + namesWith(place, "new"), 1) << finalName << " " << n;
        }
    }
    EXPECT_THAT(SwapJournal::entries(), IsEmpty());
}

TEST(NetworkSwap, aSecondNameOfTheSourceIsNoEarlierOriginal)
{
    const Sandbox share;
    const fs::path source = share.write("Film.avi", "original");
    fs::create_hard_link(source, share / ".Film.avi.kestrel-original");
    const fs::path upload = share.write(".Film.kestrel-upload", "new");
    swapOnNetwork(source, Files::attributes(source), upload, share / "Film.mkv", 3);
    EXPECT_THAT(names(share.path()), ElementsAre("Film.mkv"));
}

// sshfs gives a file another number whenever the kernel has forgotten it, and after a reconnection.
TEST_F(ShareTest, aFilmOnSshfsIsSwappedAlsoAfterAReconnection)
{
    fs::create_directory(folder / "sftp");
    const Mount sshfs = Mount::sshfs(folder / "sftp", folder / "ssh");
    SKIP_WITHOUT(sshfs);
    const StorageLocation location = StorageLocation::detect(folder / "ssh");
    EXPECT_EQ(location.title(), "Netzwerk (SFTP)");
    EXPECT_FALSE(location.hasRecycleBin);
    fs::create_directory(folder / "sftp/.recycle");
    EXPECT_TRUE(StorageLocation::detect(folder / "ssh").hasRecycleBin);

    folder.put(Clips::film(), "sftp/A.mkv");
    const fs::path film = folder.put(Clips::film(), "ssh/Film.mkv");
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

TEST_F(JobTest, aCrashAtAnyPointOfALocalSwapLosesNothing)
{
    const fs::path film = folder.put(Clips::film(), "Film.mkv");
    const std::string original = readFile(film);
    MediaInfo info = probe(film);
    info.fileSize *= 2; // a copy of the film counts as a saving
    ffmpeg("cp " + quoted(Clips::film()) + " \"$last\"; printf x >> \"$last\"");
    int kills = 0;
    for (bool wasKilled = true; wasKilled; ++kills) {
        fs::remove_all(home() / ".local");
        folder.put(Clips::film(), "Film.mkv");
        wasKilled = killedBeforeChange(kills, [&] { convert(info); });
        const bool inTrash = fs::exists(trash() / "Film.mkv") && readFile(trash() / "Film.mkv") == original;
        const bool inPlace = fs::exists(film) && readFile(film) == original;
        EXPECT_TRUE(inTrash || inPlace) << "killed before change " << kills;
        const bool isVisible =
            readFile(film) == original + "x" || readFile(folder / "Film (Kestrel).mkv") == original + "x";
        EXPECT_TRUE(inPlace || isVisible) << "killed before change " << kills;
        fs::remove(folder / "Film (Kestrel).mkv");
    }
    EXPECT_GT(kills, 5);
    folder.put(Clips::film(), "Film.mkv");
    convert(info);
    EXPECT_EQ(readFile(film), original + "x");
}

} // namespace
} // namespace kestrel::test
