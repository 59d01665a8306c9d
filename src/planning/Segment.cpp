#include "planning/Segment.h"

#include <algorithm>
#include <array>

namespace kestrel {

namespace {

struct Count {
    double duration; // seconds, at least
    int segments;
};

constexpr std::array<Count, 4> counts{{{900, 5}, {240, 4}, {60, 2}, {0, 1}}};
constexpr double longestSegment = 10; // seconds
constexpr double firstShare = 0.12, sampledShare = 0.76;

} // namespace

std::vector<Segment> Sampler::segments(double duration)
{
    std::vector<Segment> result;
    if (!(duration > 0))
        return result;
    const int count = std::find_if(counts.begin(), counts.end(), [&](const Count &c) {
                          return duration >= c.duration;
                      })->segments;
    const double length = std::min(duration / (count + 1), longestSegment);
    for (int i = 0; i < count; ++i) {
        const double middle = duration * (firstShare + sampledShare * (i + 0.5) / count);
        result.push_back({std::max(0.0, middle - length / 2), length});
    }
    return result;
}

} // namespace kestrel
