#include <fstream>

#include "encoding/HiddenOriginal.h"
#include "encoding/LocalSwap.h"
#include "encoding/SwapJournal.h"
#include "media/ProbeStore.h"
#include "model/ModelFixture.h"
#include "support/Mounts.h"

namespace kestrel::test {
namespace {

TEST_F(ModelTest, aFolderWithoutVideosIsToldSo)
{
    folder.write("notes.txt", "");
    startAndScan();
    EXPECT_EQ(model->message(), "In diesem Ordner wurden keine Videodateien gefunden.");
    EXPECT_THAT(model->library().items(), IsEmpty());
    model->open(folder / "missing");
    EXPECT_TRUE(idle());
    EXPECT_EQ(model->message(), "In diesem Ordner wurden keine Videodateien gefunden.");
}

TEST_F(ModelTest, neverMoreThanEightProbesRun)
{
    for (int i = 0; i < 20; ++i)
        film(std::to_string(i) + ".mkv");
    const std::string running = quoted(toolbox / "running");
    ffprobe("mkdir -p " + running + "; touch " + running + "/$$; ls " + running + " | wc -l >> " +
            quoted(toolbox / "counts") + "; sleep 0.05; rm " + running + "/$$");
    startAndScan();
    std::ifstream counts(toolbox / "counts");
    int most = 0, probes = 0;
    for (int count = 0; counts >> count; ++probes)
        most = std::max(most, count);
    EXPECT_EQ(probes, 20);
    EXPECT_GT(most, 2);
    EXPECT_LE(most, 8);
    for (const auto &file : model->library().items())
        EXPECT_TRUE(file->isActionable());
    EXPECT_EQ(model->message(), std::nullopt);
}

TEST_F(ModelTest, whatMayStillBeCopiedIsLeftOut)
{
    const auto now = fs::file_time_type::clock::now();
    fs::last_write_time(film("a.mkv"), now - std::chrono::seconds(80)); // the machine may be slow
    fs::last_write_time(film("b.mkv"), now - std::chrono::seconds(91));
    folder.write("c.mkv", "");
    ffprobe("case \"$last\" in *c.mkv) echo kaputt >&2; exit 1;; esac");
    startAndScan();
    EXPECT_TRUE(item("a.mkv").mayBeIncomplete);
    EXPECT_FALSE(item("a.mkv").isCounted());
    EXPECT_TRUE(item("b.mkv").isCounted());
    EXPECT_EQ(item("c.mkv").probeError, "kaputt");
    EXPECT_FALSE(item("c.mkv").isCounted());
    const Totals totals = model->totals();
    EXPECT_EQ(totals.files, 1U);
    EXPECT_EQ(totals.incomplete, 1U);
    EXPECT_EQ(totals.errors, 1U);
    EXPECT_EQ(model->message(), "1 Dateien werden evtl. noch kopiert – später neu analysieren");
}

TEST_F(ModelTest, aNewScanStartsFromNothing)
{
    film("a.mkv");
    startAndScan();
    giveSample("a.mkv");
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

TEST_F(ModelTest, unchangedFilesAreNotProbedAgain)
{
    const auto settled = [&](const std::string &name) {
        film(name);
        std::this_thread::sleep_for(std::chrono::milliseconds(3100)); // a change time cannot be set back
    };
    film("a.mkv");
    settled("b.mkv");
    ffprobe("echo >> " + quoted(toolbox / "asked"));
    const auto asked = [&] { return readFile(toolbox / "asked").size(); };
    startAndScan();
    EXPECT_EQ(asked(), 2U);
    const MediaInfo before = *item("a.mkv").info;
    model->rescan();
    EXPECT_TRUE(idle());
    EXPECT_EQ(asked(), 2U);
    EXPECT_EQ(*item("a.mkv").info, before);

    film("a.mkv"); // the same content and date, but touched
    model->rescan();
    EXPECT_TRUE(idle());
    EXPECT_EQ(asked(), 3U);

    AppModel::Options options;
    options.asksAgain = true;
    startAndScan(options);
    EXPECT_EQ(asked(), 5U);

    model.reset();
    std::ofstream(ProbeStore::usualFile()) << std::string(100'000, 'x');
    startAndScan();
    EXPECT_EQ(asked(), 7U) << "a damaged store is none";
    EXPECT_TRUE(item("b.mkv").info);
}

TEST_F(ModelTest, aReplacementThatWasCutOffIsFinishedUnlessNothingMayChange)
{
    film("a.mkv");
    const fs::path work = folder.write(".a.kestrel-tmp.mkv", std::string(5'000, 'y'));
    const auto record = LocalSwap::showBeside(
        {work, {folder / "a.mkv", Files::attributes(folder / "a.mkv")}, folder / "a.mkv", {true, true, 0}},
        {});
    AppModel::Options readOnly;
    readOnly.changesFiles = false;
    startAndScan(readOnly);
    EXPECT_EQ(model->library().items().size(), 1U) << "the result is no film of its own";
    EXPECT_THAT(names(folder.path()), ElementsAre("a (Kestrel).mkv", "a.mkv"));

    start(); // also without a folder
    EXPECT_THAT(names(folder.path()), ElementsAre("a.mkv"));
    EXPECT_EQ(readFile(folder / "a.mkv").size(), 5'000U);
    EXPECT_EQ(readFile(home() / ".local/share/Trash/files/a.mkv").size(), 10'000U);
}

TEST_F(ModelTest, leftoversGoOnlyWhileNobodyElseIsThere)
{
    const fs::path leftover = folder.write(".film.kestrel-tmp.mkv", "");
    const fs::path work = fs::path(home() / ".cache/Kestrel/Arbeit/x");
    fs::create_directories(work);
    const fs::path aside = folder.write(".b.mkv.kestrel-original", "original");
    SwapJournal::add({folder / "b.mkv", aside, folder / "b.mkv"});
    {
        InstanceLock other;
        other.share();
        startAndScan();
        EXPECT_TRUE(model->otherInstanceRunning());
        EXPECT_TRUE(fs::exists(leftover));
        EXPECT_TRUE(fs::exists(work));
        EXPECT_TRUE(fs::exists(aside));
        EXPECT_EQ(SwapJournal::entries().size(), 1U);
    }
    std::vector<std::string> told;
    QObject::connect(model.get(), &AppModel::repaired, [&](const auto &message) { told.push_back(message); });
    model->rescan(); // the other one has gone
    EXPECT_TRUE(idle());
    EXPECT_FALSE(fs::exists(leftover));
    EXPECT_THAT(told, ElementsAre("Original wiederhergestellt: " + (folder / "b.mkv").native()));
    EXPECT_EQ(readFile(folder / "b.mkv"), "original");
    EXPECT_TRUE(fs::exists(work)) << "only at the start";

    fs::rename(folder / "b.mkv", aside);
    SwapJournal::add({folder / "b.mkv", aside, folder / "b.mkv"});
    start();
    EXPECT_FALSE(fs::exists(work));
    EXPECT_EQ(readFile(folder / "b.mkv"), "original");

    AppModel::Options readOnly;
    readOnly.changesFiles = false;
    folder.write(".film.kestrel-tmp.mkv", "");
    startAndScan(readOnly);
    EXPECT_TRUE(fs::exists(leftover));
}

// The journal knows only the place where the share was mounted then.
TEST_F(ModelTest, aFilmThatASwapLeftHiddenIsNamedWhereItLiesNow)
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
    model->open(folder / "neu");
    EXPECT_TRUE(idle());
    EXPECT_EQ(model->message(), "„2“ ist nach einem unterbrochenen Tausch noch versteckt: „" +
                                    (now / ".2.kestrel-original").native() +
                                    "“\n„Über'n Wolken.mkv“ ist nach einem " +
                                    "unterbrochenen Tausch noch versteckt: „" +
                                    (now / ".Über'n Wolken.mkv.kestrel-original").native() +
                                    "“\nDer Befehl zum Zurückholen steht in den Einstellungen.");
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

    model->rescan();
    EXPECT_TRUE(idle());
    EXPECT_THAT(model->hiddenHere(), IsEmpty());
    EXPECT_EQ(model->library().items().size(), 1U);

    AppModel::Options options;
    options.only = std::set<fs::path>{"Serien/Über'n Wolken.mkv"};
    fs::rename(now / "Über'n Wolken.mkv", now / ".Über'n Wolken.mkv.kestrel-original");
    start(options).open(folder / "neu");
    EXPECT_TRUE(idle());
    EXPECT_EQ(model->hiddenHere().size(), 1U) << "also where single files are named";
}

TEST_F(ModelTest, aLineThatBringsAFilmBackCarriesNamesOfAnyBytes)
{
    const std::string name = "\xff '\\ \n\u0085$(x).mkv";
    const fs::path hidden = folder.write("." + name + ".kestrel-original", "original");
    const auto found = hiddenOriginals({hidden});
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].moveLine().find_first_not_of("\n"), 0U);
    EXPECT_TRUE(shell("bash -c " + quoted(fs::path(found[0].moveLine()))));
    EXPECT_THAT(names(folder.path()), ElementsAre(name));
}

TEST_F(ModelTest, settingsOutliveTheProgramAndNoDamageStopsTheStart)
{
    film("a.mkv");
    startAndScan();
    ConversionSettings settings = model->settings();
    settings.quality = QualityLevel::small;
    model->setSettings(settings);
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

    AppModel::Options test;
    test.store = UserDefaults::testSuite();
    test.openFolder = folder.path();
    fs::remove_all(file);
    start(test);
    EXPECT_TRUE(eventually([&] { return model->library().items().size() == 1 && !model->isBusy(); }));
    model->setSettings(settings);
    EXPECT_FALSE(fs::exists(file)) << "the user's own settings are not touched";
}

TEST_F(ModelTest, aCodecThatFfmpegLacksIsGivenUpForGood)
{
    ConversionSettings settings;
    settings.codec = VideoCodecChoice::av1SVT;
    UserDefaults::standard().setSettings(settings);
    ffmpeg("", "libx265");
    EXPECT_EQ(start().settings().codec, VideoCodecChoice::keepVideo);
    EXPECT_EQ(UserDefaults::standard().settings()->codec, VideoCodecChoice::keepVideo);

    fs::remove(toolbox / "ffprobe");
    start().open(folder.path());
    EXPECT_EQ(model->toolError(),
              "ffprobe wurde nicht gefunden. Installation im Terminal: sudo apt install ffmpeg");
    EXPECT_FALSE(model->isBusy());
}

TEST_F(ModelTest, aStoppedScanStartsNoMoreProbes)
{
    for (int i = 0; i < 30; ++i)
        film(std::to_string(i) + ".mkv");
    ffprobe("sleep 0.2");
    start().open(folder.path());
    EXPECT_TRUE(eventually([&] { return model->activity().done > 0; }));
    model->stop();
    EXPECT_TRUE(idle());
    EXPECT_LT(std::count_if(model->library().items().begin(), model->library().items().end(),
                            [](const auto &file) { return file->info.has_value(); }),
              30);
    EXPECT_EQ(model->message(), std::nullopt);
}

TEST_F(ModelTest, aFolderThatVanishesDuringTheScanLosesNothingElse)
{
    const Sandbox other;
    for (int i = 0; i < 20; ++i)
        other.put(film("a.mkv"), std::to_string(i) + ".mkv");
    ffprobe("sleep 0.1; [ -e \"$last\" ] || { echo \"$last: No such file or directory\" >&2; exit 1; }");
    start().open(other.path());
    EXPECT_TRUE(eventually([&] { return model->activity().done > 0; }));
    const fs::path away = other.path().native() + "-away";
    fs::rename(other.path(), away);
    EXPECT_TRUE(idle());
    EXPECT_EQ(model->library().items().size(), 20U);
    EXPECT_GT(model->totals().errors, 0U);
    fs::rename(away, other.path());
    model->rescan();
    EXPECT_TRUE(idle());
    EXPECT_EQ(model->totals().files, 20U);
}

TEST_F(ModelTest, fiftyThousandFilesAreListedAndTheScanMayBeStopped)
{
    constexpr int folders = 50, files = 1000;
    for (int i = 0; i < folders; ++i) {
        fs::create_directories(folder / std::to_string(i));
        for (int file = 0; file < files; ++file)
            std::ofstream(folder / std::to_string(i) / (std::to_string(file) + ".mkv"));
    }
    start().open(folder.path());
    EXPECT_TRUE(eventually([&] { return model->activity().done > 0; }));
    EXPECT_EQ(model->activity().total, std::size_t(folders * files));
    model->stop();
    EXPECT_TRUE(idle());
    EXPECT_EQ(model->library().root().children.size(), std::size_t(folders));
    EXPECT_EQ(model->library().items().size(), std::size_t(folders * files));
}

} // namespace
} // namespace kestrel::test
