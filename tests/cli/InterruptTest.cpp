// The built program when somebody interrupts, kills or freezes it.

#include <chrono>
#include <csignal>
#include <thread>

#include "cli/Program.h"
#include "platform/ChildProcess.h"

namespace kestrel::test {
namespace {

// Under a minute: a single sample, so that the encode is what takes long.
fs::path slowFilm()
{
    return Clips::make("slow.mkv",
                       "-f lavfi -i testsrc2=s=320x240:r=5:d=59 -c:v libx264 -preset ultrafast -crf 1");
}

Words conversionOf(const fs::path &folder)
{
    return {"convert", folder.native(), "--json", "--quality", "small"};
}

// Runs a conversion and sends it a signal once it encodes; returns its status.
int interrupted(const fs::path &folder, int signal)
{
    ChildProcess program(KESTREL_PROGRAM, conversionOf(folder));
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

// The processes that have the folder and this word in their command line, and that in their state.
std::size_t processes(const fs::path &folder, const std::string &word, const std::string &state = "")
{
    std::size_t count = 0;
    for (const auto &process : fs::directory_iterator("/proc"))
        if (const std::string command = readFile(process.path() / "cmdline");
            command.find(folder.native()) != std::string::npos && command.find(word) != std::string::npos)
            count += readFile(process.path() / "stat").find(state) != std::string::npos ? 1 : 0;
    return count;
}

bool becomes(const std::function<bool()> &condition)
{
    for (int i = 0; i < 500 && !condition(); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    return condition();
}

TEST(Interrupt, anInterruptStopsCleanlyAndAKillLosesNothing)
{
    const Sandbox sandbox;
    sandbox.put(slowFilm(), "a.mkv");
    sandbox.put(slowFilm(), "b.mkv");
    const std::string original = readFile(slowFilm());
    EXPECT_EQ(interrupted(sandbox.path(), SIGINT), 130);
    EXPECT_THAT(names(sandbox.path()), ElementsAre("a.mkv", "b.mkv"));
    EXPECT_EQ(processes(sandbox.path(), "ffmpeg"), 0U);

    EXPECT_EQ(interrupted(sandbox.path(), SIGKILL), 128 + SIGKILL);
    EXPECT_TRUE(becomes([&] { return processes(sandbox.path(), "ffmpeg") == 0; }))
        << "ffmpeg dies with the program";
    for (const char *name : {"a.mkv", "b.mkv"})
        EXPECT_EQ(readFile(sandbox / name), original);
}

TEST(Interrupt, ctrlZStopsAtOnceWhateverItIsDoing)
{
    const Sandbox sandbox;
    sandbox.put(Clips::film(), "a.mkv");
    // Waits for standard input, before there is a library.
    ASSERT_TRUE(shell("mkfifo " + quoted(sandbox / "pipe")));
    const std::string isStopped = "[ $(cut -d' ' -f3 /proc/$program/stat) = T ]";
    EXPECT_TRUE(shell("exec 3<> " + quoted(sandbox / "pipe") + "; " KESTREL_PROGRAM " plan " +
                      quoted(sandbox.path()) + " --only - <&3 >/dev/null & program=$!; sleep 1\n" +
                      "kill -TSTP $program; for i in $(seq 100); do " + isStopped +
                      " && break; sleep 0.05; done; " + isStopped +
                      " && kill -CONT $program && kill -INT $program; wait $program; [ $? = 130 ]"));
}

TEST(Interrupt, ctrlZFreezesFfmpegToo)
{
    const Sandbox sandbox;
    sandbox.put(slowFilm(), "a.mkv");
    ChildProcess program(KESTREL_PROGRAM, conversionOf(sandbox.path()));
    const auto frozen = [&] { return processes(sandbox.path(), "", ") T "); };
    std::jthread terminal([&] {
        EXPECT_TRUE(becomes([&] { return processes(sandbox.path(), "ffmpeg") > 0; }));
        program.signal(SIGTSTP);
        EXPECT_TRUE(becomes([&] { return frozen() >= 2; }));
        program.signal(SIGCONT);
        EXPECT_TRUE(becomes([&] { return frozen() == 0; }));
        program.signal(SIGINT);
    });
    EXPECT_EQ(program.communicate([](std::string_view) {}, [](std::string_view) {}), 130);
    EXPECT_THAT(names(sandbox.path()), ElementsAre("a.mkv"));
}

} // namespace
} // namespace kestrel::test
