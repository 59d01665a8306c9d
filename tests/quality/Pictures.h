#pragma once

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "quality/LumaFrame.h"

namespace kestrel::test {

// A picture from a formula, whose values are samples of 8 bits; deeper pictures have the same values, scaled.
inline LumaFrame picture(int width, int height, const std::function<int(int, int)> &value, int depth = 8)
{
    LumaFrame frame{width, height, depth, {}};
    frame.samples.reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            frame.samples.push_back(static_cast<std::uint16_t>(value(x, y) << (depth - 8)));
    return frame;
}

// Something with edges, slopes and noise, the same in every run.
inline LumaFrame scene(int width, int height, int depth = 8, int shift = 0)
{
    return picture(
        width, height,
        [shift](int column, int y) {
            const int x = column + shift;
            const unsigned noise = static_cast<unsigned>(x * 7919 + y * 104729) * 2654435761U >> 28;
            return 40 + (x / 5 + y / 7) % 2 * 90 + x % 23 + static_cast<int>(noise);
        },
        depth);
}

} // namespace kestrel::test
