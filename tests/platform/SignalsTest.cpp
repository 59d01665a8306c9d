#include "platform/Signals.h"

#include <csignal>
#include <cstdlib>
#include <memory>

#include <gtest/gtest.h>

#include <unistd.h>

namespace kestrel {

// Each in a process of its own, which has no other threads.
TEST(SignalsDeathTest, reachTheHandlerAndEndTheProgramWhereNoneIsSet)
{
    const auto sendWith = [](int number, bool isSet, bool isTakenBack) {
        Signals termination;
        if (isSet)
            termination.setOnEnd([] { std::_Exit(7); });
        if (isTakenBack)
            termination.setOnEnd({});
        ::kill(::getpid(), number);
        ::sleep(20);
    };
    const auto sendAfterTheObject = [](int number) {
        std::make_unique<Signals>().reset();
        ::kill(::getpid(), number);
        ::sleep(20);
    };
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        EXPECT_EXIT(sendWith(number, true, false), testing::ExitedWithCode(7), "") << number;
        EXPECT_EXIT(sendWith(number, true, true), testing::KilledBySignal(number), "") << number;
        EXPECT_EXIT(sendAfterTheObject(number), testing::KilledBySignal(number), "") << number;
    }
}

} // namespace kestrel
