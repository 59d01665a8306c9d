// The built program from outside: what it prints, what it returns, and what it leaves.

#include "cli/Program.h"

#include <chrono>
#include <fstream>
#include <map>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "encoding/SwapJournal.h"
#include "model/UserDefaults.h"
#include "support/Clips.h"
#include "support/Http.h"
#include "support/LocalTime.h"
#include "support/StatusPort.h"

namespace kestrel::test {
namespace {

using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

// What this process's programs find stored: a port of their own, because several tests run side by side, and
// nothing is measured, so that a test that is not about the quality search is quick.
class OwnDefaults : public testing::Environment {
public:
    void SetUp() override { store(); }
    static void store()
    {
        useStatusPort(port = freePort());
        UserDefaults::standard().setMeasuresQuality(false);
    }
    static inline std::uint16_t port = 0;
};
const auto *const ownDefaults = testing::AddGlobalTestEnvironment(new OwnDefaults);

TEST(Program, saysWhatIsWrongWithACall)
{
    const Sandbox sandbox;
    const fs::path file = sandbox.write("file", "");
    struct Case {
        std::vector<std::string> arguments;
        std::string sentence;
    };
    const std::vector<Case> cases{
        {{"fress"},
         "„fress“ ist weder ein Befehl (plan, convert, measure, clip, score, doctor) noch ein Ordner.\n"},
        {{"fress", "x"}, "„fress“ ist weder ein Befehl"},
        {{file}, "noch ein Ordner."},
        {{sandbox.path(), "--json"}, "Unbekanntes Argument: --json"},
        {{"--openFolder"}, "Es fehlt der Ordner, zum Beispiel: kestrel --openFolder ~/Videos"},
        {{"-openFolder", ""}, "Es fehlt der Ordner"},
        {{"-openFolder", sandbox.path(), "zwei"}, "Unbekanntes Argument: zwei"},
        {{"--demo", sandbox.path()}, "Es fehlt ein Ordner"},
        {{"--demo", sandbox.path(), "--snapshots"}, "Unbekanntes Argument: --snapshots"},
        {{"plan"}, "Es fehlt der Ordner"},
        {{"plan", sandbox.path(), "--schnell"}, "Unbekanntes Argument: --schnell"},
        {{"plan", sandbox.path(), "zwei"}, "Unbekanntes Argument: zwei"},
        {{"plan", sandbox.path(), "--count", "3"}, "Unbekanntes Argument: --count"},
        {{"plan", sandbox.path(), "--codec", "h264"},
         "--codec kennt den Wert „h264“ nicht. Möglich sind: hevcX265, av1SVT, keepVideo."},
        {{"plan", sandbox.path(), "--codec"}, "--codec: Dazu fehlt der Wert"},
        {{"plan", sandbox.path(), "--languages", "klingonisch"}, "kennt die Sprache „klingonisch“ nicht"},
        {{"convert", sandbox.path(), "--jobs", "-1"}, "--jobs erwartet eine ganze Zahl"},
        {{"measure", sandbox.path(), "--count", "0"}, "--count erwartet eine ganze Zahl ab 1"},
        {{"plan", sandbox / "nichts"}, "kann nicht gelesen werden: Datei oder Ordner ist nicht vorhanden."},
        {{"convert", file}, "ist kein Ordner."},
    };
    for (const auto &[arguments, sentence] : cases) {
        const auto output = kestrel(arguments);
        EXPECT_EQ(output.status, 2) << sentence;
        EXPECT_THAT(output.standardError, HasSubstr(sentence));
        EXPECT_EQ(output.standardOutput, "");
    }
}

TEST(Program, answersEverybodyWhoAsksWhatItIs)
{
    EXPECT_THAT(kestrel({"--version"}).standardOutput, StartsWith("kestrel "));
    const auto help = kestrel({"plan", "--help"});
    EXPECT_EQ(help.status, 0);
    for (const char *word :
         {"plan", "convert", "measure", "doctor", "--codec", "--no-drop-commentary", "--jobs"})
        EXPECT_THAT(help.standardOutput, HasSubstr(word));
    const auto doctor = kestrel({"doctor"});
    EXPECT_EQ(doctor.status, 0);
    EXPECT_THAT(doctor.standardOutput, HasSubstr("libx265"));
    EXPECT_THAT(doctor.standardOutput, HasSubstr((home() / "Library/Logs/Kestrel/Kestrel.log").native()));
}

TEST(Program, namesFilmsThatACutOffSwapLeftHidden)
{
    const Sandbox share;
    const fs::path hidden = share.write(".Film.mkv.kestrel-original", "original");
    const std::string line = "mv -n -- '" + hidden.native() + "' '" + (share / "Film.mkv").native() + "'";
    SwapJournal::add({share / "Film.mkv", hidden, share / "Film.mp4"});
    EXPECT_THAT(kestrel({"doctor"}).standardOutput, HasSubstr(line));
    EXPECT_TRUE(fs::exists(hidden)) << "a look changes nothing";
    const auto plan = kestrel({"plan", share.path()});
    EXPECT_THAT(plan.standardError,
                HasSubstr("„Film.mkv“ ist nach einem unterbrochenen Tausch noch versteckt"));
    EXPECT_THAT(plan.standardError, HasSubstr(line));
    fs::remove(SwapJournal::file());

    fs::create_symlink("/proc/self/mem", SwapJournal::file());
    EXPECT_THAT(kestrel({"doctor"}).standardOutput, HasSubstr("nicht lesbar: Lese- oder Schreibfehler"));
    fs::remove(SwapJournal::file());
    EXPECT_THAT(kestrel({"doctor"}).standardOutput, Not(HasSubstr("Unterbrochene Tauschvorgänge")));
}

TEST(Program, saysWhenThereIsNoScreenForTheWindow)
{
    const Sandbox sandbox;
    const auto expectNoScreen = [&](const std::vector<std::string> &words) {
        const auto output = kestrel(words);
        EXPECT_EQ(output.status, 2);
        EXPECT_EQ(
            output.standardError,
            "Hier lässt sich kein Bildschirm für das Fenster öffnen; ohne Fenster gehen die Befehle plan, "
            "convert, measure, clip, score und doctor.\n");
        EXPECT_EQ(output.standardOutput, "");
    };
    for (const char *variable :
         {"DISPLAY", "WAYLAND_DISPLAY", "XDG_SESSION_TYPE", "QT_QPA_PLATFORM", "QT_DEBUG_PLUGINS"})
        ::unsetenv(variable);
    ::setenv("XDG_RUNTIME_DIR", sandbox.path().c_str(), 1);
    expectNoScreen({});
    expectNoScreen({sandbox.path()});
    expectNoScreen({"-openFolder", sandbox.path()});
    expectNoScreen({"--demo", sandbox.path(), "--snapshots", sandbox.path()});

    ::setenv("DISPLAY", ":4711", 1);
    expectNoScreen({});
    ::setenv("DISPLAY", "quatsch", 1);
    expectNoScreen({});
    ::setenv("WAYLAND_DISPLAY", "gone", 1);
    ::setenv("XDG_SESSION_TYPE", "wayland", 1);
    expectNoScreen({});
    EXPECT_EQ(kestrel({"plan", sandbox.path()}).status, 0) << "needs no screen";
}

TEST(Program, anEmptyFolderIsNoError)
{
    const Sandbox sandbox;
    EXPECT_THAT(kestrel({"plan", sandbox.path()}).standardOutput,
                HasSubstr("In diesem Ordner wurden keine Videodateien gefunden."));
    const auto convert = kestrel({"convert", sandbox.path()});
    EXPECT_EQ(convert.status, 0);
    EXPECT_THAT(convert.standardOutput, HasSubstr("keine Videodateien gefunden"));
    EXPECT_EQ(kestrel({"convert", sandbox.path(), "--json"}).standardOutput,
              "{\"event\":\"started\",\"total\":0}\n{\"event\":\"finished\",\"converted\":0,\"noSavings\":0,"
              "\"failed\":0,\"bytesBefore\":0,\"bytesAfter\":0}\n");
    EXPECT_EQ(Json::parse(kestrel({"plan", sandbox.path(), "--json"}).standardOutput)["files"],
              Json::array());
}

TEST(Program, planTellsEverythingAndChangesNothing)
{
    const Sandbox sandbox;
    sandbox.put(Clips::film(), "Serie/Folge 10.mkv");
    sandbox.put(Clips::film(), "Serie/Folge 9.mkv");
    sandbox.write("kaputt.mp4", "x");
    sandbox.write("b\xff.mkv", "x");
    const fs::path growing = sandbox.put(Clips::film(), "neu.mkv");
    fs::last_write_time(growing, fs::file_time_type::clock::now());
    const fs::path leftover = sandbox.write(".alt.kestrel-tmp.mkv", "rest");

    const auto output = kestrel({"plan", sandbox.path(), "--json", "--quality", "veryHigh", "--languages", "",
                                 "--no-drop-commentary", "--output", "separateFolder"});

    EXPECT_EQ(output.status, 0);
    const Json plan = Json::parse(output.standardOutput);
    EXPECT_THAT(keys(plan), ElementsAre("folder", "storage", "settings", "files", "totals"));
    EXPECT_EQ(plan["folder"], sandbox.path().native());
    EXPECT_THAT(keys(plan["storage"]),
                ElementsAre("kind", "title", "volumeName", "remoteURL", "hasRecycleBin"));
    EXPECT_EQ(plan["settings"]["quality"], 1);
    EXPECT_EQ(plan["settings"]["audioLanguages"], Json::array());
    EXPECT_EQ(plan["settings"]["dropCommentary"], false);
    std::vector<std::string> order;
    for (const Json &file : plan["files"])
        order.push_back(file["relativePath"]);
    EXPECT_THAT(order, ElementsAre("b\uFFFD.mkv", "kaputt.mp4", "neu.mkv", "Serie/Folge 9.mkv",
                                   "Serie/Folge 10.mkv"));
    const Json &film = plan["files"][3];
    EXPECT_THAT(keys(film), ElementsAre("relativePath", "probeError", "mayBeIncomplete", "info", "plan",
                                        "estimate", "arguments"));
    EXPECT_THAT(keys(film["info"]),
                ElementsAre("url", "fileSize", "modified", "duration", "formatName", "video", "audio",
                            "subtitles", "attachmentIndexes", "videoBitrate"));
    EXPECT_THAT(keys(film["plan"]),
                ElementsAre("video", "outputWidth", "outputHeight", "deinterlace", "audio", "subtitles",
                            "attachments", "notes", "isNoop", "leftAlone", "scales", "qualityValue"));
    EXPECT_THAT(keys(film["estimate"]), ElementsAre("videoBytes", "audioBytes", "otherBytes", "kind", "vmaf",
                                                    "encodeSeconds", "total"));
    EXPECT_EQ(film["plan"]["qualityValue"], 21);
    EXPECT_EQ(film["arguments"].back(),
              sandbox.path().native() + " (Kestrel)/Serie/.Folge 9.kestrel-tmp.mkv");
    EXPECT_TRUE(plan["files"][1]["info"].is_null());
    EXPECT_THAT(plan["files"][1]["probeError"].get<std::string>(), HasSubstr("Invalid data"));
    EXPECT_EQ(plan["files"][2]["mayBeIncomplete"], true);
    const Json &totals = plan["totals"];
    EXPECT_THAT(keys(totals),
                ElementsAre("files", "actionable", "sourceBytes", "estimatedBytes", "encodeSeconds",
                            "duration", "weakestKind", "incomplete", "errors"));
    EXPECT_EQ(totals["files"], 2);
    EXPECT_EQ(totals["incomplete"], 1);
    EXPECT_EQ(totals["errors"], 2);
    EXPECT_EQ(totals["weakestKind"], "heuristic");
    EXPECT_TRUE(fs::exists(leftover));
    EXPECT_FALSE(fs::exists(sandbox.path().native() + " (Kestrel)"));
}

TEST(Program, timesAreUtcInEveryTimeZone)
{
    using namespace std::chrono;
    const LocalTime japan("JST-9");
    const Sandbox sandbox;
    const fs::path film = sandbox.put(Clips::film(), "film.mkv");
    fs::last_write_time(film, file_clock::from_sys(sys_days(2026y / January / 2) + 20h + 15min + 9s));
    const Json plan = Json::parse(kestrel({"plan", sandbox.path(), "--json"}).standardOutput);
    EXPECT_EQ(plan["files"][0]["info"]["modified"], "2026-01-02T20:15:09Z");
}

TEST(Program, theTableFitsAndSteersNoTerminal)
{
    const Sandbox sandbox;
    sandbox.put(Clips::film(), "zwei\nZeilen \x1b[31mrot.mkv");
    const auto output = kestrel({"plan", sandbox.path()});
    EXPECT_EQ(output.standardOutput.find('\x1b'), std::string::npos);
    EXPECT_THAT(output.standardOutput, HasSubstr("zwei\uFFFDZeilen \uFFFD[31mrot.mkv"));
    EXPECT_THAT(output.standardOutput, HasSubstr("1 Datei, davon 1 zu konvertieren"));
}

TEST(Program, convertsTellsAsItGoesAndCountsFailures)
{
    const Sandbox sandbox;
    sandbox.put(Clips::film(), "gut.mkv");
    const fs::path cut = sandbox.put(Clips::longFilm(), "abgeschnitten.mkv");
    fs::resize_file(cut, fs::file_size(cut) / 2);
    fs::last_write_time(cut, fs::file_time_type::clock::now() - std::chrono::hours(1));
    sandbox.write("kaputt.mp4", "x");
    sandbox.write(".alt.kestrel-tmp.mkv", "rest of an earlier run");

    const auto output = kestrel({"convert", sandbox.path(), "--json", "--quality", "small"});

    EXPECT_EQ(output.status, 1);
    EXPECT_THAT(output.standardError, HasSubstr("kaputt.mp4: nicht lesbar: "));
    const auto events = lines(output.standardOutput);
    ASSERT_GE(events.size(), 6U);
    EXPECT_EQ(events.front(), Json({{"event", "started"}, {"total", 2}}));
    std::map<std::string, std::vector<std::string>> states;
    Json done, failed;
    for (const Json &event : events) {
        if (event["event"] != "file")
            continue;
        EXPECT_THAT(keys(event), ElementsAre("event", "relativePath", "status", "fraction", "fps", "old",
                                             "new", "finalURL", "text"));
        auto &list = states[event["relativePath"]];
        const std::string status = event["status"];
        if (list.empty() || list.back() != status)
            list.push_back(status);
        if (status == "done")
            done = event;
        if (status == "failed")
            failed = event;
    }
    EXPECT_THAT(states["gut.mkv"], ElementsAre("analyzing", "running", "done"));
    EXPECT_THAT(states["abgeschnitten.mkv"].back(), "failed");
    EXPECT_EQ(done["old"], fs::file_size(Clips::film()));
    EXPECT_EQ(done["new"], fs::file_size(sandbox / "gut.mkv"));
    EXPECT_EQ(done["finalURL"], (sandbox / "gut.mkv").native());
    EXPECT_FALSE(failed["text"].get<std::string>().empty());
    const Json &end = events.back();
    EXPECT_THAT(keys(end),
                ElementsAre("event", "converted", "noSavings", "failed", "bytesBefore", "bytesAfter"));
    EXPECT_EQ(end["converted"], 1);
    EXPECT_EQ(end["failed"], 1);
    EXPECT_THAT(names(sandbox.path()), ElementsAre("abgeschnitten.mkv", "gut.mkv", "kaputt.mp4"));

    const auto inWords =
        kestrel({"convert", sandbox.path(), "--only", "abgeschnitten.mkv", "--quality", "small"});
    EXPECT_THAT(inWords.standardOutput, HasSubstr("abgeschnitten.mkv: Fehler: "));
    EXPECT_THAT(inWords.standardOutput, Not(HasSubstr("\uFFFD"))) << "several lines in one";

    const auto again =
        kestrel({"convert", sandbox.path(), "--output", "separateFolder", "--codec", "keepVideo"});
    EXPECT_THAT(again.standardOutput, HasSubstr("Es gibt nichts zu konvertieren."));
}

TEST(Program, takesOnlyTheFilesThatAreNamed)
{
    const Sandbox sandbox;
    for (const char *name : {"a.mkv", "Serie/b b.mkv", "c.mkv"})
        sandbox.put(Clips::film(), name);
    const auto planned = [&](const std::vector<std::string> &more) {
        std::vector<std::string> words{"plan", sandbox.path(), "--json"};
        words.insert(words.end(), more.begin(), more.end());
        const auto output = kestrel(words);
        std::vector<std::string> files;
        const Json plan = Json::parse(output.standardOutput);
        for (const Json &file : plan["files"])
            files.push_back(file["relativePath"]);
        files.push_back(std::to_string(output.status));
        return files;
    };
    EXPECT_THAT(planned({"--only", "Serie/b b.mkv", "--only", "./c.mkv"}),
                ElementsAre("c.mkv", "Serie/b b.mkv", "0"));
    EXPECT_THAT(planned({"--only", "gone.mkv"}), ElementsAre("1"));
    const fs::path list = sandbox.write("list", "Serie/b b.mkv\n");
    EXPECT_TRUE(shell(KESTREL_PROGRAM " convert " + quoted(sandbox.path()) +
                      " --quality small --container mp4 --only - < " + quoted(list) + " > /dev/null"));
    EXPECT_THAT(names(sandbox / "Serie"), ElementsAre("b b.mp4"));
    EXPECT_THAT(names(sandbox.path()), ElementsAre("Serie", "a.mkv", "c.mkv", "list"));
}

TEST(Program, startsFromTheStoredSettingsAndStoresNone)
{
    const Sandbox sandbox;
    sandbox.put(Clips::film(), "a.mkv");
    ConversionSettings stored;
    stored.quality = QualityLevel::small;
    stored.container = OutputContainer::mp4;
    UserDefaults::standard().setSettings(stored);
    const auto settings = [&](const std::vector<std::string> &more) {
        std::vector<std::string> words{"plan", sandbox.path(), "--json"};
        words.insert(words.end(), more.begin(), more.end());
        return Json::parse(kestrel(words).standardOutput)["settings"];
    };
    EXPECT_EQ(settings({}), stored.toJson());
    EXPECT_EQ(settings({"--container", "mkv"})["quality"], 4);
    EXPECT_EQ(settings({"--defaults"}), ConversionSettings().toJson());
    EXPECT_EQ(UserDefaults::standard().settings(), stored);
    EXPECT_EQ(UserDefaults::standard().lastFolder(), std::nullopt);
    fs::remove(UserDefaults::standard().file());
    OwnDefaults::store();
}

TEST(Program, makesAClip)
{
    const Sandbox sandbox;
    const fs::path film = sandbox.put(Clips::film(), "Ein Film.mkv");
    const auto output = kestrel({"clip", film, "--quality", "small"});
    EXPECT_EQ(output.status, 0) << output.standardError;
    const fs::path clip = home() / "Movies/Kestrel Probeclips/Ein Film – Probeclip HEVC Gering.mkv";
    EXPECT_THAT(output.standardOutput, HasSubstr(clip.native()));
    EXPECT_TRUE(fs::exists(clip));
    EXPECT_EQ(kestrel({"clip", sandbox.write("kaputt.mkv", "x")}).status, 1);
    EXPECT_EQ(kestrel({"clip", sandbox.write("brief.txt", "x")}).status, 2);
}

TEST(Program, showsARunToABrowserFromItsFirstToItsLastSecond)
{
    const Sandbox sandbox;
    sandbox.put(Clips::film(), "a.mkv");
    const auto convert = [&](const std::vector<std::string> &more) {
        std::vector<std::string> words{"convert", sandbox.path(), "--quality", "small"};
        words.insert(words.end(), more.begin(), more.end());
        return kestrel(words);
    };
    std::vector<std::string> states;
    std::jthread browser([&](const std::stop_token &stop) {
        for (; !stop.stop_requested(); std::this_thread::sleep_for(std::chrono::milliseconds(150)))
            if (const std::string answer = httpGet(OwnDefaults::port, "/status.json"); !answer.empty()) {
                const std::string state = Json::parse(answer.substr(answer.find("\r\n\r\n"))).at("state");
                if (states.empty() || states.back() != state)
                    states.push_back(state);
            }
    });
    const auto output = convert({});
    browser.request_stop();
    browser.join();
    EXPECT_EQ(output.status, 0);
    EXPECT_THAT(output.standardError, ContainsRegex("Fortschritt im Browser: http://[^ ]+:" +
                                                    std::to_string(OwnDefaults::port) + "\n"));
    ASSERT_GE(states.size(), 2U);
    EXPECT_THAT(std::vector(states.end() - 2, states.end()), ElementsAre("converting", "finished"));

    EXPECT_THAT(convert({"--codec", "keepVideo", "--no-status-page"}).standardError,
                Not(HasSubstr("Browser")));

    const FileDescriptor taken = listener(OwnDefaults::port);
    const auto elsewhere = convert({"--codec", "keepVideo"});
    EXPECT_EQ(elsewhere.status, 0);
    EXPECT_THAT(elsewhere.standardError, HasSubstr("ist schon belegt – läuft Kestrel ein zweites Mal?"));
}

} // namespace
} // namespace kestrel::test
