#include "platform/Timestamp.h"

#include <fmt/format.h>

namespace kestrel {

// This avoids fmt's own format for times: its version 9 turns a system time into local time, later ones do
// not.
std::string timestamp(std::chrono::system_clock::time_point time)
{
    using namespace std::chrono;
    const auto seconds = floor<std::chrono::seconds>(time);
    const auto day = floor<days>(seconds);
    const year_month_day date(day);
    const hh_mm_ss clock(seconds - day);
    return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}Z", static_cast<int>(date.year()),
                       static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                       clock.hours().count(), clock.minutes().count(), clock.seconds().count());
}

} // namespace kestrel
