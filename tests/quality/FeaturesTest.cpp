#include "quality/Features.h"

#include <cmath>

#include <gtest/gtest.h>

#include "quality/Pictures.h"

#include <hwy/targets.h>

namespace kestrel {

namespace {

using test::picture;
using test::scene;

std::array<double, 4> vif(const LumaFrame &reference, const LumaFrame &distorted)
{
    Scratch scratch;
    return Features::vif(reference, distorted, scratch);
}

double adm2(const LumaFrame &reference, const LumaFrame &distorted)
{
    Scratch scratch;
    return Features::adm2(reference, distorted, scratch);
}

double motion(const LumaFrame &previous, const LumaFrame &frame)
{
    Scratch scratch;
    return Features::motion(previous, frame, scratch);
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
            for (const double scale : vif(frame, frame))
                EXPECT_NEAR(scale, 1, 1e-4);
            EXPECT_NEAR(adm2(frame, frame), 1, 1e-6);
            EXPECT_EQ(motion(frame, frame), 0);
        }
    }
}

TEST(Features, doNotMindAnotherBrightnessWithoutDetail)
{
    const LumaFrame dark = flat(40, 40, 30), bright = flat(40, 40, 200);
    EXPECT_EQ(vif(dark, bright), (std::array<double, 4>{1, 1, 1, 1}));
    EXPECT_NEAR(adm2(dark, bright), 1, 1e-6);
    EXPECT_NEAR(motion(dark, bright), 170, 1e-3);
}

TEST(Features, countWhatIsAddedToAFlatPicture)
{
    // A window's mean of stripes is the alternating sum of its weights away from 120.
    const double mean =
        20 * (7784 - 2 * 7455 + 2 * 6547 - 2 * 5274 + 2 * 3896 - 2 * 2640 + 2 * 1640 - 2 * 935 + 2 * 489) /
        65536.0;
    const double variance = 20 * 20 - mean * mean;
    const auto scores = vif(flat(64, 32, 120), stripes(64, 32, 20));
    EXPECT_NEAR(scores[0], 1 - variance * 4 / (255.0 * 255.0), 1e-4);
    EXPECT_NEAR(scores[3], 1, 1e-3); // the reduced pictures are flat both
}

TEST(Features, countHalvedContrastAsLessInformation)
{
    const auto scores = vif(stripes(64, 32, 40), stripes(64, 32, 20));
    EXPECT_NEAR(scores[0], std::log2(1 + 0.25 * 1600 / 2) / std::log2(1 + 1600 / 2.0), 1e-3);
}

TEST(Features, findNothingKeptInANegative)
{
    EXPECT_EQ(vif(stripes(64, 32, 40), stripes(64, 32, -40))[0], 0);
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
    EXPECT_NEAR(adm2(stripes(width, height, 40), stripes(width, height, 20)),
                (kept + noise) / (original + noise), 2e-4);
    // More contrast than the source is no gain.
    EXPECT_NEAR(adm2(stripes(width, height, 20), stripes(width, height, 40)),
                (original + noise) / (kept + noise), 2e-4);
}

TEST(Features, countAShiftedEdgeAsMotion)
{
    const auto edge = [](int at, int depth) {
        return picture(
            50, 30, [at](int x, int) { return x < at ? 40 : 90; }, depth);
    };
    // One column of fifty differs by 50; the blur spreads it and loses nothing.
    EXPECT_NEAR(motion(edge(20, 8), edge(21, 8)), 1, 1e-4);
    EXPECT_NEAR(motion(edge(20, 10), edge(23, 10)), 3, 1e-4);
    EXPECT_NEAR(motion(edge(21, 16), edge(20, 16)), 1, 1e-4);
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
        const LumaFrame swappedA = mapped(a, true, false), swappedB = mapped(b, true, false);
        const LumaFrame flippedA = mapped(a, false, true), flippedB = mapped(b, false, true);
        const auto scores = vif(a, b), swapped = vif(swappedA, swappedB);
        for (std::size_t i = 0; i < scores.size(); ++i)
            EXPECT_NEAR(scores[i], swapped[i], 1e-5);
        EXPECT_NEAR(scores[0], vif(flippedA, flippedB)[0], 1e-5); // the others begin in a corner
        EXPECT_NEAR(adm2(a, b), adm2(swappedA, swappedB), 1e-5);
        EXPECT_NEAR(motion(a, b), motion(swappedA, swappedB), 1e-4);
        EXPECT_NEAR(motion(a, b), motion(flippedA, flippedB), 1e-4);
    }
}

TEST(Features, doNotDependOnTheDepth)
{
    const LumaFrame reference = scene(70, 50), distorted = scene(70, 50, 8, 1);
    for (const int depth : {9, 10, 12, 16}) {
        const LumaFrame deepReference = scene(70, 50, depth), deepDistorted = scene(70, 50, depth, 1);
        EXPECT_EQ(vif(reference, distorted), vif(deepReference, deepDistorted));
        EXPECT_EQ(adm2(reference, distorted), adm2(deepReference, deepDistorted));
        EXPECT_EQ(motion(reference, distorted), motion(deepReference, deepDistorted));
    }
}

TEST(Features, seeASinglePixel)
{
    const LumaFrame reference = scene(64, 64);
    LumaFrame distorted = reference;
    distorted.samples[32 * 64 + 32] ^= 0x40;
    const auto scores = vif(reference, distorted);
    EXPECT_LT(scores[0], 0.99);
    EXPECT_LT(adm2(reference, distorted), 0.9995);
    EXPECT_NEAR(motion(reference, distorted), 64.0 / (64 * 64), 1e-5);
}

// Every instruction set of this processor, down to the one that all have.
TEST(Features, areTheSameOnEveryProcessor)
{
    const LumaFrame reference = scene(131, 67, 10), distorted = scene(131, 67, 10, 2);
    const auto vifHere = vif(reference, distorted);
    const double admHere = adm2(reference, distorted), motionHere = motion(reference, distorted);
    int tried = 0;
    for (std::int64_t targets = hwy::SupportedTargets(); targets != 0; targets &= targets - 1) {
        const std::int64_t target = targets & -targets;
        hwy::SetSupportedTargetsForTest(target);
        SCOPED_TRACE(hwy::TargetName(target));
        const auto scores = vif(reference, distorted);
        for (std::size_t i = 0; i < scores.size(); ++i)
            EXPECT_NEAR(scores[i], vifHere[i], 1e-5);
        EXPECT_NEAR(adm2(reference, distorted), admHere, 1e-5);
        EXPECT_NEAR(motion(reference, distorted), motionHere, 1e-4);
        ++tried;
        hwy::SetSupportedTargetsForTest(0);
    }
    EXPECT_GE(tried, 2);
}

} // namespace kestrel
