#include <future>
#include <typeinfo>

#include <nlohmann/json.hpp>

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
    AppModel &library(const std::vector<std::string> &files, AppModel::Options options = {})
    {
        for (const auto &file : files)
            film(file);
        options.settings = ConversionSettings();
        options.settings->parallelJobs = 1;
        startAndScan(options);
        for (const auto &file : files)
            giveSample(file);
        return *model;
    }
};

TEST_F(StatusTest, tellsWhatTheModelIsDoing)
{
    start();
    EXPECT_EQ(now().computer, Network::computerName());
    EXPECT_EQ(now().folder, std::nullopt);
    EXPECT_EQ(now().headline, "Bereit");
    EXPECT_TRUE(now().tiles.empty());

    const std::vector<std::string> files{"Serie/Serie.S01E01.720p.mkv", "Serie/Serie.S01E02.720p.mkv",
                                         "b.mkv"};
    for (const auto &file : files)
        film(file);
    ffprobe("while [ ! -e " + quoted(toolbox / "go") + " ]; do sleep 0.02; done");
    model->open(folder.path());
    EXPECT_EQ(now().state, "scanning");
    EXPECT_EQ(now().headline, "Suche Videodateien …");
    EXPECT_EQ(now().progress, std::nullopt);
    EXPECT_TRUE(eventually([&] { return model->activity().total == 3; }));
    EXPECT_EQ(now().progressText, "0 von 3 Dateien");
    EXPECT_EQ(now().progress, 0.0);
    std::ofstream(toolbox / "go") << "";
    EXPECT_TRUE(idle());
    ffprobe("");
    const StatusSnapshot idleNow = now();
    EXPECT_EQ(idleNow.state, "idle");
    EXPECT_EQ(idleNow.folder, folder.path().filename());
    EXPECT_EQ(idleNow.location, "Lokal");
    ASSERT_EQ(idleNow.folders.size(), 1U) << "files beside the folders have no row";
    EXPECT_EQ(idleNow.folders[0], (StatusSnapshot::Folder{"Serie", 0, 2, 0, "open", {}}));

    ffmpeg("while [ ! -e " + quoted(toolbox / "go2") +
           " ]; do sleep 0.02; done; head -c 100000 /dev/zero > \"$last\"");
    model->startSampling(2, {});
    EXPECT_TRUE(eventually([&] { return now().jobs.size() == 1; }));
    EXPECT_EQ(now().state, "sampling");
    EXPECT_EQ(now().headline, "Stichprobe 1 von 2");
    EXPECT_EQ(now().jobs[0].state, "analyzing");
    EXPECT_EQ(now().jobs[0].text, "Qualitätsprüfung");
    model->stop();
    EXPECT_TRUE(idle());

    model->library().setSelection({folder / "b.mkv"});
    model->makeProbeClip();
    EXPECT_EQ(now().state, "probeClip");
    EXPECT_EQ(now().headline, "Probeclip wird erstellt");
    EXPECT_EQ(now().progress, 0.0);
    model->stop();
    EXPECT_TRUE(idle());
    EXPECT_EQ(now().state, "idle");
}

TEST_F(StatusTest, followsARunToItsEnd)
{
    ffmpeg("case \"$last\" in *E02*) exit 1;; esac\necho fps=24.6; echo out_time_us=1000000; echo "
           "progress=continue\n"
           "while [ ! -e " +
           quoted(toolbox / "go") + " ]; do sleep 0.02; done\n" + writes(4));
    library({"Serie/S1/Serie.E01.mkv", "Serie/S1/Serie.E02.mkv", "c.mkv"});
    EXPECT_THAT(captions(now()), ElementsAre("drive plain Vorher", "compress plain Nachher (geschätzt)",
                                             "clock plain Dauer (geschätzt)"));
    model->startConversion();
    EXPECT_TRUE(eventually([&] { return now().jobs.size() == 1 && now().jobs[0].progress == 0.5; }));
    const StatusSnapshot running = now();
    EXPECT_EQ(running.state, "converting");
    EXPECT_EQ(running.headline, "Konvertiert");
    EXPECT_EQ(running.progressText, "0 von 3");
    EXPECT_NEAR(*running.progress, 1.0 / 6, 0.001);
    EXPECT_EQ(running.note, std::nullopt);
    EXPECT_EQ(running.jobs[0].name + "|" + running.jobs[0].text, "c|kodiert 50 % · 25 fps");
    ASSERT_EQ(running.folders.size(), 2U);
    EXPECT_EQ(running.folders[0].name + ", " + running.folders[1].name, "Serie, Serie › S1");
    EXPECT_EQ(running.folders[1].state, "open");
    EXPECT_THAT(running.folders[1].eta.value_or(""), HasSubstr(":"));
    EXPECT_EQ(captions(running).back(), "clock plain Restdauer (geschätzt)");

    model->togglePause();
    EXPECT_EQ(now().state, "paused");
    EXPECT_EQ(now().headline, "Pausiert");
    model->togglePause();
    std::ofstream(toolbox / "go") << "";
    EXPECT_TRUE(idle());
    const StatusSnapshot done = now();
    EXPECT_EQ(done.state, "finished");
    EXPECT_EQ(done.headline, "Fertig");
    EXPECT_EQ(done.progress, 1.0);
    EXPECT_THAT(*done.note, StartsWith("Fertig: 2 konvertiert · 1 mit Fehler – Dauer "));
    EXPECT_EQ(done.progressText, "3 von 3");
    EXPECT_TRUE(done.jobs.empty());
    EXPECT_EQ(done.folders[1], (StatusSnapshot::Folder{"Serie › S1", 2, 2, 1, "done", {}}));
    EXPECT_THAT(done.recent, ElementsAre(StatusSnapshot::Recent{"E02", "Fehler", "red"},
                                         StatusSnapshot::Recent{"E01", "9 KB → 3 KB (−60 %)", "green"},
                                         StatusSnapshot::Recent{"c", "9 KB → 3 KB (−60 %)", "green"}));

    model->rescan();
    EXPECT_TRUE(idle());
    EXPECT_EQ(now().state, "idle") << "the files are new ones";
    EXPECT_TRUE(now().recent.empty());

    fs::remove(toolbox / "go");
    giveSample("c.mkv");
    model->startConversion();
    model->stop();
    EXPECT_TRUE(idle());
    EXPECT_EQ(now().state, "stopped");
    EXPECT_EQ(now().headline, "Gestoppt");
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
        const std::string type = typeid(*receiver).name();
        count += type.find("Mailbox") != std::string::npos ? 1 : 0;
        return false;
    }
};

