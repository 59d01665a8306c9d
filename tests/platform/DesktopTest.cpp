// What talks to the desktop, against real message buses of the test's own: Debian's mock of the services is
// on them, an ear, and a stand-in of xdg-open.

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <optional>
#include <regex>

#include <gmock/gmock.h>

#include "platform/ColorScheme.h"
#include "platform/FileManager.h"
#include "platform/Launcher.h"
#include "platform/Signals.h"
#include "platform/SleepInhibitor.h"
#include "support/Buses.h"
#include "support/Eventually.h"

#include <sys/wait.h>
#include <unistd.h>

namespace kestrel::test {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using Answers = std::vector<std::optional<bool>>;

class DesktopTest : public testing::Test {
protected:
    void SetUp() override
    {
        if (buses.problem())
            GTEST_SKIP() << *buses.problem();
        opener("/bin/grep SigBlk /proc/self/status > " + quoted(sandbox / "blocked") +
               "\necho \"$#: $*\" > " + quoted(sandbox / "opened"));
        ::setenv("PATH", (programs.path().native() + ":" + ::getenv("PATH")).c_str(), 1);
    }
    void opener(const std::string &script) const
    {
        fs::permissions(programs.write("xdg-open", "#!/bin/sh\n" + script + "\n"), fs::perms::owner_all);
    }
    bool isOpened(const std::string &uri) const
    {
        return eventually([&] { return readFile(sandbox / "opened") == "1: " + uri + "\n"; });
    }
    bool isAnswered(const Answers &expected) const
    {
        return eventually([&] { return answers == expected; });
    }
    bool serveFileManager(const std::string &code)
    {
        return buses.serve("session", fileManager, "/org/freedesktop/FileManager1", fileManager,
                           {"'ShowItems', 'ass', '', '" + code + "'"});
    }
    bool servePortal(const std::string &code)
    {
        return buses.serve("session", portal, "/org/freedesktop/portal/desktop", settings,
                           {"'Read', 'ss', 'v', '" + code + "'"});
    }
    // Returns what dbus-send prints.
    std::string send(const std::string &bus, const std::string &message) const
    {
        shell("dbus-send --bus=" + buses.address(bus) + " " + message + " > " + quoted(sandbox / "sent"));
        return readFile(sandbox / "sent");
    }
    void announce(const std::string &group, const std::string &key, const std::string &value) const
    {
        send("session", "--type=signal /org/freedesktop/portal/desktop " + settings +
                            ".SettingChanged string:" + group + " string:" + key + " variant:" + value);
    }

    const std::string fileManager = "org.freedesktop.FileManager1", portal = "org.freedesktop.portal.Desktop",
                      settings = "org.freedesktop.portal.Settings",
                      sessionManager = "org.gnome.SessionManager";
    // As portals do, in a wrapping of its own inside the answer's.
    const std::string dark = "ret = dbus.UInt32(1, variant_level=2)";

    Buses buses;
    Sandbox sandbox, programs;
    Answers answers; // whether dark, or whether a program took the file
    const std::function<void(std::optional<bool>)> onAnswer = [this](auto answer) {
        answers.push_back(answer);
    };
    int refusals = 0;
    std::optional<SleepInhibitor> inhibitor{std::in_place, [this] { ++refusals; }};
};

TEST_F(DesktopTest, itsColorSchemeIsFollowed)
{
    ASSERT_TRUE(servePortal(dark)) << buses.error(portal);
    const ColorScheme scheme(onAnswer);
    ASSERT_TRUE(isAnswered({true})) << buses.error(portal);
    EXPECT_THAT(buses.log(portal), HasSubstr("\"org.freedesktop.appearance\" \"color-scheme\""));

    const std::string group = "org.freedesktop.appearance", key = "color-scheme";
    announce(group, key, "uint32:0");
    EXPECT_TRUE(isAnswered({true, false})) << "no preference is light";
    announce(group, "contrast", "uint32:1");
    announce("org.gnome.desktop.interface", key, "uint32:1");
    announce(group, key, "uint32:2");
    announce(group, key, "uint32:1");
    EXPECT_TRUE(isAnswered({true, false, true}));
    announce(group, key, "string:dark");
    announce(group, key, "uint32:1");
    workFor(100ms);
    EXPECT_THAT(answers, ElementsAre(true, false, true)) << "nothing else, and nothing twice";
}

TEST_F(DesktopTest, nobodyWaitsForThePortalAndItsAnswerDoesNotOutliveTheQuestion)
{
    ASSERT_TRUE(servePortal("import time; time.sleep(3); " + dark)) << buses.error(portal);
    const auto start = std::chrono::steady_clock::now();
    std::optional<ColorScheme> scheme(std::in_place, onAnswer);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 2s);
    ASSERT_TRUE(eventually([&] { return buses.calls(portal, "Read") == 1; }));
    scheme.reset();
    workFor(3500ms);
    announce("org.freedesktop.appearance", "color-scheme", "uint32:1");
    workFor(200ms);
    EXPECT_THAT(answers, testing::IsEmpty());

