#include <thread>

#include <fmt/format.h>

#include "encoding/JobFixture.h"
#include "platform/Cancelled.h"
#include "support/Mounts.h"

namespace kestrel::test {
namespace {

using Kind = ConversionOutcome::Kind;

std::int64_t sizeOf(const fs::path &file)
{
    return static_cast<std::int64_t>(fs::file_size(file));
}

TEST_F(JobTest, replacesTheOriginalAndKeepsItInTheTrash)
{
    const fs::path film = put("Film.mkv");
    const auto before = fs::last_write_time(film);
    fs::permissions(film, fs::perms(0440));

    const ConversionOutcome outcome = convert(film);

    EXPECT_EQ(outcome, (ConversionOutcome{Kind::replaced, sizeOf(Clips::film()), sizeOf(film), film}));
    EXPECT_EQ(probe(film).video->codec, "hevc");
    EXPECT_EQ(fs::last_write_time(film), before);
    EXPECT_EQ(fs::status(film).permissions(), fs::perms(0440));
    EXPECT_THAT(names(folder.path()), ElementsAre("Film.mkv"));
    EXPECT_EQ(readFile(trash() / "Film.mkv"), readFile(Clips::film()));
}

TEST_F(JobTest, writesBesideTheOpenedFolderAndLeavesTheOriginal)
{
    settings.outputMode = OutputMode::separateFolder;
    const fs::path film = put("Serie/Film.mkv");

    EXPECT_EQ(convert(film).finalURL, beside / "Serie/Film.mkv");
    EXPECT_EQ(readFile(film), readFile(Clips::film()));
    EXPECT_THAT(names(beside / "Serie"), ElementsAre("Film.mkv"));

    fs::remove_all(beside);
    ffmpeg("exit 1");
    failure(film);
    EXPECT_THAT(names(beside), IsEmpty()) << "a failed job leaves no empty folders behind";
}

TEST_F(JobTest, neverOverwritesAnotherFileOfTheTargetsName)
{
    folder.write("film.mkv", "somebody else's");
    folder.write("film (Kestrel).mkv", "from last time");
    EXPECT_EQ(convert(put("film.mov")).finalURL, folder / "film (Kestrel 2).mkv");
    fs::remove(folder / "film (Kestrel 2).mkv");
    EXPECT_EQ(contents(folder.path()),
              (Contents{{"film.mkv", "somebody else's"}, {"film (Kestrel).mkv", "from last time"}}));
}

TEST_F(JobTest, twoSourcesOfOneNameAreConvertedSideBySide)
{
    const MediaInfo one = probe(put("film.mov")), two = probe(put("film.m4v"));
    {
        const std::jthread a([&] { convert(one); });
        const std::jthread b([&] { convert(two); });
    }
    EXPECT_THAT(names(folder.path()), ElementsAre("film (Kestrel).mkv", "film.mkv"));
    for (const auto &name : names(folder.path()))
        EXPECT_NEAR(probe(folder / name).duration, 2, 0.2) << name;
}

TEST_F(JobTest, acceptsOnlyWhatSavesEnough)
{
    settings.outputMode = OutputMode::separateFolder;
    MediaInfo info = probe(put("Film.mkv"));
    ffmpegMakes(result());
    const auto kindFor = [&](std::int64_t originalSize) {
        info.fileSize = originalSize;
        return convert(info).kind;
    };
    const std::int64_t size = sizeOf(result());
    EXPECT_EQ(kindFor(size * 100 / 95 + 1), Kind::written) << "just under 95 %";
    EXPECT_EQ(kindFor(size * 100 / 96), Kind::noSavings) << "96 %";

    settings.codec = VideoCodecChoice::keepVideo; // the picture is copied: one byte is enough
    EXPECT_EQ(kindFor(size + 1), Kind::written);
    EXPECT_EQ(kindFor(size), Kind::noSavings);
}

TEST_F(JobTest, rejectsAResultThatIsNotWhole)
{
    const fs::path film = folder.put(Clips::longFilm(), "Film.mkv");
    const auto resultOf = [&](const std::string &name, const std::string &arguments) {
        ffmpegMakes(Clips::make(name, arguments));
        return failure(film);
    };
    const std::string video = "-f lavfi -i testsrc2=s=160x120:r=10:d=40 ", sound = "-f lavfi -i sine=d=40 ";
    const std::string both = video + sound + "-c:v mpeg4 -c:a ac3 ";
    EXPECT_EQ(resultOf("no-video.mkv", sound + "-c:a ac3"), "Prüfung fehlgeschlagen: Videospur fehlt.");
    EXPECT_EQ(resultOf("no-audio.mkv", video + "-c:v mpeg4"), "Prüfung fehlgeschlagen: 0 statt 1 Tonspuren.");
    EXPECT_EQ(resultOf("short.mkv", both + "-t 36"), "Prüfung fehlgeschlagen: Laufzeit 36 s statt 40 s.");
    EXPECT_EQ(resultOf("nearly.mkv", both + "-t 37.5"), "") << "within three seconds";

    const fs::path half = Clips::make("half.mkv", "-i " + quoted(Clips::longFilm()) + " -t 20 -c copy");
    ffmpegMakes(result()); // of two seconds
    EXPECT_EQ(failure(folder.put(half, "Film.mkv")), "") << "below half a minute the length is not checked";
}

// A source that cannot be read to its end is, for ffmpeg, a shorter film and no error.
TEST_F(JobTest, faultsOfTheProgramsLoseNothing)
{
    const fs::path film = put("Zwei\nZeilen.mkv");
    const MediaInfo info = probe(film);
    const auto expectFailure = [&](const std::string &text) {
        EXPECT_THAT(failure(info), HasSubstr(text));
        EXPECT_THAT(names(folder.path()), ElementsAre("Zwei\nZeilen.mkv")) << text;
        EXPECT_TRUE(readFile(film) == readFile(Clips::film())) << text;
    };
    for (const auto &[body, text] : std::map<std::string, std::string>{
             {"echo kaputt >&2; exit 3", "ffmpeg meldet einen Fehler (3):\nkaputt"},
             {"kill -9 $$", "ffmpeg meldet einen Fehler (137):\n"},
             {"exit 0", "Invalid data"},
             {"echo Unsinn > \"$last\"; head -c 100000 /dev/urandom; exit 0", "Invalid data"},
             {"rm -f \"$last\"; exit 0", "No such file"}}) {
        ffmpeg(body);
        expectFailure(text);
    }
    ffmpegMakes(result(), "echo 'Zeilen.mkv: No such device' >&2");
    expectFailure("ffmpeg konnte nicht alles lesen oder schreiben:\n");
    ffmpegMakes(result(), "echo '[h264 @ 0x557fb12778c0] error while decoding MB 0 2' >&2");
    const fs::path ffprobe = tools.ffprobe;
    tools.ffprobe = standIn(toolbox, "ffprobe", "echo '[1, 2]'");
    expectFailure("ffprobe lieferte keine lesbare Antwort");
    tools.ffprobe = ffprobe;
    EXPECT_EQ(failure(info), "") << "a damaged picture is no loss of the conversion's";
}

TEST_F(JobTest, aHangingFfmpegIsCancelledWithItsHelpers)
{
    const MediaInfo info = probe(put("Film.mkv"));
    const fs::path started = toolbox / "started";
    // The shell waits for a helper that would keep the pipes open for long.
    ffmpeg("echo halb > \"$last\"; touch " + quoted(started) + "; sleep 1000; exit 1");
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
    const fs::path film = put("Film.mkv");
    ffmpegMakes(result(), "echo mehr >> " + quoted(film));
    EXPECT_THAT(failure(film), HasSubstr("während der Umwandlung verändert"));
    EXPECT_THAT(names(folder.path()), ElementsAre("Film.mkv"));
    EXPECT_TRUE(readFile(film).ends_with("mehr\n"));
}

TEST_F(JobTest, convertsFilesOfAnyName)
{
    for (const std::string &base :
         {std::string("mit Leer zeichen & Umlaut äöü"), std::string("'\"[%03d](x)"),
          std::string("zwei\nZeilen"), std::string("-bindestrich"), std::string("kein utf8 \xff\xfe"),
          std::string(246, 'l'), std::string("100% \\ :;*?")}) {
        const fs::path film = put(base + ".mkv");
        EXPECT_EQ(convert(film).finalURL, film) << base;
        EXPECT_THAT(names(folder.path()), ElementsAre(base + ".mkv"));
        EXPECT_EQ(probe(film).video->codec, "hevc") << base;
        fs::remove(film);
    }
    const fs::path tooLong = put(std::string(252, 'x') + ".ts");
    EXPECT_THAT(failure(tooLong), StartsWith("Der Name der neuen Datei wäre zu lang"));
    EXPECT_TRUE(fs::exists(tooLong));
}

TEST_F(JobTest, aDiskThatTakesNothingIsToldBeforeAnyWork)
{
    const Mount readOnly = Mount::tmpfs(folder / "fest", 600'000'000);
    const Mount small = Mount::tmpfs(folder / "klein", 50'000'000);
    SKIP_WITHOUT(readOnly);
    SKIP_WITHOUT(small);
    const fs::path film = put("fest/Film.mkv");
    ASSERT_TRUE(readOnly.makeReadOnly());
    ffmpeg("touch " + quoted(toolbox / "ran"));
    EXPECT_THROW(convert(film), fs::filesystem_error);
    EXPECT_THAT(failure(put("klein/Film.mkv")),
                AllOf(StartsWith("Zu wenig freier Speicher auf „" + (folder / "klein").native() + "“ ("),
                      HasSubstr(" frei, etwa 500 MB nötig).")));
    EXPECT_FALSE(fs::exists(toolbox / "ran"));
    for (const char *disk : {"fest", "klein"})
        EXPECT_THAT(names(folder / disk), ElementsAre("Film.mkv"));
}

// With a full disk ffmpeg up to 6 exits with status 0, and the file looks whole by its header.
TEST_F(JobTest, aDiskThatFillsUpWhileEncodingLosesNothing)
{
    const Mount disk = Mount::tmpfs(folder / "disk", 520'000'000);
    SKIP_WITHOUT(disk);
    const fs::path film = put("disk/Film.mkv"), hog = folder / "disk/hog";
    for (const long left : {0, 24'576}) { // bytes, less than the result needs
        // Somebody else takes all the space but that; then the real ffmpeg runs into the end.
        ffmpeg(fmt::format("head -c 600000000 /dev/zero > {0} 2>/dev/null; truncate -s -{1} {0}; exec "
                           "/usr/bin/ffmpeg \"$@\"",
                           quoted(hog), left));
        EXPECT_THAT(failure(film),
                    AllOf(AnyOf(StartsWith("ffmpeg konnte nicht alles lesen oder schreiben:\n"),
                                StartsWith("ffmpeg meldet einen Fehler (228):\n")),
                          HasSubstr("No space left on device")));
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
    for (const char *from : {"out/a/b/c", "out/kept"}) {
        ConversionJob::removeEmptyFolders(sandbox / from, sandbox / "out");
        EXPECT_THAT(names(sandbox / "out"), ElementsAre("kept"));
    }
}

} // namespace
} // namespace kestrel::test
