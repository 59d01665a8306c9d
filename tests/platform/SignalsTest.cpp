#include "platform/Signals.h"

#include <csignal>
#include <cstdlib>

#include <gtest/gtest.h>

#include <unistd.h>

namespace kestrel {

// Each in a process of its own, which has no other threads.
TEST(SignalsDeathTest, reachTheHandlerAndEndTheProgramWhereNoneIsSet)
{
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        EXPECT_EXIT(
            {
                Signals termination;
                termination.setOnEnd([] { std::_Exit(7); });
                ::kill(::getpid(), number);
                ::sleep(20);
            },
            testing::ExitedWithCode(7), "")
            << number;
        EXPECT_EXIT(
            {
                Signals termination;
                termination.setOnEnd([] { std::_Exit(7); });
                termination.setOnEnd({});
                ::kill(::getpid(), number);
                ::sleep(20);
            },
            testing::KilledBySignal(number), "")
            << number;
        EXPECT_EXIT(
            {
                {
                    const Signals gone;
                }
                ::kill(::getpid(), number);
                ::sleep(20);
            },
            testing::KilledBySignal(number), "")
            << number;
    }
}

} // namespace kestrel
