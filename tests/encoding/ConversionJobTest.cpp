#include <thread>

#include <fmt/format.h>

#include "encoding/JobFixture.h"
#include "platform/Cancelled.h"
#include "platform/Files.h"
#include "support/Mounts.h"

namespace kestrel::test {
namespace {

TEST_F(JobTest, replacesTheOriginalAndKeepsItInTheTrash)
{
    const fs::path film = folder.put(Clips::film(), "Film.mkv");
    const auto before = fs::last_write_time(film);
    fs::permissions(film, fs::perms(0440));
    const std::string original = readFile(film);

    const ConversionOutcome outcome = convert(film);

    EXPECT_EQ(outcome.kind, ConversionOutcome::Kind::replaced);
    EXPECT_EQ(outcome.finalURL, film);
    EXPECT_EQ(outcome.newSize, static_cast<std::int64_t>(fs::file_size(film)));
    EXPECT_EQ(probe(film).video->codec, "hevc");
    EXPECT_EQ(fs::last_write_time(film), before);
    EXPECT_EQ(fs::status(film).permissions(), fs::perms(0440));
    EXPECT_THAT(names(folder.path()), ElementsAre("Film.mkv"));
    EXPECT_EQ(readFile(trash() / "Film.mkv"), original);
}

TEST_F(JobTest, writesBesideTheOpenedFolderAndLeavesTheOriginal)
{
    settings.outputMode = OutputMode::separateFolder;
    const fs::path film = folder.put(Clips::film(), "Serie/Film.mkv");
    const std::string original = readFile(film);
    const fs::path beside = folder.path().native() + " (Kestrel)";

    EXPECT_EQ(convert(film).finalURL, beside / "Serie/Film.mkv");
    EXPECT_EQ(readFile(film), original);
    EXPECT_THAT(names(beside / "Serie"), ElementsAre("Film.mkv"));

    fs::remove_all(beside);
    ffmpeg("exit 1");
    failure(film);
    EXPECT_THAT(names(beside), IsEmpty()) << "a failed job leaves no empty folders behind";
    fs::remove(beside);
}

TEST_F(JobTest, neverOverwritesAnotherFileOfTheTargetsName)
{
    const fs::path other = folder.write("film.mkv", "somebody else's");
    folder.write("film (Kestrel).mkv", "from last time");
    const fs::path film = folder.put(Clips::film(), "film.mov");

    EXPECT_EQ(convert(film).finalURL, folder / "film (Kestrel 2).mkv");
    EXPECT_EQ(readFile(other), "somebody else's");
    EXPECT_EQ(readFile(folder / "film (Kestrel).mkv"), "from last time");
    EXPECT_FALSE(fs::exists(film));
}

TEST_F(JobTest, twoSourcesOfOneNameAreConvertedSideBySide)
{
    const fs::path first = folder.put(Clips::film(), "film.mov");
    const fs::path second = folder.put(Clips::film(), "film.m4v");
    const MediaInfo one = probe(first), two = probe(second);
    {
        const std::jthread a([&] { convert(one); });
        const std::jthread b([&] { convert(two); });
    }
    EXPECT_THAT(names(folder.path()), ElementsAre("film (Kestrel).mkv", "film.mkv"));
    for (const char *name : {"film (Kestrel).mkv", "film.mkv"})
        EXPECT_NEAR(probe(folder / name).duration, 2, 0.2) << name;
}

TEST_F(JobTest, acceptsOnlyWhatSavesEnough)
{
    const fs::path film = folder.put(Clips::film(), "Film.mkv");
    const fs::path made =
        Clips::make("hevc.mkv", "-f lavfi -i testsrc2=s=320x240:r=25:d=2 -f lavfi -i sine=d=2 "
                                "-c:v libx265 -preset ultrafast -x265-params log-level=error -c:a ac3");
    ffmpeg("cp " + quoted(made) + " \"$last\"");
    const auto size = static_cast<std::int64_t>(fs::file_size(made));
    settings.outputMode = OutputMode::separateFolder;
    MediaInfo info = probe(film);

    const auto kindFor = [&](std::int64_t originalSize) {
        info.fileSize = originalSize;
        return convert(info).kind;
    };
    using Kind = ConversionOutcome::Kind;
    EXPECT_EQ(kindFor(size * 100 / 95 + 1), Kind::written) << "just under 95 %";
    EXPECT_EQ(kindFor(size * 100 / 96), Kind::noSavings) << "96 %";

    settings.codec = VideoCodecChoice::keepVideo; // the picture is copied: one byte is enough
    EXPECT_EQ(kindFor(size + 1), Kind::written);
    EXPECT_EQ(kindFor(size), Kind::noSavings);
}

TEST_F(JobTest, rejectsAResultThatIsNotWhole)
{
    const fs::path film = folder.put(Clips::longFilm(), "Film.mkv");
    const MediaInfo info = probe(film);
    const auto resultOf = [&](const std::string &name, const std::string &arguments) {
        ffmpeg("cp " + quoted(Clips::make(name, arguments)) + " \"$last\"");
        return failure(info);
    };
    const std::string video = "-f lavfi -i testsrc2=s=160x120:r=10:d=40 ", sound = "-f lavfi -i sine=d=40 ";
    EXPECT_EQ(resultOf("no-video.mkv", sound + "-c:a ac3"), "Prüfung fehlgeschlagen: Videospur fehlt.");
    EXPECT_EQ(resultOf("no-audio.mkv", video + "-c:v mpeg4"), "Prüfung fehlgeschlagen: 0 statt 1 Tonspuren.");
    EXPECT_EQ(resultOf("short.mkv", video + sound + "-c:v mpeg4 -c:a ac3 -t 36"),
              "Prüfung fehlgeschlagen: Laufzeit 36 s statt 40 s.");
    EXPECT_EQ(resultOf("nearly.mkv", video + sound + "-c:v mpeg4 -c:a ac3 -t 37.5"), "")
        << "within three seconds";
}

TEST_F(JobTest, aShortFilmIsNotCheckedForItsDuration)
{
    const fs::path film = folder.put(Clips::film(), "Film.mkv");
    ffmpeg("cp " +
           quoted(Clips::make("shorter.mkv", "-f lavfi -i testsrc2=s=320x240:r=25:d=1 -f lavfi -i sine=d=1 "
                                             "-c:v mpeg4 -c:a ac3")) +
           " \"$last\"");
    EXPECT_EQ(failure(film), "");
}

// Each of these leaves the original as it was and no work files.
TEST_F(JobTest, faultsOfFfmpegLoseNothing)
{
    const fs::path film = folder.put(Clips::film(), "Film.mkv");
    const std::string original = readFile(film);
    struct Case {
        const char *body, *text;
    };
    const Case cases[] = {
        {"echo kaputt >&2; exit 3", "ffmpeg meldet einen Fehler (3):\nkaputt"},
        {"kill -9 $$", "ffmpeg meldet einen Fehler (137):\n"},
        {"exit 0", "Prüfung"},
        {"echo Unsinn > \"$last\"; head -c 100000 /dev/urandom; exit 0", "Invalid data"},
        {"rm -f \"$last\"; exit 0", "No such file"},
    };
    for (const Case &c : cases) {
        ffmpeg(c.body);
        const std::string text = failure(film);
        EXPECT_FALSE(text.empty()) << c.body;
        if (std::string_view(c.text) != "Prüfung") {
            EXPECT_THAT(text, HasSubstr(c.text));
        }
        EXPECT_THAT(names(folder.path()), ElementsAre("Film.mkv")) << c.body;
        EXPECT_EQ(readFile(film), original) << c.body;
    }
}

// A source that cannot be read to its end is, for ffmpeg, a shorter film and no error.
TEST_F(JobTest, aReadErrorIsNotTheEndOfTheFilm)
{
    const fs::path film = folder.put(Clips::film(), "Zwei\nZeilen.mkv");
    ffmpeg("/usr/bin/ffmpeg \"$@\" -t 1; echo \"Zeilen.mkv: Input/output error\" >&2; exit 0");
    EXPECT_THAT(failure(film), StartsWith("ffmpeg konnte nicht alles lesen oder schreiben:"));
    EXPECT_EQ(readFile(film), readFile(Clips::film()));
}

// Two and a half seconds less of a minute pass the check of the length.
TEST_F(JobTest, aLossThatFfmpegOnlySpeaksOfKeepsTheOriginal)
{
    const std::string minute = "-f lavfi -i testsrc2=s=160x120:r=10:d=60 -f lavfi -i sine=d=60 -c:a ac3 ";
    const fs::path source = Clips::make("minute.mkv", minute + "-c:v libx264 -preset ultrafast -crf 1");
    const fs::path shorter = Clips::make("shorter-minute.mkv", minute + "-c:v mpeg4 -t 57.5");
    const fs::path film = folder.put(source, "Film.mkv");
    const auto failureWith = [&](const std::string &words) {
        ffmpeg("cp " + quoted(shorter) + " \"$last\"; echo '" + words + "' >&2; exit 0");
        return failure(film);
    };
    for (const char *words :
         {"[in#0/matroska,webm @ 0x5576ee5355c0] Error during demuxing: No such device",
          "[out#0/matroska @ 0x55ae3843b800] Error muxing a packet",
          "[out#0/matroska @ 0x55ae3843b800] Error writing trailer: No space left on device",
          "[out#0/matroska @ 0x558f6d24b800] Error closing file: Disk quota exceeded"}) {
        EXPECT_THAT(failureWith(words), StartsWith("ffmpeg konnte nicht alles lesen oder schreiben:"))
            << words;
        EXPECT_TRUE(readFile(film) == readFile(source)) << words;
    }
    EXPECT_EQ(failureWith("[h264 @ 0x557fb12778c0] error while decoding MB 0 2"), "");
}

TEST_F(JobTest, rubbishFromFfprobeLosesNothing)
{
    const fs::path film = folder.put(Clips::film(), "Film.mkv");
    const MediaInfo info = probe(film);
    ffmpeg("cp " + quoted(film) + " \"$last\"");
    tools.ffprobe = standIn(toolbox, "ffprobe", "echo '[1, 2]'");
    EXPECT_EQ(failure(info), "ffprobe lieferte keine lesbare Antwort");
    EXPECT_THAT(names(folder.path()), ElementsAre("Film.mkv"));
}

TEST_F(JobTest, aHangingFfmpegIsCancelledWithItsHelpers)
{
    const fs::path film = folder.put(Clips::film(), "Film.mkv");
    const fs::path started = toolbox / "started";
    // The shell waits for a helper that would keep the pipes open for long.
    ffmpeg("echo halb > \"$last\"; touch " + quoted(started) + "; sleep 1000; exit 1");
    const MediaInfo info = probe(film);
    std::stop_source stop;
    const std::jthread canceller([&] {
        while (!fs::exists(started))
            std::this_thread::yield();
        stop.request_stop();
    });
    EXPECT_THROW(convert(info, stop.get_token()), Cancelled);
    EXPECT_THAT(names(folder.path()), ElementsAre("Film.mkv"));
}

TEST_F(JobTest, aSourceThatChangesMeanwhileIsLeftAlone)
{
    const fs::path film = folder.put(Clips::film(), "Film.mkv");
    ffmpeg("cp " + quoted(Clips::film()) +
           " \"$last\"; truncate -s 100 \"$last.x\"; rm \"$last.x\"; echo mehr >> " + quoted(film));
    MediaInfo info = probe(film);
    info.fileSize *= 2; // so that the copy counts as a saving
    EXPECT_THAT(failure(info), HasSubstr("während der Umwandlung verändert"));
    EXPECT_THAT(names(folder.path()), ElementsAre("Film.mkv"));
    EXPECT_TRUE(readFile(film).ends_with("mehr\n"));
}

TEST_F(JobTest, convertsFilesOfAnyName)
{
    const std::string longName(246, 'l');
    for (const std::string &base :
         {std::string("mit Leer zeichen & Umlaut äöü"), std::string("'\"[%03d](x)"),
          std::string("zwei\nZeilen"), std::string("-bindestrich"), std::string("kein utf8 \xff\xfe"),
          longName, std::string("100% \\ :;*?")}) {
        const fs::path film = folder.put(Clips::film(), base + ".mkv");
        EXPECT_EQ(convert(film).finalURL, film) << base;
        EXPECT_THAT(names(folder.path()), ElementsAre(base + ".mkv"));
        EXPECT_EQ(probe(film).video->codec, "hevc") << base;
        fs::remove(film);
    }
    const fs::path tooLong = folder.put(Clips::film(), std::string(252, 'x') + ".ts");
    EXPECT_THAT(failure(tooLong), StartsWith("Der Name der neuen Datei wäre zu lang"));
    EXPECT_TRUE(fs::exists(tooLong));
}

TEST_F(JobTest, keepsBothFilesWhereTheTrashTakesNothing)
{
    const fs::path film = folder.put(Clips::film(), "Film.mkv");
    if (!shell("chattr +i " + quoted(film) + " 2>/dev/null"))
        GTEST_SKIP() << "chattr +i needs root and a file system that knows it";
    const std::string text = failure(film);
    shell("chattr -i " + quoted(film));
    EXPECT_EQ(text,
              "Original konnte nicht in den Papierkorb gelegt werden (Keine Berechtigung). Neue Datei: Film "
              "(Kestrel).mkv");
    EXPECT_THAT(names(folder.path()), ElementsAre("Film (Kestrel).mkv", "Film.mkv"));
    EXPECT_EQ(readFile(film), readFile(Clips::film()));
}

TEST_F(JobTest, aReadOnlyTargetIsToldBeforeAnyWork)
{
    const Mount disk = Mount::tmpfs(folder / "disk", 600'000'000);
    SKIP_WITHOUT(disk);
    const fs::path film = folder.put(Clips::film(), "disk/Film.mkv");
    ASSERT_TRUE(disk.makeReadOnly());
    ffmpeg("touch " + quoted(toolbox / "ran"));
    EXPECT_THROW(convert(film), fs::filesystem_error);
    EXPECT_FALSE(fs::exists(toolbox / "ran"));
    EXPECT_THAT(names(folder / "disk"), ElementsAre("Film.mkv"));
}

TEST_F(JobTest, tooLittleSpaceIsToldBeforeAnyWork)
{
    const Mount disk = Mount::tmpfs(folder / "disk", 50'000'000);
    SKIP_WITHOUT(disk);
    const fs::path film = folder.put(Clips::film(), "disk/Film.mkv");
    EXPECT_THAT(failure(film),
                StartsWith("Zu wenig freier Speicher auf „" + (folder / "disk").native() + "“ ("));
    EXPECT_THAT(failure(film), HasSubstr(" frei, etwa 500 MB nötig)."));
    EXPECT_THAT(names(folder / "disk"), ElementsAre("Film.mkv"));
}

// With a full disk ffmpeg up to 6 exits with status 0, and the file looks whole by its header.
TEST_F(JobTest, aDiskThatFillsUpWhileEncodingLosesNothing)
{
    const Mount disk = Mount::tmpfs(folder / "disk", 520'000'000);
    SKIP_WITHOUT(disk);
    const fs::path film = folder.put(Clips::film(), "disk/Film.mkv");
    const fs::path hog = folder / "disk/hog";
    for (const long left : {0, 24'576}) { // bytes, less than the result needs
        // Somebody else takes all the space but that; then the real ffmpeg runs into the end.
        ffmpeg(fmt::format("head -c 600000000 /dev/zero > {0} 2>/dev/null; truncate -s -{1} {0}; exec "
                           "/usr/bin/ffmpeg \"$@\"",
                           quoted(hog), left));
        const std::string text = failure(film);
        EXPECT_THAT(text, AnyOf(StartsWith("ffmpeg konnte nicht alles lesen oder schreiben:\n"),
                                StartsWith("ffmpeg meldet einen Fehler (228):\n")));
        EXPECT_THAT(text, HasSubstr("No space left on device"));
        EXPECT_THAT(names(folder / "disk"), ElementsAre("Film.mkv", "hog"));
        EXPECT_EQ(readFile(film), readFile(Clips::film()));
        fs::remove(hog);
    }
}

TEST(ConversionJob, emptyFoldersAreRemovedUpToTheOutputFolder)
{
    const Sandbox sandbox;
    sandbox.write("out/a/b/c/.DS_Store", "");
    sandbox.write("out/kept/x", "");
    ConversionJob::removeEmptyFolders(sandbox / "out/a/b/c", sandbox / "out");
    EXPECT_THAT(names(sandbox / "out"), ElementsAre("kept"));
    ConversionJob::removeEmptyFolders(sandbox / "out/kept", sandbox / "out");
    EXPECT_THAT(names(sandbox / "out"), ElementsAre("kept"));
}

} // namespace
} // namespace kestrel::test