TEST_F(StatusTest, requestsThatArriveTogetherShareASnapshot)
{
    const std::uint16_t port = freePort();
    useStatusPort(port);
    AppModel::Options options;
    options.servesStatusPage = true;
    library({"a.mkv"}, options);
    EXPECT_TRUE(eventually([&] { return model->statusPort().has_value(); }));
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
    for (const auto &[text, port] :
         std::vector<std::pair<std::string, std::optional<std::uint16_t>>>{{"8080", 8080},
                                                                           {"+1", 1},
                                                                           {"65535", 65535},
                                                                           {"0", {}},
                                                                           {"70000", {}},
                                                                           {"abc", {}},
                                                                           {"", {}},
                                                                           {"+", {}},
                                                                           {"++1", {}},
                                                                           {"-1", {}},
                                                                           {" 1", {}},
                                                                           {"80x", {}}})
        EXPECT_EQ(StatusService::parsePort(text), port) << text;

    const std::uint16_t port = freePort();
    useStatusPort(port);
    AppModel::Options options;
    options.servesStatusPage = true;
    library({"a.mkv"}, options);
    // The main thread answers, so it must not wait.
    const auto get = [&](const std::string &path) {
        auto answer = std::async(std::launch::async, [&] { return httpGet(port, path); });
        EXPECT_TRUE(eventually(
            [&] { return answer.wait_for(std::chrono::seconds(0)) == std::future_status::ready; }));
        return answer.get();
    };
    EXPECT_EQ(model->statusServerError(), std::nullopt);
    EXPECT_THAT(get("/"), HasSubstr("text/html; charset=utf-8"));
    EXPECT_EQ(get("/"), get("/index.html"));
    EXPECT_THAT(get("/favicon.ico"), HasSubstr("image/png"));
    EXPECT_THAT(get("/settings"), HasSubstr("404"));
    const std::string answer = get("/status.json");
    EXPECT_THAT(answer, HasSubstr("application/json; charset=utf-8"));
    const auto json = nlohmann::json::parse(answer.substr(answer.find("\r\n\r\n")));
    EXPECT_EQ(json["folder"], folder.path().filename().native());

    AppModel::Options second;
    second.servesStatusPage = true;
    second.toolFolders = {toolbox.path()};
    std::optional<AppModel> other(second);
    EXPECT_TRUE(eventually([&] { return other->statusServerError().has_value(); }));
    EXPECT_EQ(other->statusServerError(),
              "Port " + std::to_string(port) + " ist schon belegt – läuft Kestrel ein zweites Mal?");
    EXPECT_THAT(other->statusURLs(), IsEmpty());

    ConversionSettings settings = model->settings();
    settings.statusPage = false;
    model->setSettings(settings);
    EXPECT_TRUE(eventually([&] { return other->statusPort() == port; })) << "it tries again";
    EXPECT_EQ(other->statusServerError(), std::nullopt);
    other.reset();
    EXPECT_EQ(get("/"), "");
    settings.statusPage = true;
    model->setSettings(settings);
    EXPECT_TRUE(eventually([&] { return get("/") != ""; }));
}

} // namespace
} // namespace kestrel::test