    const ColorScheme next(onAnswer); // the portal does answer
    EXPECT_TRUE(isAnswered({true}));
}

TEST_F(DesktopTest, withoutServicesTheFolderIsOpenedAndTheRestIsRefused)
{
    const ColorScheme scheme(onAnswer);
    EXPECT_TRUE(isAnswered({std::nullopt}));
    FileManager::reveal("/Filme \xff/a.mkv", onAnswer);
    EXPECT_TRUE(isOpened("file:///Filme%20%FF"));
    EXPECT_TRUE(isAnswered({std::nullopt, true}));
    inhibitor->hold("Grund");
    EXPECT_TRUE(eventually([&] { return refusals == 1; }));
    EXPECT_FALSE(inhibitor->isGranted());
}

TEST_F(DesktopTest, itsFileManagerShowsAFileWhateverItsName)
{
    ASSERT_TRUE(serveFileManager("")) << buses.error(fileManager);
    FileManager::reveal("/Filme/100% Über/./b\xff#?;+&.mkv", onAnswer);
    ASSERT_TRUE(isAnswered({true}));
    EXPECT_THAT(buses.log(fileManager),
                HasSubstr("ShowItems [\"file:///Filme/100%25%20%C3%9Cber/b%FF%23%3F%3B%2B%26.mkv\"] \"\"\n"));
    EXPECT_FALSE(fs::exists(sandbox / "opened"));
}

TEST_F(DesktopTest, theFolderIsOpenedWhereTheFileManagerDoesNotAnswer)
{
    ASSERT_TRUE(serveFileManager("import time; time.sleep(30)")) << buses.error(fileManager);
    const auto start = std::chrono::steady_clock::now();
    FileManager::reveal("/Filme/a.mkv", onAnswer);
    EXPECT_LT(std::chrono::steady_clock::now() - start, 2s) << "nobody waits for it";
    EXPECT_THAT(answers, testing::IsEmpty());
    EXPECT_TRUE(isOpened("file:///Filme"));
    EXPECT_TRUE(isAnswered({true}));
}

TEST_F(DesktopTest, filesAndFoldersAreOpened)
{
    const Signals blocking; // a player, say, must not have them blocked
    FileManager::open("/Filme/Ein Film.mkv", onAnswer);
    EXPECT_TRUE(isAnswered({true}));
    EXPECT_TRUE(isOpened("file:///Filme/Ein%20Film.mkv"));
    EXPECT_EQ(readFile(sandbox / "blocked"), "SigBlk:\t0000000000000000\n");
    FileManager::open("/");
    EXPECT_TRUE(isOpened("file:///"));
    opener("exit 3"); // as where no program is there for such files
    FileManager::open("/Filme/Ein Film.mkv", onAnswer);
    EXPECT_TRUE(isAnswered({true, false}));
}

TEST_F(DesktopTest, theIconShowsTheProgress)
{
    const auto heard = [&] { return readFile(sandbox / "heard"); };
    shell("dbus-monitor --address " + buses.address("session") +
          " \"interface='com.canonical.Unity.LauncherEntry'\" > " + quoted(sandbox / "heard") +
          " 2> /dev/null &");
    ASSERT_TRUE(eventually([&] { return heard().find("NameLost") != std::string::npos; }));
    const struct {
        std::optional<std::string> text;
        std::string progress, isVisible;
    } cases[] = {{"0 %", "0", "true"},         {"43 %", "0.43", "true"}, {"100 %", "1", "true"},
                 {std::nullopt, "0", "false"}, {"120 %", "1", "true"},   {"bald", "0", "false"},
                 {"3 Dateien", "0", "false"}};
    for (const auto &[text, progress, isVisible] : cases) {
        const std::size_t begin = heard().size();
        Launcher::setBadge(text);
        EXPECT_TRUE(eventually([&] { return heard().size() > begin && heard().ends_with("]\n"); }));
        const std::string message = std::regex_replace(heard().substr(begin), std::regex("\\s+"), " ");
        EXPECT_THAT(message, HasSubstr("string \"application://app.kestrel.Kestrel.desktop\""));
        EXPECT_THAT(message, HasSubstr("string \"progress\" variant double " + progress + " )"));
        EXPECT_THAT(message, HasSubstr("string \"progress-visible\" variant boolean " + isVisible));
        EXPECT_THAT(message, HasSubstr("string \"count-visible\" variant boolean false"));
    }
}

