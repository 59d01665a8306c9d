#include "platform/ChildProcess.h"

#include <csignal>
#include <memory>
#include <thread>

#include <gtest/gtest.h>

#include "support/Eventually.h"
#include "support/Sandbox.h"

namespace kestrel {

namespace {

using namespace std::chrono_literals;

void ignore(std::string_view) {}

ChildProcess sh(const std::string &script)
{
    return {"/bin/sh", {"-c", script}};
}

std::string outputOf(ChildProcess &&child)
{
    std::string text;
    child.communicate([&](std::string_view bytes) { text += bytes; }, ignore);
    return text;
}

// Neither gone nor a zombie that nobody has reaped.
bool isRunning(const std::string &pid)
{
    const std::string text = test::readFile("/proc/" + pid + "/stat");
    const auto name = text.rfind(") ");
    return name != std::string::npos && text[name + 2] != 'Z' && text[name + 2] != 'X';
}

} // namespace

TEST(ChildProcess, getsItsArgumentsByteForByteAndNothingToRead)
{
    EXPECT_EQ(outputOf({"/usr/bin/printf", {"%s|", "a b", "", "'\"$HOME*\\", "Gr\xfc\xdf\x65", "ü\n"}}),
              "a b||'\"$HOME*\\|Gr\xfc\xdf\x65|ü\n|");
    EXPECT_EQ(outputOf(sh("cat; echo Ende")), "Ende\n");
}

TEST(ChildProcess, beginsWithTheSystemsSignalHandling)
{
    // As a program does that takes its signals on one thread.
    sigset_t blocked, before;
    ::sigemptyset(&blocked);
    ::sigaddset(&blocked, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &blocked, &before);
    const auto interrupt = std::signal(SIGINT, SIG_IGN);
    const auto pipe = std::signal(SIGPIPE, SIG_IGN);
    for (const auto &[name, number] : {std::pair{"TERM", SIGTERM}, {"INT", SIGINT}, {"PIPE", SIGPIPE}})
        EXPECT_EQ(sh(std::string("kill -") + name + " $$; exit 3").communicate(ignore, ignore), 128 + number)
            << name;
    std::signal(SIGINT, interrupt);
    std::signal(SIGPIPE, pipe);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST(ChildProcess, takesItsHelpersAlongWhenItIsTerminated)
{
    ChildProcess child = sh("sleep 30 & echo $!; wait");
    std::string helper;
    const int status = child.communicate(
        [&](std::string_view bytes) {
            helper += bytes.substr(0, bytes.find('\n'));
            EXPECT_TRUE(isRunning(helper));
            child.terminate(std::nullopt);
        },
        ignore);
    EXPECT_EQ(status, 128 + SIGTERM);
    EXPECT_TRUE(test::eventually([&] { return !isRunning(helper); }));
    EXPECT_FALSE(child.signal(SIGTERM)) << "the number may be a stranger's by now";
}

TEST(ChildProcess, isKilledOnlyWhenItsTimeIsUp)
{
    for (const char *stubborn : {"sleep 30; exit 4", "yes"}) { // "yes" writes faster than it is read
        ChildProcess child = sh(std::string("trap '' TERM; echo bereit; ") + stubborn);
        const auto slowly = [&](std::string_view) {
            child.terminate(0s);
            std::this_thread::sleep_for(1ms);
        };
        EXPECT_EQ(child.communicate(slowly, ignore), 128 + SIGKILL) << stubborn;
    }
    ChildProcess polite = sh("trap 'exit 5' TERM; echo bereit; sleep 30 & wait");
    EXPECT_EQ(polite.communicate([&](std::string_view) { polite.terminate(60s); }, ignore), 5);
}

TEST(ChildProcess, diesWithTheThreadThatStartedIt)
{
    std::unique_ptr<ChildProcess> child;
    std::thread([&] {
        child = std::make_unique<ChildProcess>("/bin/sleep", std::vector<std::string>{"30"});
    }).join();
    EXPECT_EQ(child->communicate(ignore, ignore), 128 + SIGKILL);
}

TEST(ChildProcess, diesWithItsObject)
{
    const test::Sandbox sandbox;
    std::string pid;
    {
        const ChildProcess child = sh("echo $$ >" + test::quoted(sandbox / "pid") + "; exec sleep 30");
        while (!pid.ends_with('\n'))
            pid = test::readFile(sandbox / "pid");
    }
    pid.pop_back();
    EXPECT_FALSE(isRunning(pid));
}

TEST(ChildProcess, isNotWaitedForThroughWhatItLeavesBehind)
{
    const test::Sandbox sandbox;
    const auto late = sandbox / "late";
    EXPECT_EQ(outputOf(sh("(sleep 1; touch " + test::quoted(late) + ") & echo fertig")), "fertig\n");
    EXPECT_FALSE(test::fs::exists(late));
    ChildProcess noisy = sh("yes & sleep 0.05; exit 3");
    EXPECT_EQ(noisy.communicate([](std::string_view) { std::this_thread::sleep_for(1ms); }, ignore), 3);
}

} // namespace kestrel
