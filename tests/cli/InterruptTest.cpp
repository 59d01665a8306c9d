// The built program when somebody interrupts, kills or freezes it.

#include <chrono>
#include <csignal>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "cli/Program.h"
#include "platform/ChildProcess.h"
#include "support/Clips.h"

namespace kestrel::test {
namespace {

using testing::ElementsAre;

// Runs a conversion and sends it a signal once it encodes; returns its status.
int interrupted(const fs::path &folder, int signal)
{
    ChildProcess program(KESTREL_PROGRAM, {"convert", folder.native(), "--json", "--quality", "small"});
    std::size_t seen = 0;
    return program.communicate(
        [&](std::string_view text) {
            // Both files are at work: neither waits for the other.
            for (std::size_t at = text.find("\"running\""); at != std::string_view::npos;
                 at = text.find("\"running\"", at + 1))
                if (++seen == 2)
                    program.signal(signal);
        },
        [](std::string_view) {});
}

bool ffmpegWorksIn(const fs::path &folder)
{
    for (const auto &process : fs::directory_iterator("/proc"))
        if (const std::string command = readFile(process.path() / "cmdline");
            command.find("ffmpeg") != std::string::npos && command.find(folder.native()) != std::string::npos)
            return true;
    return false;
}

TEST(Interrupt, anInterruptStopsCleanlyAndAKillLosesNothing)
{
    const Sandbox sandbox;
    // Under a minute: a single sample, so that the encode is what takes long.
    const fs::path heavy = Clips::make("slow.mkv", "-f lavfi -i testsrc2=s=320x240:r=5:d=59 -c:v libx264 "
                                                   "-preset ultrafast -crf 1");
    sandbox.put(heavy, "a.mkv");
    sandbox.put(heavy, "b.mkv");
    const std::string original = readFile(heavy);
    EXPECT_EQ(interrupted(sandbox.path(), SIGINT), 130);
    EXPECT_THAT(names(sandbox.path()), ElementsAre("a.mkv", "b.mkv"));
    EXPECT_FALSE(ffmpegWorksIn(sandbox.path()));

    EXPECT_EQ(interrupted(sandbox.path(), SIGKILL), 128 + SIGKILL);
    for (int i = 0; i < 100 && ffmpegWorksIn(sandbox.path()); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_FALSE(ffmpegWorksIn(sandbox.path())) << "ffmpeg dies with the program";
    for (const char *name : {"a.mkv", "b.mkv"})
        EXPECT_EQ(readFile(sandbox / name), original);
}

TEST(Interrupt, ctrlZStopsAtOnceWhateverItIsDoing)
{
    const Sandbox sandbox;
    sandbox.put(Clips::film(), "a.mkv");
    // Waits for standard input, before there is a library.
    ASSERT_TRUE(shell("mkfifo " + quoted(sandbox / "pipe")));
    const std::string state = "$(cut -d' ' -f3 /proc/$program/stat)";
    EXPECT_TRUE(shell("exec 3<> " + quoted(sandbox / "pipe") + "; " KESTREL_PROGRAM " plan " +
                      quoted(sandbox.path()) + " --only - <&3 >/dev/null & program=$!; sleep 1\n" +
                      "kill -TSTP $program; for i in $(seq 100); do [ " + state +
                      " = T ] && break; sleep 0.05; done; [ " + state +
                      " = T ] && kill -CONT $program && kill -INT $program; wait $program; [ $? = 130 ]"));
}

TEST(Interrupt, ctrlZFreezesFfmpegToo)
{
    const Sandbox sandbox;
    sandbox.put(Clips::make("slow.mkv", "-f lavfi -i testsrc2=s=320x240:r=5:d=59 -c:v libx264 "
                                        "-preset ultrafast -crf 1"),
                "a.mkv");
    ChildProcess program(KESTREL_PROGRAM, {"convert", sandbox.path(), "--json", "--quality", "small"});
    const auto frozen = [&] {
        std::size_t count = 0;
        for (const auto &process : fs::directory_iterator("/proc"))
            if (readFile(process.path() / "cmdline").find(sandbox.path().native()) != std::string::npos)
                count += readFile(process.path() / "stat").find(") T ") != std::string::npos ? 1 : 0;
        return count;
    };
    bool wasFrozen = false, wasPaused = false;
    std::jthread shell([&] {
        for (int i = 0; i < 500 && !ffmpegWorksIn(sandbox.path()); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        program.signal(SIGTSTP);
        for (int i = 0; i < 500 && frozen() < 2; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        wasFrozen = frozen() >= 2;
        program.signal(SIGCONT);
        for (int i = 0; i < 500 && frozen() > 0; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        wasPaused = frozen() == 0;
        program.signal(SIGINT);
    });
    EXPECT_EQ(program.communicate([](std::string_view) {}, [](std::string_view) {}), 130);
    EXPECT_TRUE(wasFrozen);
    EXPECT_TRUE(wasPaused);
    EXPECT_THAT(names(sandbox.path()), ElementsAre("a.mkv"));
}

} // namespace
} // namespace kestrel::test