TEST_F(DesktopTest, theSessionManagerKeepsTheComputerAwakeOnceAndGetsItBack)
{
    ASSERT_TRUE(buses.serveSessionManager()) << buses.error(sessionManager);
    const auto isGivenBack = [&](int times) {
        return eventually([&] { return buses.calls(sessionManager, "Uninhibit") == times; });
    };
    inhibitor->hold("Videos werden konvertiert");
    inhibitor->hold("Videos werden konvertiert");
    ASSERT_TRUE(eventually([&] { return inhibitor->isGranted(); })) << buses.error(sessionManager);
    EXPECT_EQ(buses.calls(sessionManager, "Inhibit"), 1);
    EXPECT_THAT(buses.log(sessionManager), HasSubstr("\"Kestrel\" 0 \"Videos werden konvertiert\" 4"));
    inhibitor->release();
    EXPECT_TRUE(isGivenBack(1));
    EXPECT_THAT(buses.log(sessionManager), HasSubstr("Uninhibit 77"));

    inhibitor->hold("noch einmal");
    inhibitor->release(); // before the answer
    EXPECT_TRUE(isGivenBack(2));
    inhibitor->hold("und wieder");
    ASSERT_TRUE(eventually([&] { return inhibitor->isGranted(); }));
    inhibitor.reset();
    EXPECT_TRUE(isGivenBack(3));
    EXPECT_EQ(refusals, 0);
}

TEST_F(DesktopTest, thePowerManagerIsAskedWhereTheSessionManagerDoesNotAnswer)
{
    const std::string power = "org.freedesktop.PowerManagement";
    ASSERT_TRUE(buses.serve("session", power, "/org/freedesktop/PowerManagement/Inhibit", power + ".Inhibit",
                            {"'Inhibit', 'ss', 'u', 'ret = 5'", "'UnInhibit', 'u', '', ''"}));
    inhibitor->hold("Grund");
    ASSERT_TRUE(eventually([&] { return inhibitor->isGranted(); }));
    inhibitor->release();
    EXPECT_TRUE(eventually([&] { return buses.calls(power, "UnInhibit") == 1; }));
}

TEST_F(DesktopTest, whatTheLoginManagerGaveIsClosed)
{
    // The other end of a pipe tells when it is closed.
    ASSERT_TRUE(buses.serve(
        "system", "org.freedesktop.login1", "/org/freedesktop/login1", "org.freedesktop.login1.Manager",
        {"'Inhibit', 'ssss', 'h', 'import os; r, w = os.pipe(); self.end = r; ret = dbus.types.UnixFd(w); "
         "os.close(w)'",
         "'IsFree', '', 'b', 'import select, os; ret = bool(select.select([self.end], [], [], 0)[0])'"}));
    const auto isFree = [&] {
        const std::string question = "--print-reply --dest=org.freedesktop.login1 /org/freedesktop/login1 "
                                     "org.freedesktop.login1.Manager.IsFree";
        return send("system", question).find("true") != std::string::npos;
    };
    inhibitor->hold("Grund");
    ASSERT_TRUE(eventually([&] { return inhibitor->isGranted(); }));
    EXPECT_FALSE(isFree());
    inhibitor->release();
    EXPECT_TRUE(eventually(isFree));
}

TEST_F(DesktopTest, aDeadProcessHoldsNothing)
{
    ASSERT_TRUE(buses.serveSessionManager()) << buses.error(sessionManager);
    const auto connections = [&] {
        const std::string names = send("session", "--print-reply --dest=org.freedesktop.DBus / "
                                                  "org.freedesktop.DBus.ListNames");
        return std::count(names.begin(), names.end(), ':');
    };
    const auto before = connections();
    const pid_t pid = ::fork();
    if (pid == 0) {
        inhibitor->hold("Grund");
        eventually([&] { return inhibitor->isGranted(); });
        ::raise(SIGKILL);
    }
    ::waitpid(pid, nullptr, 0);
    EXPECT_EQ(buses.calls(sessionManager, "Inhibit"), 1);
    // The services let go of what a connection held that is no longer there.
    EXPECT_TRUE(eventually([&] { return connections() == before; }));
}

TEST(DesktopWithoutABus, saysSoAtOnce)
{
    const Sandbox empty;
    ::setenv("DBUS_SESSION_BUS_ADDRESS", ("unix:path=" + (empty / "bus").native()).c_str(), 1);
    ::setenv("PATH", empty.path().c_str(), 1);
    Answers dark, taken;
    const ColorScheme scheme([&](auto answer) { dark.push_back(answer); });
    EXPECT_TRUE(eventually([&] { return dark == Answers{std::nullopt}; }));
    FileManager::reveal("/Filme/a.mkv"); // by those who do not care
    FileManager::reveal("/Filme/a.mkv", [&](bool answer) { taken.push_back(answer); });
    EXPECT_TRUE(eventually([&] { return taken == Answers{false}; }));
    testing::internal::CaptureStderr();
    Launcher::setBadge("43 %");
    Launcher::setBadge(std::nullopt);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    workFor(100ms); // until both of the file manager's are gone
}

} // namespace
} // namespace kestrel::test
