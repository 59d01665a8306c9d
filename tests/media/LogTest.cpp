#include "media/Log.h"

#include <array>
#include <ctime>
#include <map>
#include <sstream>
#include <thread>
#include <vector>

#include <gmock/gmock.h>

#include "support/LocalTime.h"
#include "support/Sandbox.h"

namespace kestrel {

namespace {

using testing::MatchesRegex;

const std::string stamp = "\\[[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z\\] ";

std::string utcNow()
{
    const std::time_t now = std::time(nullptr);
    std::array<char, sizeof "2026-01-02T20:15:00Z"> text{};
    std::strftime(text.data(), text.size(), "%FT%TZ", std::gmtime(&now));
    return text.data();
}

// The place is chosen once for each process; every test begins without a file there.
class LogFile : public testing::Test {
protected:
    LogFile() { test::fs::remove_all(Log::file()); }
    static std::string afterWriting(const std::string &text)
    {
        Log::write(text);
        Log::flush();
        return test::fs::is_directory(Log::file()) ? "" : test::readFile(Log::file());
    }
};

} // namespace

TEST_F(LogFile, growsByOneStampedLineForEachCall)
{
    EXPECT_EQ(Log::file(), test::home() / "Library/Logs/Kestrel/Kestrel.log");
    EXPECT_THAT(afterWriting("Rest entfernt: /filme/ä"), MatchesRegex(stamp + "Rest entfernt: /filme/ä\n"));
    EXPECT_THAT(afterWriting("zwei\nund drei"),
                MatchesRegex(stamp + "Rest.*\n" + stamp + "zwei\nund drei\n"));
}

TEST_F(LogFile, isStampedWithUtcInEveryTimeZone)
{
    const test::LocalTime japan("JST-9");
    const std::string before = utcNow();
    const std::string written = afterWriting("x").substr(1, before.size());
    EXPECT_LE(before, written);
    EXPECT_LE(written, utcNow());
}

TEST_F(LogFile, keepsLinesWholeAndInOrderWithinEachThread)
{
    constexpr int threads = 4, lines = 50;
    {
        std::vector<std::jthread> writers;
        for (int writer = 0; writer < threads; ++writer)
            writers.emplace_back([=] {
                for (int line = 0; line < lines; ++line)
                    Log::write(std::to_string(writer) + " " + std::to_string(line));
            });
    }
    Log::flush();

    std::istringstream text(test::readFile(Log::file()));
    std::map<std::string, int> next;
    int count = 0, number = 0;
    for (std::string time, writer; text >> time >> writer >> number; ++count) {
        ASSERT_THAT(time + " ", MatchesRegex(stamp));
        EXPECT_EQ(number, next[writer]++);
    }
    EXPECT_EQ(count, threads * lines);
}

TEST_F(LogFile, losesLinesSilentlyWhileItCannotBeWritten)
{
    test::fs::create_directory(Log::file());
    EXPECT_EQ(afterWriting("verloren"), "");
    test::fs::remove(Log::file());
    EXPECT_THAT(afterWriting("wieder da"), MatchesRegex(stamp + "wieder da\n"));
}

} // namespace kestrel
