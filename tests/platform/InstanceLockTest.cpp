#include "platform/InstanceLock.h"

#include <chrono>
#include <functional>
#include <optional>
#include <thread>

#include <gtest/gtest.h>

#include "platform/Cancelled.h"
#include "support/Sandbox.h"

#include <sys/wait.h>
#include <unistd.h>

namespace kestrel {

namespace {

using namespace std::chrono_literals;

// Runs an action in a process of its own; its answer is read once that process has ended.
class Instance {
public:
    explicit Instance(const std::function<bool()> &action) : m_pid(::fork())
    {
        if (m_pid == 0)
            ::_exit(action() ? 1 : 0);
    }
    bool answer() const
    {
        int status = 0;
        ::waitpid(m_pid, &status, 0);
        return WIFEXITED(status) && WEXITSTATUS(status) == 1;
    }

private:
    pid_t m_pid;
};

bool isAlone()
{
    return InstanceLock().isAlone();
}

} // namespace

TEST(InstanceLock, letsALaterInstanceWaitUntilTheFirstHasCleanedUp)
{
    const test::Sandbox sandbox;
    const auto cleaned = sandbox / "cleaned";
    InstanceLock first;
    EXPECT_TRUE(first.isAlone());
    const Instance later([&] { return !isAlone() && test::fs::exists(cleaned); });
    std::this_thread::sleep_for(100ms); // time to get ahead, were it not to wait
    sandbox.write("cleaned", "");
    first.share();
    EXPECT_TRUE(later.answer());
}

TEST(InstanceLock, neitherWaitsForEverNorLosesWhatItHas)
{
    std::optional<InstanceLock> first(std::in_place);
    std::stop_source stop;
    std::jthread later([&] { EXPECT_THROW(InstanceLock(stop.get_token()), Cancelled); });
    std::this_thread::sleep_for(100ms);
    stop.request_stop();
    later.join();

    first->share();
    std::optional<InstanceLock> second(std::in_place);
    EXPECT_FALSE(second->isAlone());
    EXPECT_FALSE(first->becomeAlone());
    second.reset();
    EXPECT_FALSE(Instance(isAlone).answer()) << "the attempt has not cost the first one its place";
    EXPECT_TRUE(first->becomeAlone());
    first.reset();
    EXPECT_TRUE(Instance(isAlone).answer());
}

TEST(InstanceLock, countsAsAloneWhereNoLockCanBeKept)
{
    const test::Sandbox sandbox;
    ::setenv("XDG_DATA_HOME", sandbox.write("file", "").c_str(), 1);
    EXPECT_TRUE(isAlone());
    ::unsetenv("XDG_DATA_HOME");
}

} // namespace kestrel
