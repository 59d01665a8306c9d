#include "platform/FileLock.h"

#include <cstdio>
#include <future>

#include <gtest/gtest.h>

#include "support/Eventually.h"
#include "support/Sandbox.h"

namespace kestrel::test {

TEST(FileLock, otherProcessesRespectItAndItRespectsTheirs)
{
    const Sandbox sandbox;
    const auto file = sandbox / "Film.mkv", mark = sandbox / "gesperrt";
    const std::string flock = "flock -n " + quoted(file);
    EXPECT_FALSE(FileLock::tryTake(file).isHeld()) << "nothing is there";
    EXPECT_FALSE(FileLock::tryTake(file).isTaken());
    {
        const FileLock lock = FileLock::tryCreate(file);
        EXPECT_TRUE(lock.isHeld());
        EXPECT_FALSE(shell(flock + " true"));
        EXPECT_TRUE(FileLock::tryTake(file).isTaken());
    }
    EXPECT_TRUE(shell(flock + " true"));

    FILE *other = ::popen((flock + " sh -c 'touch " + quoted(mark) + "; read word'").c_str(), "w");
    EXPECT_TRUE(eventually([&] { return fs::exists(mark); }));
    EXPECT_TRUE(FileLock::tryTake(file).isTaken());
    EXPECT_TRUE(FileLock::tryCreate(file).isTaken());
    auto waiting = std::async(std::launch::async, [&] { return FileLock::take(file).isHeld(); });
    EXPECT_EQ(waiting.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    ::pclose(other);
    EXPECT_TRUE(waiting.get());
}

} // namespace kestrel::test
