// Against real message buses of the test's own, with Debian's mock of the services on them.

#include "platform/SleepInhibitor.h"

#include <chrono>
#include <csignal>
#include <optional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Buses.h"
#include "support/Eventually.h"

#include <sys/wait.h>
#include <unistd.h>

namespace kestrel {
namespace {

using test::eventually;
using testing::HasSubstr;

class SleepInhibitorTest : public testing::Test {
protected:
    void SetUp() override
    {
        if (buses.problem())
            GTEST_SKIP() << *buses.problem();
    }

    test::Buses buses;
    int refusals = 0;
};

const std::string sessionManager = "org.gnome.SessionManager";

TEST_F(SleepInhibitorTest, holdsOnceAndGivesBack)
{
    ASSERT_TRUE(buses.serveSessionManager()) << buses.error(sessionManager);
    std::optional<SleepInhibitor> inhibitor(std::in_place, [&] { ++refusals; });
    inhibitor->hold("Videos werden konvertiert");
    inhibitor->hold("Videos werden konvertiert");
    ASSERT_TRUE(eventually([&] { return inhibitor->isGranted(); })) << buses.error(sessionManager);
    EXPECT_EQ(buses.calls(sessionManager, "Inhibit"), 1);
    EXPECT_THAT(buses.log(sessionManager), HasSubstr("\"Kestrel\" 0 \"Videos werden konvertiert\" 4"));
    inhibitor->release();
    EXPECT_TRUE(eventually([&] { return buses.calls(sessionManager, "Uninhibit") == 1; }));
    EXPECT_THAT(buses.log(sessionManager), HasSubstr("Uninhibit 77"));

    inhibitor->hold("noch einmal");
    inhibitor->release(); // before the answer
    EXPECT_TRUE(eventually([&] { return buses.calls(sessionManager, "Uninhibit") == 2; }));
    inhibitor->hold("und wieder");
    ASSERT_TRUE(eventually([&] { return inhibitor->isGranted(); }));
    inhibitor.reset();
    EXPECT_TRUE(eventually([&] { return buses.calls(sessionManager, "Uninhibit") == 3; }));
    EXPECT_EQ(refusals, 0);
}

TEST_F(SleepInhibitorTest, asksTheNextWhereOneDoesNotAnswer)
{
    const std::string power = "org.freedesktop.PowerManagement";
    ASSERT_TRUE(buses.serve("session", power, "/org/freedesktop/PowerManagement/Inhibit", power + ".Inhibit",
                            {"'Inhibit', 'ss', 'u', 'ret = 5'", "'UnInhibit', 'u', '', ''"}));
    SleepInhibitor inhibitor([&] { ++refusals; });
    inhibitor.hold("Grund");
    ASSERT_TRUE(eventually([&] { return inhibitor.isGranted(); }));
    inhibitor.release();
    EXPECT_TRUE(eventually([&] { return buses.calls(power, "UnInhibit") == 1; }));
}

TEST_F(SleepInhibitorTest, closesWhatTheLoginManagerGave)
{
    // The other end of a pipe tells when it is closed.
    ASSERT_TRUE(buses.serve(
        "system", "org.freedesktop.login1", "/org/freedesktop/login1", "org.freedesktop.login1.Manager",
        {"'Inhibit', 'ssss', 'h', 'import os; r, w = os.pipe(); self.end = r; ret = dbus.types.UnixFd(w); "
         "os.close(w)'",
         "'IsFree', '', 'b', 'import select, os; ret = bool(select.select([self.end], [], [], 0)[0])'"}));
    const auto isFree = [&] {
        return test::shell(
            "DBUS_SYSTEM_BUS_ADDRESS=" + buses.address("system") +
            " dbus-send --system --print-reply --dest=org.freedesktop.login1 /org/freedesktop/login1 "
            "org.freedesktop.login1.Manager.IsFree | grep -q true");
    };
    SleepInhibitor inhibitor([&] { ++refusals; });
    inhibitor.hold("Grund");
    ASSERT_TRUE(eventually([&] { return inhibitor.isGranted(); }));
    EXPECT_FALSE(isFree());
    inhibitor.release();
    EXPECT_TRUE(eventually(isFree));
}

TEST_F(SleepInhibitorTest, aDeadProcessHoldsNothing)
{
    ASSERT_TRUE(buses.serveSessionManager()) << buses.error(sessionManager);
    const test::Sandbox sandbox;
    const auto ownNames = [&] {
        const std::string file = sandbox / "names";
        test::shell("DBUS_SESSION_BUS_ADDRESS=" + buses.address("session") +
                    " dbus-send --session --print-reply --dest=org.freedesktop.DBus / "
                    "org.freedesktop.DBus.ListNames > " +
                    file);
        const std::string text = test::readFile(file);
        return std::count(text.begin(), text.end(), ':');
    };
    const auto before = ownNames();
    const pid_t pid = ::fork();
    if (pid == 0) {
        SleepInhibitor inhibitor([] {});
        inhibitor.hold("Grund");
        eventually([&] { return inhibitor.isGranted(); });
        ::raise(SIGKILL);
    }
    int status = 0;
    ::waitpid(pid, &status, 0);
    EXPECT_EQ(buses.calls(sessionManager, "Inhibit"), 1);
    // The services let go of what a connection held that is no longer there.
    EXPECT_TRUE(eventually([&] { return ownNames() == before; }));
}

TEST_F(SleepInhibitorTest, saysOnceThatNobodyAnswers)
{
    SleepInhibitor inhibitor([&] { ++refusals; });
    inhibitor.hold("Grund");
    EXPECT_TRUE(eventually([&] { return refusals == 1; }));
    EXPECT_FALSE(inhibitor.isGranted());
    inhibitor.release();
}

} // namespace
} // namespace kestrel
