#include "encoding/FFmpegRunner.h"

#include <atomic>
#include <chrono>
#include <fstream>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Sandbox.h"
#include "support/StandIn.h"

namespace kestrel::test {
namespace {

using namespace std::chrono_literals;

char processState(const fs::path &pidFile)
{
    int pid = 0;
    std::ifstream(pidFile) >> pid;
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string number, name, state;
    stat >> number >> name >> state;
    return state.empty() ? '-' : state[0];
}

template <typename Condition>
bool eventually(Condition condition)
{
    for (int i = 0; i < 2000; ++i) {
        if (condition())
            return true;
        std::this_thread::sleep_for(5ms);
    }
    return false;
}

TEST(FFmpegRunner, turnsTheProgressStreamIntoNumbers)
{
    const Sandbox sandbox;
    std::vector<FFmpegRunner::Progress> seen;
    FFmpegRunner runner(
        standIn(sandbox, "ffmpeg",
                "printf 'out_time_us=1500000\\nfps=24.5\\nspeed= 1.23x\\nprogress=continue\\n'\n"
                "echo '  Fehler am Ende ' >&2; printf letzte >&2; exit 7"),
        {}, [&](const auto &progress) { seen.push_back(progress); });
    EXPECT_EQ(runner.run({}), 7);
    EXPECT_THAT(seen, testing::ElementsAre(FFmpegRunner::Progress{1.5, 24.5, 1.23}));
    EXPECT_EQ(runner.errorTail(), "Fehler am Ende\nletzte");
}

TEST(FFmpegRunner, isFrozenResumedAndCancelledFromAnotherThread)
{
    const Sandbox sandbox;
    const fs::path pid = sandbox / "pid";
    FFmpegRunner runner(standIn(sandbox, "ffmpeg", "echo $$ > " + quoted(pid) + "; exec sleep 1000"), {}, {});
    runner.suspend(); // before it runs: nothing happens
    std::atomic<int> status = 0;
    std::jthread worker([&] { status = runner.run({}); });
    ASSERT_TRUE(eventually([&] { return fs::exists(pid) && fs::file_size(pid) > 1; }));

    runner.suspend();
    EXPECT_TRUE(eventually([&] { return processState(pid) == 'T'; }));
    runner.resume();
    EXPECT_TRUE(eventually([&] { return processState(pid) != 'T'; }));
    runner.suspend();
    runner.cancel(); // a frozen process ends all the same
    worker.join();
    EXPECT_EQ(status, 128 + 15);
    runner.suspend();
    runner.resume();
}

TEST(FFmpegRunner, aCancelBeforeTheStartEndsItRightAfter)
{
    const Sandbox sandbox;
    FFmpegRunner runner(standIn(sandbox, "ffmpeg", "sleep 1000"), {}, {});
    runner.cancel();
    EXPECT_NE(runner.run({}), 0);

    std::stop_source stop;
    stop.request_stop();
    FFmpegRunner stopped(standIn(sandbox, "ffmpeg", "sleep 1000"), {}, {});
    EXPECT_NE(stopped.run(stop.get_token()), 0);
}

TEST(FFmpegRunner, aMissingProgramIsToldAsAnError)
{
    FFmpegRunner runner("/nowhere/ffmpeg", {}, {});
    EXPECT_THROW(runner.run({}), std::system_error);
}

} // namespace
} // namespace kestrel::test
