#include "format/Fmt.h"

#include <cstdlib>
#include <limits>

#include <gtest/gtest.h>

namespace kestrel {

namespace {

using namespace std::chrono_literals;
using std::chrono::sys_days;

// The C library and ICU read the zone once for each process: set before the first test.
[[maybe_unused]] const bool isBerlin = ::setenv("TZ", "Europe/Berlin", 1) == 0;

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

// What is written, and what it has to read like.
using Text = std::pair<std::string, std::string>;

void compare(const std::vector<Text> &texts)
{
    for (const auto &[written, expected] : texts)
        EXPECT_EQ(written, expected);
}

} // namespace

TEST(Fmt, writesNumbersWithADecimalComma)
{
    // No digit grouping; half to even, as printf does.
    compare({Text{Fmt::number(3.14159, 2), "3,14"}, Text{Fmt::number(-0.5, 1), "-0,5"},
             Text{Fmt::number(1234.5, 0), "1234"}});
}

TEST(Fmt, cutsMegabytesOffAndGoesToGigabytesAt1024OfThem)
{
    compare({Text{Fmt::bytes(0.0), "0 KB"}, Text{Fmt::bytes(1023.0), "0 KB"},
             Text{Fmt::bytes(307'200.0), "300 KB"}, Text{Fmt::bytes(524'287.0), "511 KB"},
             Text{Fmt::bytes(524'288.0), "0 MB"}, Text{Fmt::bytes(1'992'294.0), "1 MB"},
             Text{Fmt::bytes(std::int64_t{734'003'200}), "700 MB"},
             Text{Fmt::bytes(std::int64_t{1'073'741'823}), "1023 MB"},
             Text{Fmt::bytes(std::int64_t{1'073'741'824}), "1,0 GB"},
             Text{Fmt::bytes(4.2 * 1'073'741'824), "4,2 GB"}, Text{Fmt::bytes(notANumber), "0 KB"},
             Text{Fmt::bytes(infinity), "0 KB"}});
}

TEST(Fmt, tellsDurationsCoarselyAndPositionsLikeAClock)
{
    compare({Text{Fmt::duration(0), "0 s"}, Text{Fmt::duration(59.9), "59 s"},
             Text{Fmt::duration(60), "1 min"}, Text{Fmt::duration(3599.9), "59 min"},
             Text{Fmt::duration(3600), "1 h"}, Text{Fmt::duration(3659), "1 h"},
             Text{Fmt::duration(3660), "1 h 1 min"}, Text{Fmt::duration(100 * 3600.0), "100 h"},
             Text{Fmt::clock(0), "0:00"}, Text{Fmt::clock(425.9), "7:05"}, Text{Fmt::clock(3599), "59:59"},
             Text{Fmt::clock(3600), "1:00:00"}, Text{Fmt::clock(3723), "1:02:03"}});
    for (const double none : {-0.5, notANumber, infinity})
        compare({Text{Fmt::duration(none), "–"}, Text{Fmt::clock(none), "–"}});
}

TEST(Fmt, tellsSharesChangesAndRates)
{
    compare({Text{Fmt::percent(0.257), "25 %"}, Text{Fmt::percent(1), "100 %"}, Text{Fmt::change(0, 5), "–"},
             Text{Fmt::change(-1, 5), "–"}, Text{Fmt::change(100, 100), "−0 %"},
             Text{Fmt::change(100, 150), "+50 %"}, Text{Fmt::change(1000, 615), "−38 %"},
             Text{Fmt::bitrate(640'000), "640 kbit/s"}, Text{Fmt::bitrate(999'999), "999 kbit/s"},
             Text{Fmt::bitrate(1'000'000), "1,0 Mbit/s"}, Text{Fmt::bitrate(5'300'000), "5,3 Mbit/s"}});
}

TEST(Fmt, namesTheDayAsPeopleDoAndCountsDaysAndNotHours)
{
    const auto text = [](sys_days date, std::chrono::minutes utc, auto now) {
        return Fmt::dayTime(date + utc, now);
    };
    const auto saturday = sys_days(2026y / 3 / 7) + 17h; // 18:00 in Berlin
    compare({Text{text(2026y / 3 / 7, 17h + 4min, saturday), "Heute, 18:04"},
             Text{text(2026y / 3 / 7, 22h + 59min, saturday), "Heute, 23:59"},
             Text{text(2026y / 3 / 7, 23h, saturday), "Morgen, 00:00"},
             Text{text(2026y / 3 / 8, 22h + 59min, saturday), "Morgen, 23:59"},
             Text{text(2026y / 3 / 8, 23h, saturday), "Mo., 00:00"},
             Text{text(2026y / 3 / 13, 12h, saturday), "Fr., 13:00"},
             Text{text(2026y / 3 / 14, 12h, saturday), "14.3., 13:00"},
             Text{text(2026y / 12 / 24, 12h, saturday), "24.12., 13:00"}});
    // Before the day of 23 hours, at 23:30, and at the beginning of the day of 25.
    const auto spring = sys_days(2026y / 3 / 28) + 22h + 30min,
               autumn = sys_days(2026y / 10 / 24) + 22h + 30min;
    compare({Text{text(2026y / 3 / 29, 21h + 30min, spring), "Morgen, 23:30"},
             Text{text(2026y / 3 / 29, 22h + 30min, spring), "Mo., 00:30"},
             Text{text(2026y / 4 / 3, 22h + 30min, spring), "4.4., 00:30"},
             Text{text(2026y / 10 / 25, 22h + 30min, autumn), "Heute, 23:30"}});
}

} // namespace kestrel
