#include "format/Fmt.h"

#include <cmath>
#include <cstdlib>
#include <limits>

#include <gtest/gtest.h>

namespace kestrel {

namespace {

using namespace std::chrono_literals;
using std::chrono::sys_days;
using std::chrono::system_clock;
using std::chrono::year_month_day;

// The C library and ICU read the zone once for each process: set before the first test.
[[maybe_unused]] const bool isBerlin = ::setenv("TZ", "Europe/Berlin", 1) == 0;

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

system_clock::time_point utc(year_month_day date, std::chrono::minutes time)
{
    return sys_days(date) + time;
}

} // namespace

TEST(Fmt, writesNumbersWithADecimalComma)
{
    EXPECT_EQ(Fmt::number(3.14159, 2), "3,14");
    EXPECT_EQ(Fmt::number(-0.5, 1), "-0,5");
    EXPECT_EQ(Fmt::number(1234.5, 0), "1234"); // no digit grouping; half to even, as printf does
}

TEST(Fmt, cutsMegabytesOffAndGoesToGigabytesAt1024OfThem)
{
    EXPECT_EQ(Fmt::bytes(0.0), "0 KB");
    EXPECT_EQ(Fmt::bytes(1023.0), "0 KB");
    EXPECT_EQ(Fmt::bytes(307'200.0), "300 KB");
    EXPECT_EQ(Fmt::bytes(524'287.0), "511 KB");
    EXPECT_EQ(Fmt::bytes(524'288.0), "0 MB"); // half a megabyte
    EXPECT_EQ(Fmt::bytes(1'992'294.0), "1 MB");
    EXPECT_EQ(Fmt::bytes(std::int64_t{734'003'200}), "700 MB");
    EXPECT_EQ(Fmt::bytes(std::int64_t{1'073'741'823}), "1023 MB");
    EXPECT_EQ(Fmt::bytes(std::int64_t{1'073'741'824}), "1,0 GB");
    EXPECT_EQ(Fmt::bytes(4.2 * 1'073'741'824), "4,2 GB");
    EXPECT_EQ(Fmt::bytes(notANumber), "0 KB");
    EXPECT_EQ(Fmt::bytes(infinity), "0 KB");
}

TEST(Fmt, tellsDurationsCoarsely)
{
    EXPECT_EQ(Fmt::duration(0), "0 s");
    EXPECT_EQ(Fmt::duration(59.9), "59 s");
    EXPECT_EQ(Fmt::duration(60), "1 min");
    EXPECT_EQ(Fmt::duration(3599.9), "59 min");
    EXPECT_EQ(Fmt::duration(3600), "1 h");
    EXPECT_EQ(Fmt::duration(3659), "1 h");
    EXPECT_EQ(Fmt::duration(3660), "1 h 1 min");
    EXPECT_EQ(Fmt::duration(100 * 3600.0), "100 h");
    for (const double none : {-1.0, notANumber, infinity})
        EXPECT_EQ(Fmt::duration(none), "–");
}

TEST(Fmt, tellsPositionsLikeAClock)
{
    EXPECT_EQ(Fmt::clock(0), "0:00");
    EXPECT_EQ(Fmt::clock(425.9), "7:05");
    EXPECT_EQ(Fmt::clock(3599), "59:59");
    EXPECT_EQ(Fmt::clock(3600), "1:00:00");
    EXPECT_EQ(Fmt::clock(3723), "1:02:03");
    for (const double none : {-0.5, notANumber, infinity})
        EXPECT_EQ(Fmt::clock(none), "–");
}

TEST(Fmt, tellsSharesChangesAndRates)
{
    EXPECT_EQ(Fmt::percent(0.257), "25 %");
    EXPECT_EQ(Fmt::percent(1), "100 %");

    EXPECT_EQ(Fmt::change(0, 5), "–");
    EXPECT_EQ(Fmt::change(-1, 5), "–");
    EXPECT_EQ(Fmt::change(100, 100), "−0 %");
    EXPECT_EQ(Fmt::change(100, 150), "+50 %");
    EXPECT_EQ(Fmt::change(1000, 615), "−38 %");

    EXPECT_EQ(Fmt::bitrate(640'000), "640 kbit/s");
    EXPECT_EQ(Fmt::bitrate(999'999), "999 kbit/s");
    EXPECT_EQ(Fmt::bitrate(1'000'000), "1,0 Mbit/s");
    EXPECT_EQ(Fmt::bitrate(5'300'000), "5,3 Mbit/s");
}

TEST(Fmt, namesTheDayAsPeopleDo)
{
    const auto now = utc(2026y / 3 / 7, 17h); // a Saturday, 18:00 in Berlin
    EXPECT_EQ(Fmt::dayTime(utc(2026y / 3 / 7, 17h + 4min), now), "Heute, 18:04");
    EXPECT_EQ(Fmt::dayTime(utc(2026y / 3 / 7, 22h + 59min), now), "Heute, 23:59");
    EXPECT_EQ(Fmt::dayTime(utc(2026y / 3 / 7, 23h), now), "Morgen, 00:00");
    EXPECT_EQ(Fmt::dayTime(utc(2026y / 3 / 8, 22h + 59min), now), "Morgen, 23:59");
    EXPECT_EQ(Fmt::dayTime(utc(2026y / 3 / 8, 23h), now), "Mo., 00:00");
    EXPECT_EQ(Fmt::dayTime(utc(2026y / 3 / 13, 12h), now), "Fr., 13:00");
    EXPECT_EQ(Fmt::dayTime(utc(2026y / 3 / 14, 12h), now), "14.3., 13:00");
    EXPECT_EQ(Fmt::dayTime(utc(2026y / 12 / 24, 12h), now), "24.12., 13:00");
}

TEST(Fmt, countsDaysAndNotHoursWhenTheClockChanges)
{
    const auto before = utc(2026y / 3 / 28, 22h + 30min); // 23:30, in the night of 23 hours' day
    EXPECT_EQ(Fmt::dayTime(utc(2026y / 3 / 29, 21h + 30min), before), "Morgen, 23:30");
    EXPECT_EQ(Fmt::dayTime(utc(2026y / 3 / 29, 22h + 30min), before), "Mo., 00:30");
    EXPECT_EQ(Fmt::dayTime(utc(2026y / 4 / 3, 22h + 30min), before), "4.4., 00:30");
    // The day of 25 hours.
    EXPECT_EQ(Fmt::dayTime(utc(2026y / 10 / 25, 22h + 30min), utc(2026y / 10 / 24, 22h + 30min)),
              "Heute, 23:30");
}

} // namespace kestrel
