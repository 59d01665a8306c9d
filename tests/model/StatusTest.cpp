#include <future>
#include <typeinfo>

#include "model/ModelFixture.h"
#include "model/StatusReport.h"
#include "platform/Network.h"
#include "support/Http.h"
#include "support/StatusPort.h"

namespace kestrel::test {
namespace {

class StatusTest : public ModelTest {
protected:
    StatusSnapshot now() const { return statusSnapshot(*model); }
    static std::vector<std::string> captions(const StatusSnapshot &snapshot)
    {
        std::vector<std::string> list;
        for (const auto &tile : snapshot.tiles)
            list.push_back(tile.icon + " " + tile.tone + " " + tile.caption);
        return list;
    }
    // Served at a port of its own.
    std::uint16_t serve()
    {
        const std::uint16_t port = freePort();
        useStatusPort(port);
        library({"a.mkv"}, 1, {.servesStatusPage = true});
        EXPECT_TRUE(eventually([&] { return model->statusPort().has_value(); }));
        return port;
    }
    static std::string headline(const StatusSnapshot &snapshot)
    {
        return snapshot.state + ": " + snapshot.headline + ", " + snapshot.progressText.value_or("–");
    }
};

TEST_F(StatusTest, tellsWhatTheModelIsDoing)
{
    start();
    EXPECT_EQ(now().computer, Network::computerName());
    EXPECT_EQ(now().folder, std::nullopt);
    EXPECT_EQ(headline(now()), "idle: Bereit, –");
    EXPECT_TRUE(now().tiles.empty());

    for (const char *file : {"Serie/Serie.S01E01.720p.mkv", "Serie/Serie.S01E02.720p.mkv", "b.mkv"})
        film(file);
    ffprobe(waitsFor("go"));
    model->open(folder.path());
    EXPECT_EQ(headline(now()), "scanning: Suche Videodateien …, –");
    EXPECT_EQ(now().progress, std::nullopt);
    EXPECT_TRUE(eventually([&] { return model->activity().total == 3; }));
    EXPECT_EQ(now().progressText, "0 von 3 Dateien");
    EXPECT_EQ(now().progress, 0.0);
    go();
    EXPECT_TRUE(idle());
    ffprobe("");
    EXPECT_EQ(now().state, "idle");
    EXPECT_EQ(now().folder, folder.path().filename());
    EXPECT_EQ(now().location, "Lokal");
    EXPECT_THAT(now().folders, ElementsAre(StatusSnapshot::Folder{"Serie", 0, 2, 0, "open", {}}))
        << "files beside the folders have no row";

    ffmpeg(waitsFor("go2") + measurable);
    model->startSampling(2, {});
    EXPECT_TRUE(eventually([&] { return now().jobs.size() == 1; }));
    EXPECT_EQ(now().state + ": " + now().headline, "sampling: Stichprobe 1 von 2");
    EXPECT_EQ(now().jobs[0].state + ": " + now().jobs[0].text, "analyzing: Qualitätsprüfung");
    stop();

    model->library().setSelection({folder / "b.mkv"});
    model->makeProbeClip();
    EXPECT_EQ(now().state + ": " + now().headline, "probeClip: Probeclip wird erstellt");
    EXPECT_EQ(now().progress, 0.0);
    stop();
    EXPECT_EQ(now().state, "idle");
}

TEST_F(StatusTest, followsARunToItsEnd)
{
    ffmpeg("case \"$last\" in *E02*) exit 1;; esac\necho fps=24.6; echo out_time_us=1000000; echo "
           "progress=continue\n" +
           waitsFor("go") + writes(4));
    library({"Serie/S1/Serie.E01.mkv", "Serie/S1/Serie.E02.mkv", "c.mkv"});
    EXPECT_THAT(captions(now()), ElementsAre("drive plain Vorher", "compress plain Nachher (geschätzt)",
                                             "clock plain Dauer (geschätzt)"));
    model->startConversion();
    EXPECT_TRUE(eventually([&] { return now().jobs.size() == 1 && now().jobs[0].progress == 0.5; }));
    const StatusSnapshot running = now();
    EXPECT_EQ(headline(running), "converting: Konvertiert, 0 von 3");
    EXPECT_NEAR(*running.progress, 1.0 / 6, 0.001);
    EXPECT_EQ(running.note, std::nullopt);
    EXPECT_EQ(running.jobs[0].name + "|" + running.jobs[0].text, "c|kodiert 50 % · 25 fps");
    ASSERT_EQ(running.folders.size(), 2U);
    EXPECT_EQ(running.folders[0].name + ", " + running.folders[1].name, "Serie, Serie › S1");
    EXPECT_EQ(running.folders[1].state, "open");
    EXPECT_THAT(running.folders[1].eta.value_or(""), HasSubstr(":"));
    EXPECT_EQ(captions(running).back(), "clock plain Restdauer (geschätzt)");

    model->togglePause();
    EXPECT_EQ(headline(now()), "paused: Pausiert, 0 von 3");
    model->togglePause();
    go();
    EXPECT_TRUE(idle());
    const StatusSnapshot done = now();
    EXPECT_EQ(headline(done), "finished: Fertig, 3 von 3");
    EXPECT_EQ(done.progress, 1.0);
    EXPECT_THAT(*done.note, StartsWith("Fertig: 2 konvertiert · 1 mit Fehler – Dauer "));
    EXPECT_TRUE(done.jobs.empty());
    EXPECT_EQ(done.folders[1], (StatusSnapshot::Folder{"Serie › S1", 2, 2, 1, "done", {}}));
    EXPECT_THAT(done.recent, ElementsAre(StatusSnapshot::Recent{"E02", "Fehler", "red"},
                                         StatusSnapshot::Recent{"E01", "9 KB → 3 KB (−60 %)", "green"},
                                         StatusSnapshot::Recent{"c", "9 KB → 3 KB (−60 %)", "green"}));

    rescan();
    EXPECT_EQ(now().state, "idle") << "the files are new ones";
    EXPECT_TRUE(now().recent.empty());

    fs::remove(toolbox / "go");
    giveSample("c.mkv");
    model->startConversion();
    stop();
    EXPECT_EQ(now().state + ": " + now().headline, "stopped: Gestoppt");
    EXPECT_THAT(*now().note, HasSubstr("3 abgebrochen"));
}

// Counts the calls that reach the main thread from others.
class CallCounter : public QObject {
public:
    CallCounter() { QCoreApplication::instance()->installEventFilter(this); }
    int count = 0;

private:
    bool eventFilter(QObject *receiver, QEvent *) override
    {
        count += std::string(typeid(*receiver).name()).find("Mailbox") != std::string::npos ? 1 : 0;
        return false;
    }
};

TEST_F(StatusTest, requestsThatArriveTogetherShareASnapshot)
{
    const std::uint16_t port = serve();
    settle();

    CallCounter calls;
    std::vector<FileDescriptor> sockets;
    for (int i = 0; i < 30; ++i) {
        sockets.push_back(connected(port));
        sent(sockets.back(), "GET /status.json HTTP/1.1\r\n\r\n");
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(200)); // all wait; this thread is busy
    settle();
    for (const auto &socket : sockets)
        EXPECT_THAT(received(socket), HasSubstr("\"state\":\"idle\""));
    EXPECT_EQ(calls.count, 1);
}

TEST_F(StatusTest, isServedWhereTheSettingsWantIt)
{
    for (const auto &[text, port] : {std::pair("8080", 8080), {"+1", 1}, {"65535", 65535}})
        EXPECT_EQ(StatusService::parsePort(text), port) << text;
    for (const char *text : {"0", "70000", "abc", "", "+", "++1", "-1", " 1", "80x"})
        EXPECT_EQ(StatusService::parsePort(text), std::nullopt) << text;

    const std::uint16_t port = serve();
    // The main thread answers, so it must not wait.
    const auto get = [&](const std::string &path) {
        auto answer = std::async(std::launch::async, [&] { return httpGet(port, path); });
        EXPECT_TRUE(eventually(
            [&] { return answer.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
        return answer.get();
    };
    EXPECT_EQ(model->statusServerError(), std::nullopt);
    EXPECT_EQ(get("/"), get("/index.html"));
    const std::string named = "\"folder\":\"" + folder.path().filename().native() + "\"";
    for (const auto &[path, part] : {std::pair<std::string, std::string>("/", "text/html; charset=utf-8"),
                                     {"/favicon.ico", "image/png"},
                                     {"/settings", "404"},
                                     {"/status.json", "application/json; charset=utf-8"},
                                     {"/status.json", named}})
        EXPECT_THAT(get(path), HasSubstr(part)) << path;

    std::optional<AppModel> other(
        AppModel::Options{.toolFolders = {toolbox.path()}, .servesStatusPage = true});
    EXPECT_TRUE(eventually([&] { return other->statusServerError().has_value(); }));
    EXPECT_EQ(other->statusServerError(),
              "Port " + std::to_string(port) + " ist schon belegt – läuft Kestrel ein zweites Mal?");
    EXPECT_THAT(other->statusURLs(), IsEmpty());

    changeSettings([](auto &settings) { settings.statusPage = false; });
    EXPECT_TRUE(eventually([&] { return other->statusPort() == port; })) << "it tries again";
    EXPECT_EQ(other->statusServerError(), std::nullopt);
    other.reset();
    EXPECT_EQ(get("/"), "");
    changeSettings([](auto &settings) { settings.statusPage = true; });
    EXPECT_TRUE(eventually([&] { return get("/") != ""; }));
}

} // namespace
} // namespace kestrel::test
