#include "format/Fmt.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>

#include <fmt/format.h>
#include <unicode/dtfmtsym.h>

namespace kestrel::Fmt {

namespace {

using std::chrono::system_clock;

constexpr double kibi = 1024, mebi = 1024 * 1024;
constexpr const char *noValue = "–";
constexpr double most = 9.2e18; // fits into 64 bits

std::int64_t truncated(double value)
{
    return std::isfinite(value) ? static_cast<std::int64_t>(std::clamp(value, -most, most)) : 0;
}

bool isDuration(double seconds)
{
    return std::isfinite(seconds) && seconds >= 0;
}

std::tm localTime(system_clock::time_point time)
{
    const std::time_t seconds = system_clock::to_time_t(time);
    std::tm local{};
    ::localtime_r(&seconds, &local);
    return local;
}

// Returns "Mo", "Di" …, beginning with Sunday as std::tm does.
const std::array<std::string, 7> &weekdays()
{
    static const auto names = [] {
        UErrorCode status = U_ZERO_ERROR;
        const icu::DateFormatSymbols symbols(icu::Locale::getGermany(), status);
        int32_t count = 0;
        const icu::UnicodeString *found = symbols.getWeekdays(
            count, icu::DateFormatSymbols::FORMAT, icu::DateFormatSymbols::ABBREVIATED); // they count from 1
        std::array<std::string, 7> list;
        for (std::size_t day = 0; day < list.size() && static_cast<int32_t>(day) + 1 < count; ++day)
            found[day + 1].toUTF8String(list[day]);
        return list;
    }();
    return names;
}

// Returns the local date as a count of days; two dates differ by whole days whatever daylight saving does.
long dayNumber(const std::tm &local)
{
    const std::chrono::year_month_day date{std::chrono::year(local.tm_year + 1900),
                                           std::chrono::month(static_cast<unsigned>(local.tm_mon + 1)),
                                           std::chrono::day(static_cast<unsigned>(local.tm_mday))};
    return std::chrono::sys_days(date).time_since_epoch().count();
}

} // namespace

std::string number(double value, int digits)
{
    std::string text = fmt::format("{:.{}f}", value, digits);
    std::replace(text.begin(), text.end(), '.', ',');
    return text;
}

std::string bytes(double value)
{
    const double size = std::isfinite(value) ? value : 0;
    const double megabytes = size / mebi;
    if (truncated(megabytes) >= 1024)
        return number(megabytes / 1024, 1) + " GB";
    if (megabytes >= 0.5)
        return fmt::format("{} MB", truncated(megabytes));
    return fmt::format("{} KB", truncated(size / kibi));
}

std::string bytes(std::int64_t value)
{
    return bytes(static_cast<double>(value));
}

std::string duration(double seconds)
{
    if (!isDuration(seconds))
        return noValue;
    const std::int64_t whole = truncated(seconds);
    if (whole < 60)
        return fmt::format("{} s", whole);
    if (whole < 3600)
        return fmt::format("{} min", whole / 60);
    const std::int64_t rest = whole % 3600;
    return rest < 60 ? fmt::format("{} h", whole / 3600)
                     : fmt::format("{} h {} min", whole / 3600, rest / 60);
}

std::string clock(double seconds)
{
    if (!isDuration(seconds))
        return noValue;
    const std::int64_t whole = truncated(seconds);
    if (whole < 3600)
        return fmt::format("{}:{:02}", whole / 60, whole % 60);
    return fmt::format("{}:{:02}:{:02}", whole / 3600, whole / 60 % 60, whole % 60);
}

std::string dayTime(system_clock::time_point time)
{
    return dayTime(time, system_clock::now());
}

std::string dayTime(system_clock::time_point time, system_clock::time_point now)
{
    const std::tm then = localTime(time);
    const std::string clockTime = fmt::format("{:02}:{:02}", then.tm_hour, then.tm_min);
    const long days = dayNumber(then) - dayNumber(localTime(now));
    if (days == 0)
        return "Heute, " + clockTime;
    if (days == 1)
        return "Morgen, " + clockTime;
    return (days > 6 ? fmt::format("{}.{}.", then.tm_mday, then.tm_mon + 1)
                     : weekdays().at(static_cast<std::size_t>(then.tm_wday))) +
           ", " + clockTime;
}

std::string dayTimeInSentence(system_clock::time_point time)
{
    std::string text = dayTime(time);
    if (text.starts_with("Heute") || text.starts_with("Morgen"))
        text[0] = static_cast<char>(text[0] - 'A' + 'a');
    return text;
}

std::string count(std::size_t number, const char *one, const char *many)
{
    return fmt::format("{} {}", number, number == 1 ? one : many);
}

std::string share(std::size_t done, std::size_t total)
{
    return fmt::format("{} von {}", done, total);
}

std::string shareOfFiles(std::size_t done, std::size_t total)
{
    return fmt::format("{} von {}", done, count(total));
}

std::string percent(double fraction)
{
    return fmt::format("{} %", truncated(fraction * 100));
}

std::string change(double from, double to)
{
    if (!(from > 0))
        return noValue;
    const double ratio = to / from - 1;
    return fmt::format("{}{} %", ratio > 0 ? "+" : "−", truncated(std::abs(ratio) * 100));
}

std::string bitrate(double bitsPerSecond)
{
    if (bitsPerSecond >= 1e6)
        return number(bitsPerSecond / 1e6, 1) + " Mbit/s";
    return fmt::format("{} kbit/s", truncated(bitsPerSecond / 1000));
}

} // namespace kestrel::Fmt
