#include "encoding/HiddenOriginal.h"
#include "encoding/LocalSwap.h"
#include "encoding/SwapJournal.h"
#include "media/ProbeStore.h"
#include "model/ModelFixture.h"
#include "support/Mounts.h"

namespace kestrel::test {
namespace {

class ScanTest : public ModelTest {
protected:
    void open(const fs::path &root)
    {
        model->open(root);
        EXPECT_TRUE(idle());
    }
    bool hasBegunToProbe()
    {
        return eventually([&] { return model->activity().done > 0; });
    }
};

TEST_F(ScanTest, aFolderWithoutVideosIsToldSo)
{
    folder.write("notes.txt", "");
    start();
    for (const fs::path &empty : {folder.path(), folder / "missing"}) {
        open(empty);
        EXPECT_EQ(model->message(), "In diesem Ordner wurden keine Videodateien gefunden.");
        EXPECT_THAT(model->library().items(), IsEmpty());
    }
}

TEST_F(ScanTest, neverMoreThanEightProbesRun)
{
    for (int i = 0; i < 20; ++i)
        film(std::to_string(i) + ".mkv");
    ffprobe(countsItself("sleep 0.05"));
    startAndScan();
    EXPECT_THAT(counts(), testing::AllOf(testing::SizeIs(20), testing::Contains(testing::Gt(2)),
                                         testing::Each(testing::Le(8))));
    for (const auto &file : model->library().items())
        EXPECT_TRUE(file->isActionable());
    EXPECT_EQ(model->message(), std::nullopt);
}

TEST_F(ScanTest, whatMayStillBeCopiedIsLeftOut)
{
    const auto now = fs::file_time_type::clock::now();
    fs::last_write_time(film("a.mkv"), now - std::chrono::seconds(80)); // the machine may be slow
    fs::last_write_time(film("b.mkv"), now - std::chrono::seconds(91));
    folder.write("c.mkv", "");
    ffprobe("case \"$last\" in *c.mkv) echo kaputt >&2; exit 1;; esac");
    startAndScan();
    EXPECT_TRUE(item("a.mkv").mayBeIncomplete);
    EXPECT_EQ(item("c.mkv").probeError, "kaputt");
    EXPECT_TRUE(!item("a.mkv").isCounted() && item("b.mkv").isCounted() && !item("c.mkv").isCounted());
    const Totals totals = model->totals();
    EXPECT_EQ(std::tuple(totals.files, totals.incomplete, totals.errors), std::tuple(1, 1, 1));
    EXPECT_EQ(model->message(), "1 Dateien werden evtl. noch kopiert – später neu analysieren");
}

TEST_F(ScanTest, aNewScanStartsFromNothing)
{
    library({"a.mkv"});
    EXPECT_EQ(item("a.mkv").estimate->kind, SizeEstimate::Kind::measured);
    film("b.mkv");
    model->library().setSelection({folder / "a.mkv"});
    model->rescan();
    EXPECT_THAT(model->library().selection(), IsEmpty());
    model->open("/"); // ignored while busy
    EXPECT_TRUE(idle());
    EXPECT_EQ(model->rootURL(), folder.path());
    EXPECT_EQ(model->library().items().size(), 2U);
    EXPECT_THAT(item("a.mkv").samples, IsEmpty());
}

TEST_F(ScanTest, unchangedFilesAreNotProbedAgain)
{
    film("a.mkv");
    film("b.mkv");
    std::this_thread::sleep_for(std::chrono::milliseconds(3100)); // a change time cannot be set back
    ffprobe("echo >> " + tool("asked"));
    const auto asked = [&] { return readFile(toolbox / "asked").size(); };
    startAndScan();
    EXPECT_EQ(asked(), 2U);
    const MediaInfo before = *item("a.mkv").info;
    rescan();
    EXPECT_EQ(asked(), 2U);
    EXPECT_EQ(*item("a.mkv").info, before);

    film("a.mkv"); // the same content and date, but touched
    rescan();
    EXPECT_EQ(asked(), 3U);

    startAndScan({.asksAgain = true});
    EXPECT_EQ(asked(), 5U);

    model.reset();
    std::ofstream(ProbeStore::usualFile()) << std::string(100'000, 'x');
    startAndScan();
    EXPECT_EQ(asked(), 7U) << "a damaged store is none";
    EXPECT_TRUE(item("b.mkv").info);
}

TEST_F(ScanTest, aReplacementThatWasCutOffIsFinishedUnlessNothingMayChange)
{
    film("a.mkv");
    const fs::path work = folder.write(".a.kestrel-tmp.mkv", std::string(5'000, 'y'));
    const auto record = LocalSwap::showBeside(
        {work, {folder / "a.mkv", Files::attributes(folder / "a.mkv")}, folder / "a.mkv", {true, true, 0}},
        {});
    startAndScan({.changesFiles = false});
    EXPECT_EQ(model->library().items().size(), 1U) << "the result is no film of its own";
    EXPECT_THAT(names(folder.path()), ElementsAre("a (Kestrel).mkv", "a.mkv"));

    start(); // also without a folder
    EXPECT_THAT(names(folder.path()), ElementsAre("a.mkv"));
    EXPECT_EQ(readFile(folder / "a.mkv").size(), 5'000U);
    EXPECT_EQ(readFile(home() / ".local/share/Trash/files/a.mkv").size(), 10'000U);
}

TEST_F(ScanTest, leftoversGoOnlyWhileNobodyElseIsThere)
{
    const fs::path leftover = folder.write(".film.kestrel-tmp.mkv", "");
    const fs::path work = home() / ".cache/Kestrel/Arbeit/x";
    fs::create_directories(work);
    const fs::path aside = folder.write(".b.mkv.kestrel-original", "original");
    SwapJournal::add({folder / "b.mkv", aside, folder / "b.mkv"});
    {
        InstanceLock other;
        other.share();
        startAndScan();
        EXPECT_TRUE(model->otherInstanceRunning());
        EXPECT_TRUE(fs::exists(leftover) && fs::exists(work) && fs::exists(aside));
        EXPECT_EQ(SwapJournal::entries().size(), 1U);
    }
    std::vector<std::string> told;
    QObject::connect(model.get(), &AppModel::repaired, [&](const auto &message) { told.push_back(message); });
    rescan(); // the other one has gone
    EXPECT_FALSE(fs::exists(leftover));
    EXPECT_THAT(told, ElementsAre("Original wiederhergestellt: " + (folder / "b.mkv").native()));
    EXPECT_EQ(readFile(folder / "b.mkv"), "original");
    EXPECT_TRUE(fs::exists(work)) << "only at the start";

    fs::rename(folder / "b.mkv", aside);
    SwapJournal::add({folder / "b.mkv", aside, folder / "b.mkv"});
    start();
    EXPECT_FALSE(fs::exists(work));
    EXPECT_EQ(readFile(folder / "b.mkv"), "original");

    folder.write(".film.kestrel-tmp.mkv", "");
    startAndScan({.changesFiles = false});
    EXPECT_TRUE(fs::exists(leftover));
}

// The journal knows only the place where the share was mounted then.
TEST_F(ScanTest, aFilmThatASwapLeftHiddenIsNamedWhereItLiesNow)
{
    folder.write("server/Serien/.Über'n Wolken.mkv.kestrel-original", "original");
    folder.write("server/Serien/.2.kestrel-original", "a film of another computer");
    const fs::path before = folder / "alt/Serien", now = folder / "neu/Serien";
    {
        const Mount share = Mount::share(folder / "server", folder / "alt");
        SKIP_WITHOUT(share);
        SwapJournal::add({before / "Über'n Wolken.mkv", before / ".Über'n Wolken.mkv.kestrel-original",
                          before / "Über'n Wolken.mp4"});
    }
    start();
    ASSERT_EQ(model->pendingSwaps().size(), 1U);
    EXPECT_FALSE(model->pendingSwaps()[0].isThere);
    EXPECT_THAT(model->pendingSwaps()[0].title(), HasSubstr("zurzeit nicht eingebunden"));

    const Mount share = Mount::share(folder / "server", folder / "neu");
    SKIP_WITHOUT(share);
    EXPECT_THAT(hiddenOriginalsElsewhere(), ElementsAre(now / ".Über'n Wolken.mkv.kestrel-original"));
    open(folder / "neu");
    const auto isHidden = [&](const std::string &name) {
        return "„" + name + "“ ist nach einem unterbrochenen Tausch noch versteckt: „" +
               (now / ("." + name + ".kestrel-original")).native() + "“\n";
    };
    EXPECT_EQ(model->message(), isHidden("2") + isHidden("Über'n Wolken.mkv") +
                                    "Der Befehl zum Zurückholen steht in den Einstellungen.");
    EXPECT_TRUE(model->isMessageOfProblem());
    EXPECT_THAT(names(now), ElementsAre(".2.kestrel-original", ".Über'n Wolken.mkv.kestrel-original"));
    ASSERT_EQ(model->pendingSwaps().size(), 2U)
        << "the journal's film and the one that lies here are the same";

    // The lines work as they are, and never over anything.
    folder.write("neu/Serien/2", "another film");
    for (const auto &hidden :
         pendingSwaps({now / ".2.kestrel-original", now / ".Über'n Wolken.mkv.kestrel-original"}))
        EXPECT_TRUE(shell("bash -c " + quoted(fs::path(hidden.moveLine()))));
    EXPECT_THAT(names(now), ElementsAre("2", "2 (Original)", "Über'n Wolken.mkv"));
    EXPECT_EQ(readFile(now / "2"), "another film");

    rescan();
    EXPECT_THAT(model->hiddenHere(), IsEmpty());
    EXPECT_EQ(model->library().items().size(), 1U);

    fs::rename(now / "Über'n Wolken.mkv", now / ".Über'n Wolken.mkv.kestrel-original");
    start({.only = std::set<fs::path>{"Serien/Über'n Wolken.mkv"}});
    open(folder / "neu");
    EXPECT_EQ(model->hiddenHere().size(), 1U) << "also where single files are named";
}

TEST_F(ScanTest, aLineThatBringsAFilmBackCarriesNamesOfAnyBytes)
{
    const std::string name = "\xff '\\ \n\u0085$(x).mkv";
    const auto found = hiddenOriginals({folder.write("." + name + ".kestrel-original", "original")});
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].moveLine().find_first_not_of("\n"), 0U);
    EXPECT_TRUE(shell("bash -c " + quoted(fs::path(found[0].moveLine()))));
    EXPECT_THAT(names(folder.path()), ElementsAre(name));
}

TEST_F(ScanTest, settingsOutliveTheProgramAndNoDamageStopsTheStart)
{
    scan({"a.mkv"});
    changeSettings([](auto &changed) { changed.quality = QualityLevel::small; });
    const ConversionSettings settings = model->settings();
    EXPECT_EQ(item("a.mkv").plan->qualityValue, 28);
    EXPECT_EQ(model->lastFolder(), folder.path());
    EXPECT_EQ(start().settings().quality, QualityLevel::small);

    const fs::path file = UserDefaults::standard().file();
    for (const std::string &content :
         {std::string("settings=\"{\\\"quality\\\": [1]}\"\n"), std::string("\0\xff[[[", 6),
          std::string("settings=a,b"), "[General]\nsettings=" + std::string(1'000'000, '{')}) {
        model.reset();
        std::ofstream(file) << content;
        EXPECT_EQ(start().settings(), ConversionSettings());
    }
    fs::remove(file);
    ASSERT_TRUE(shell("mkfifo " + quoted(file)));
    EXPECT_EQ(start().settings(), ConversionSettings()) << "nobody writes into the pipe";
    fs::remove(file);
    fs::create_directories(file);
    start().setSettings(settings);
    EXPECT_EQ(model->settings(), settings);

    fs::remove_all(file);
    start({.store = UserDefaults::testSuite(), .openFolder = folder.path()});
    EXPECT_TRUE(eventually([&] { return model->library().items().size() == 1 && !model->isBusy(); }));
    model->setSettings(settings);
    EXPECT_FALSE(fs::exists(file)) << "the user's own settings are not touched";
}

TEST_F(ScanTest, aCodecThatFfmpegLacksIsGivenUpForGood)
{
    UserDefaults::standard().setSettings({.codec = VideoCodecChoice::av1SVT});
    ffmpeg("", "libx265");
    EXPECT_EQ(start().settings().codec, VideoCodecChoice::keepVideo);
    EXPECT_EQ(UserDefaults::standard().settings()->codec, VideoCodecChoice::keepVideo);

    fs::remove(toolbox / "ffprobe");
    start().open(folder.path());
    EXPECT_EQ(model->toolError(),
              "ffprobe wurde nicht gefunden. Installation im Terminal: sudo apt install ffmpeg");
    EXPECT_FALSE(model->isBusy());
}

TEST_F(ScanTest, aFolderThatVanishesDuringTheScanLosesNothingElse)
{
    const Sandbox other;
    for (int i = 0; i < 20; ++i)
        other.put(film("a.mkv"), std::to_string(i) + ".mkv");
    ffprobe("sleep 0.1; [ -e \"$last\" ] || { echo \"$last: No such file or directory\" >&2; exit 1; }");
    start().open(other.path());
    EXPECT_TRUE(hasBegunToProbe());
    const fs::path away = other.path().native() + "-away";
    fs::rename(other.path(), away);
    EXPECT_TRUE(idle());
    EXPECT_EQ(model->library().items().size(), 20U);
    EXPECT_GT(model->totals().errors, 0U);
    fs::rename(away, other.path());
    rescan();
    EXPECT_EQ(model->totals().files, 20U);
}

TEST_F(ScanTest, fiftyThousandFilesAreListedAndTheScanMayBeStopped)
{
    constexpr std::size_t folders = 50, files = 1000;
    for (std::size_t i = 0; i < folders * files; ++i)
        folder.write(std::to_string(i / files) + "/" + std::to_string(i) + ".mkv", "");
    start().open(folder.path());
    EXPECT_TRUE(hasBegunToProbe());
    EXPECT_EQ(model->activity().total, folders * files);
    stop();
    EXPECT_EQ(model->library().root().children.size(), folders);
    EXPECT_EQ(model->library().items().size(), folders * files);
    EXPECT_LT(model->totals().files, folders * files) << "no more are probed";
    EXPECT_EQ(model->message(), std::nullopt);
}

} // namespace
} // namespace kestrel::test
