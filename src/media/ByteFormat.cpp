#include "media/ByteFormat.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <string_view>

#include <fmt/format.h>

namespace kestrel::ByteFormat {

namespace {

struct Unit {
    double size;
    std::string_view name;
    int digits;
};

constexpr std::array<Unit, 5> units{{
    {1e3, "KB", 0},
    {1e6, "MB", 1},
    {1e9, "GB", 2},
    {1e12, "TB", 2},
    {1e15, "PB", 2},
}};

double rounded(double value, const Unit &unit)
{
    const double scale = std::pow(10.0, unit.digits);
    return std::round(value / unit.size * scale) / scale;
}

} // namespace

std::string string(std::int64_t bytes)
{
    const double size = std::abs(static_cast<double>(bytes));
    if (size < 1000)
        return fmt::format("{} Byte", bytes);

    const auto *unit = units.begin();
    while (unit + 1 != units.end() && rounded(size, *unit) >= 1000)
        ++unit;
    std::string number = fmt::format("{:.{}f}", rounded(size, *unit), unit->digits);
    if (number.find('.') != std::string::npos) {
        number.erase(number.find_last_not_of('0') + 1);
        if (number.ends_with('.'))
            number.pop_back();
    }
    std::replace(number.begin(), number.end(), '.', ',');
    return fmt::format("{}{} {}", bytes < 0 ? "-" : "", number, unit->name);
}

std::string string(double bytes)
{
    constexpr double limit = 9.2233720368547748e18; // the largest double below 2^63
    if (!std::isfinite(bytes))
        return string(std::int64_t{0});
    return string(static_cast<std::int64_t>(std::clamp(bytes, -limit, limit)));
}

} // namespace kestrel::ByteFormat
