#pragma once

#include <cstdint>
#include <vector>

namespace kestrel {

// Holds the luma plane of one picture: rows of `width` samples from the top, without padding.
struct LumaFrame {
    int width = 0, height = 0;
    int depth = 8; // bits of a sample, 8 … 16
    std::vector<std::uint16_t> samples;
};

} // namespace kestrel
