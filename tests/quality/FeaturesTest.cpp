#include "quality/Features.h"

#include <cmath>

#include <gtest/gtest.h>

#include "quality/Pictures.h"

#include <hwy/targets.h>

namespace kestrel {

namespace {

using test::picture;
using test::scene;

struct Seen {
    std::array<double, 4> vif;
    double adm2, motion;
};

Seen seen(const LumaFrame &reference, const LumaFrame &distorted)
{
    Scratch scratch;
    return {Features::vif(reference, distorted, scratch), Features::adm2(reference, distorted, scratch),
            Features::motion(reference, distorted, scratch)};
}

void expectNear(const Seen &seen, const Seen &expected, double tolerance, double motionTolerance)
{
    for (std::size_t scale = 0; scale < expected.vif.size(); ++scale)
        EXPECT_NEAR(seen.vif[scale], expected.vif[scale], tolerance) << scale;
    EXPECT_NEAR(seen.adm2, expected.adm2, tolerance);
    EXPECT_NEAR(seen.motion, expected.motion, motionTolerance);
}

LumaFrame flat(int width, int height, int value)
{
    return picture(width, height, [value](int, int) { return value; });
}

// Columns that are brighter and darker by turns: after any window the mean is nearly 120, the variance nearly
// amplitude squared, everywhere.
LumaFrame stripes(int width, int height, int amplitude)
{
    return picture(width, height,
                   [amplitude](int x, int) { return x % 2 == 0 ? 120 + amplitude : 120 - amplitude; });
}

struct Size {
    int width, height;
};

} // namespace

TEST(Features, findNothingLostInEqualPictures)
{
    for (const auto &[width, height] : {Size{16, 16}, Size{17, 16}, Size{16, 17}, Size{31, 33}, Size{35, 61},
                                        Size{64, 48}, Size{130, 19}}) {
        SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
        for (const LumaFrame &frame : {scene(width, height), scene(width, height, 10), flat(width, height, 0),
                                       flat(width, height, 255)}) {
            expectNear(seen(frame, frame), {{1, 1, 1, 1}, 1, 0}, 1e-4, 0);
            EXPECT_NEAR(seen(frame, frame).adm2, 1, 1e-6);
        }
    }
    const Seen brighter = seen(flat(40, 40, 30), flat(40, 40, 200)); // no detail is lost
    expectNear(brighter, {{1, 1, 1, 1}, 1, 170}, 1e-6, 1e-3);
    EXPECT_EQ(brighter.vif, (std::array<double, 4>{1, 1, 1, 1}));
}

// Over the first scale; the reduced pictures of stripes are flat.
TEST(Features, countWhatIsAddedOrLostAsInformation)
{
    // A window's mean of stripes is the alternating sum of its weights away from 120.
    const double mean =
        20 * (7784 - 2 * 7455 + 2 * 6547 - 2 * 5274 + 2 * 3896 - 2 * 2640 + 2 * 1640 - 2 * 935 + 2 * 489) /
        65536.0;
    const double added = 1 - (20 * 20 - mean * mean) * 4 / (255.0 * 255.0);
    const double halved = std::log2(1 + 0.25 * 1600 / 2) / std::log2(1 + 1600 / 2.0);
    const auto vif = [](int before, int after) {
        return seen(stripes(64, 32, before), stripes(64, 32, after)).vif;
    };
    EXPECT_NEAR(vif(0, 20)[0], added, 1e-4);
    EXPECT_NEAR(vif(0, 20)[3], 1, 1e-3);
    EXPECT_NEAR(vif(40, 20)[0], halved, 1e-3);
    EXPECT_EQ(vif(40, -40)[0], 0) << "a negative keeps nothing";
}

TEST(Features, countHalvedContrastAsLessDetail)
{
    // Stripes live in one band of the first scale, with twice the amplitude; a detail of half the contrast is
    // enhanced up to what is there, and nothing is lost that would mask it.
    constexpr double visible = 1 / 57.53;   // of a coefficient of that band
    constexpr int width = 256, height = 32; // so wide that no scale counts its last column, where stripes end
    const auto inside = [](int size) { return size - 2 * static_cast<int>(size * 0.1 - 0.5); };
    double noise = 0;
    for (int w = width / 2, h = height / 2, scale = 0; scale < 4; ++scale, w /= 2, h /= 2)
        noise += 3 * std::cbrt(inside(w) * inside(h) / 32.0);
    const double places = inside(width / 2) * inside(height / 2);
    const double original = std::cbrt(places) * 80 * visible, kept = original / 2;
    EXPECT_NEAR(seen(stripes(width, height, 40), stripes(width, height, 20)).adm2,
                (kept + noise) / (original + noise), 2e-4);
    // More contrast than the source is no gain.
    EXPECT_NEAR(seen(stripes(width, height, 20), stripes(width, height, 40)).adm2,
                (original + noise) / (kept + noise), 2e-4);
}

TEST(Features, countAShiftedEdgeAsMotion)
{
    const auto motion = [](int before, int after, int depth) {
        const auto edge = [&](int at) {
            return picture(
                50, 30, [at](int x, int) { return x < at ? 40 : 90; }, depth);
        };
        return seen(edge(before), edge(after)).motion;
    };
    // One column of fifty differs by 50; the blur spreads it and loses nothing.
    EXPECT_NEAR(motion(20, 21, 8), 1, 1e-4);
    EXPECT_NEAR(motion(20, 23, 10), 3, 1e-4);
    EXPECT_NEAR(motion(21, 20, 16), 1, 1e-4);
}

// What stands beyond an edge is made up from what stands before it, on each side in its own way.
TEST(Features, treatAllEdgesAlike)
{
    const auto mapped = [](const LumaFrame &frame, bool swaps, bool flips) {
        const int width = swaps ? frame.height : frame.width, height = swaps ? frame.width : frame.height;
        return picture(width, height, [&](int x, int y) {
            int column = swaps ? y : x, row = swaps ? x : y;
            if (flips) {
                column = frame.width - 1 - column;
                row = frame.height - 1 - row;
            }
            return frame.samples[static_cast<std::size_t>(row * frame.width + column)];
        });
    };
    for (const auto &[width, height] : {Size{17, 30}, Size{33, 23}, Size{22, 19}}) {
        SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
        const LumaFrame a = scene(width, height), b = scene(width, height, 8, 1);
        const Seen as = seen(a, b), swapped = seen(mapped(a, true, false), mapped(b, true, false)),
                   flipped = seen(mapped(a, false, true), mapped(b, false, true));
        expectNear(swapped, as, 1e-5, 1e-4);
        EXPECT_NEAR(flipped.vif[0], as.vif[0], 1e-5); // the others begin in a corner
        EXPECT_NEAR(flipped.motion, as.motion, 1e-4);
    }
}

TEST(Features, doNotDependOnTheDepth)
{
    const auto deep = [](int depth) { return seen(scene(70, 50, depth), scene(70, 50, depth, 1)); };
    for (const int depth : {9, 10, 12, 16})
        expectNear(deep(depth), deep(8), 0, 0);
}

// Every instruction set of this processor, down to the one that all have.
TEST(Features, areTheSameOnEveryProcessor)
{
    const LumaFrame reference = scene(131, 67, 10), distorted = scene(131, 67, 10, 2);
    const Seen here = seen(reference, distorted);
    int tried = 0;
    for (std::int64_t targets = hwy::SupportedTargets(); targets != 0; targets &= targets - 1, ++tried) {
        const std::int64_t target = targets & -targets;
        hwy::SetSupportedTargetsForTest(target);
        SCOPED_TRACE(hwy::TargetName(target));
        expectNear(seen(reference, distorted), here, 1e-5, 1e-4);
        hwy::SetSupportedTargetsForTest(0);
    }
    EXPECT_GE(tried, 2);
}

} // namespace kestrel
