// The built program from outside: what it prints, what it returns, and what it leaves.

#include "cli/Program.h"

#include <chrono>
#include <fstream>
#include <map>
#include <thread>

#include "encoding/SwapJournal.h"
#include "model/UserDefaults.h"
#include "support/Http.h"
#include "support/LocalTime.h"
#include "support/StatusPort.h"

namespace kestrel::test {
namespace {

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

// The relative paths of a plan.
Words filesOf(const Json &plan)
{
    Words files;
    for (const Json &file : plan["files"])
        files.push_back(file["relativePath"]);
    return files;
}

TEST(Program, saysWhatIsWrongWithACall)
{
    const Sandbox sandbox;
    const fs::path file = sandbox.write("file", "");
    const std::vector<std::pair<Words, std::string>> cases{
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
    for (const auto &[words, sentence] : cases)
        expectRefused(words, HasSubstr(sentence));
}

TEST(Program, answersEverybodyWhoAsksWhatItIs)
{
    EXPECT_THAT(said({"--version"}), testing::StartsWith("kestrel "));
    const auto help = kestrel({"plan", "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_THAT(help.standardOutput, HasSubstr("--no-drop-commentary"));
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
    EXPECT_THAT(said({"doctor"}), HasSubstr(line));
    EXPECT_TRUE(fs::exists(hidden)) << "a look changes nothing";
    const auto plan = kestrel({"plan", share.path()});
    EXPECT_THAT(plan.standardError,
                testing::AllOf(HasSubstr("„Film.mkv“ ist nach einem unterbrochenen Tausch noch versteckt"),
                               HasSubstr(line)));
    fs::remove(SwapJournal::file());

    fs::create_symlink("/proc/self/mem", SwapJournal::file());
    EXPECT_THAT(said({"doctor"}), HasSubstr("nicht lesbar: Lese- oder Schreibfehler"));
    fs::remove(SwapJournal::file());
    EXPECT_THAT(said({"doctor"}), Not(HasSubstr("Unterbrochene Tauschvorgänge")));
}

TEST(Program, saysWhenThereIsNoScreenForTheWindow)
{
    const Sandbox sandbox;
    const std::string sentence =
        "Hier lässt sich kein Bildschirm für das Fenster öffnen; ohne Fenster gehen die Befehle plan, "
        "convert, measure, clip, score und doctor.\n";
    for (const char *variable :
         {"DISPLAY", "WAYLAND_DISPLAY", "XDG_SESSION_TYPE", "QT_QPA_PLATFORM", "QT_DEBUG_PLUGINS"})
        ::unsetenv(variable);
    ::setenv("XDG_RUNTIME_DIR", sandbox.path().c_str(), 1);
    expectRefused({}, sentence);
    expectRefused({sandbox.path()}, sentence);
    expectRefused({"-openFolder", sandbox.path()}, sentence);
    expectRefused({"--demo", sandbox.path(), "--snapshots", sandbox.path()}, sentence);
    for (const char *display : {":4711", "quatsch"}) {
        ::setenv("DISPLAY", display, 1);
        expectRefused({}, sentence);
    }
    ::setenv("WAYLAND_DISPLAY", "gone", 1);
    ::setenv("XDG_SESSION_TYPE", "wayland", 1);
    expectRefused({}, sentence);
    EXPECT_EQ(kestrel({"plan", sandbox.path()}).status, 0) << "needs no screen";
}

TEST(Program, anEmptyFolderIsNoError)
{
    const Sandbox sandbox;
    for (const char *command : {"plan", "convert"}) {
        const auto output = kestrel({command, sandbox.path()});
        EXPECT_EQ(output.status, 0);
        EXPECT_THAT(output.standardOutput, HasSubstr("In diesem Ordner wurden keine Videodateien gefunden."));
    }
    EXPECT_EQ(said({"convert", sandbox.path(), "--json"}),
              "{\"event\":\"started\",\"total\":0}\n{\"event\":\"finished\",\"converted\":0,\"noSavings\":0,"
              "\"failed\":0,\"bytesBefore\":0,\"bytesAfter\":0}\n");
    EXPECT_EQ(object({"plan", sandbox.path(), "--json"})["files"], Json::array());
}

TEST(Program, planTellsEverythingAndChangesNothing)
{
    using namespace std::chrono;
    const LocalTime japan("JST-9"); // times are UTC everywhere
    const Sandbox sandbox;
    sandbox.put(Clips::film(), "Serie/Folge 10.mkv");
    fs::last_write_time(sandbox.put(Clips::film(), "Serie/Folge 9.mkv"),
                        file_clock::from_sys(sys_days(2026y / January / 2) + 20h + 15min + 9s));
    sandbox.write("kaputt.mp4", "x");
    sandbox.write("b\xff.mkv", "x");
    const fs::path growing = sandbox.put(Clips::film(), "neu.mkv");
    fs::last_write_time(growing, fs::file_time_type::clock::now());
    const fs::path leftover = sandbox.write(".alt.kestrel-tmp.mkv", "rest");

    const Json plan = object({"plan", sandbox.path(), "--json", "--quality", "veryHigh", "--languages", "",
                              "--no-drop-commentary", "--output", "separateFolder"});

    EXPECT_EQ(keys(plan), "folder storage settings files totals");
    EXPECT_EQ(plan["folder"], sandbox.path().native());
    EXPECT_EQ(keys(plan["storage"]), "kind title volumeName remoteURL hasRecycleBin");
    EXPECT_EQ(plan["settings"]["quality"], 1);
    EXPECT_EQ(plan["settings"]["audioLanguages"], Json::array());
    EXPECT_EQ(plan["settings"]["dropCommentary"], false);
    EXPECT_THAT(filesOf(plan), ElementsAre("b\uFFFD.mkv", "kaputt.mp4", "neu.mkv", "Serie/Folge 9.mkv",
                                           "Serie/Folge 10.mkv"));
    const Json &film = plan["files"][3];
    EXPECT_EQ(keys(film), "relativePath probeError mayBeIncomplete info plan estimate arguments");
    EXPECT_EQ(keys(film["info"]), "url fileSize modified duration formatName video audio subtitles "
                                  "attachmentIndexes videoBitrate");
    EXPECT_EQ(keys(film["plan"]), "video outputWidth outputHeight deinterlace audio subtitles attachments "
                                  "notes isNoop leftAlone scales qualityValue");
    EXPECT_EQ(keys(film["estimate"]), "videoBytes audioBytes otherBytes kind vmaf encodeSeconds total");
    EXPECT_EQ(film["info"]["modified"], "2026-01-02T20:15:09Z");
    EXPECT_EQ(film["plan"]["qualityValue"], 21);
    EXPECT_EQ(film["arguments"].back(),
              sandbox.path().native() + " (Kestrel)/Serie/.Folge 9.kestrel-tmp.mkv");
    EXPECT_TRUE(plan["files"][1]["info"].is_null());
    EXPECT_THAT(plan["files"][1]["probeError"].get<std::string>(), HasSubstr("Invalid data"));
    EXPECT_EQ(plan["files"][2]["mayBeIncomplete"], true);
    const Json &totals = plan["totals"];
    EXPECT_EQ(keys(totals), "files actionable sourceBytes estimatedBytes encodeSeconds duration weakestKind "
                            "incomplete errors");
    EXPECT_EQ(totals["files"], 2);
    EXPECT_EQ(totals["incomplete"], 1);
    EXPECT_EQ(totals["errors"], 2);
    EXPECT_EQ(totals["weakestKind"], "heuristic");
    EXPECT_TRUE(fs::exists(leftover));
    EXPECT_FALSE(fs::exists(sandbox.path().native() + " (Kestrel)"));
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
    std::map<std::string, Words> states;
    std::map<std::string, Json> last;
    for (const Json &event : events)
        if (event["event"] == "file") {
            EXPECT_EQ(keys(event), "event relativePath status fraction fps old new finalURL text");
            Words &list = states[event["relativePath"]];
            if (list.empty() || list.back() != event["status"])
                list.push_back(event["status"]);
            last[event["relativePath"]] = event;
        }
    EXPECT_THAT(states["gut.mkv"], ElementsAre("analyzing", "running", "done"));
    EXPECT_EQ(last["gut.mkv"]["old"], fs::file_size(Clips::film()));
    EXPECT_EQ(last["gut.mkv"]["new"], fs::file_size(sandbox / "gut.mkv"));
    EXPECT_EQ(last["gut.mkv"]["finalURL"], (sandbox / "gut.mkv").native());
    EXPECT_EQ(last["abgeschnitten.mkv"]["status"], "failed");
    EXPECT_FALSE(last["abgeschnitten.mkv"]["text"].get<std::string>().empty());
    EXPECT_EQ(keys(events.back()), "event converted noSavings failed bytesBefore bytesAfter");
    EXPECT_EQ(events.back()["converted"], 1);
    EXPECT_EQ(events.back()["failed"], 1);
    EXPECT_THAT(names(sandbox.path()), ElementsAre("abgeschnitten.mkv", "gut.mkv", "kaputt.mp4"));

    EXPECT_THAT(said({"convert", sandbox.path(), "--only", "abgeschnitten.mkv", "--quality", "small"}),
                testing::AllOf(HasSubstr("abgeschnitten.mkv: Fehler: "), Not(HasSubstr("\uFFFD"))))
        << "several lines in one";
    EXPECT_THAT(said({"convert", sandbox.path(), "--output", "separateFolder", "--codec", "keepVideo"}),
                HasSubstr("Es gibt nichts zu konvertieren."));
}

TEST(Program, takesOnlyTheFilesThatAreNamed)
{
    const Sandbox sandbox;
    for (const char *name : {"a.mkv", "Serie/b b.mkv", "c.mkv"})
        sandbox.put(Clips::film(), name);
    const Words plan{"plan", sandbox.path(), "--json"};
    EXPECT_THAT(filesOf(object(plan, {"--only", "Serie/b b.mkv", "--only", "./c.mkv"})),
                ElementsAre("c.mkv", "Serie/b b.mkv"));
    const auto gone = kestrel(plan, {"--only", "gone.mkv"});
    EXPECT_EQ(gone.status, 1);
    EXPECT_EQ(Json::parse(gone.standardOutput)["files"], Json::array());
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
    const ConversionSettings stored{.quality = QualityLevel::small, .container = OutputContainer::mp4};
    UserDefaults::standard().setSettings(stored);
    const auto settings = [&](const Words &more) {
        return object({"plan", sandbox.path(), "--json"}, more)["settings"];
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
    const auto convert = [&](const Words &more) {
        return kestrel({"convert", sandbox.path(), "--quality", "small"}, more);
    };
    Words states;
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
    EXPECT_THAT(Words(states.end() - 2, states.end()), ElementsAre("converting", "finished"));

    EXPECT_THAT(convert({"--codec", "keepVideo", "--no-status-page"}).standardError,
                Not(HasSubstr("Browser")));

    const FileDescriptor taken = listener(OwnDefaults::port);
    const auto elsewhere = convert({"--codec", "keepVideo"});
    EXPECT_EQ(elsewhere.status, 0);
    EXPECT_THAT(elsewhere.standardError, HasSubstr("ist schon belegt – läuft Kestrel ein zweites Mal?"));
}

} // namespace
} // namespace kestrel::test
