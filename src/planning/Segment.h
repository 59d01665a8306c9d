#pragma once

#include <vector>

namespace kestrel {

// Describes a part of a file, in seconds from its beginning.
struct Segment {
    double start = 0, length = 0;
    bool operator==(const Segment &) const = default;
};

namespace Sampler {

// Returns where a file of this duration (in seconds) is sampled: up to five stretches of at most ten seconds,
// spread evenly between 12 % and 88 %, so that titles and end credits are left out.
std::vector<Segment> segments(double duration);

} // namespace Sampler

} // namespace kestrel
