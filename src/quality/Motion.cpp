#include <array>
#include <cstddef>

#include "quality/Features.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "quality/Motion.cpp"
#include <hwy/foreach_target.h>
// Highway requires that its own header, and those that build on it, are included after this one.
#include "quality/Vectors-inl.h"

HWY_BEFORE_NAMESPACE();
namespace kestrel::HWY_NAMESPACE {

namespace {

// This is the middle and the right half of the blur: Gaussian, as in libvmaf's table.
constexpr std::array<float, 3> blur{26386 / 65536.0F, 16004 / 65536.0F, 3571 / 65536.0F};

} // namespace

// A blur of the difference is the difference of the blurred frames.
double motion(const LumaFrame &previous, const LumaFrame &frame, Scratch &scratch)
{
    scratch.restart();
    const Floats d;
    const std::size_t lanes = hn::Lanes(d);
    const auto width = static_cast<std::size_t>(frame.width), height = static_cast<std::size_t>(frame.height);
    constexpr std::size_t ring = 8;
    const FloatRows differences(scratch, width, ring), rows(scratch, width, 2);
    std::size_t filled = 0;
    double sum = 0;
    for (std::size_t y = 0; y < height; ++y) {
        for (; filled <= std::min(y + 2, height - 1); ++filled) {
            toFloats(previous.samples.data() + filled * width, width, previous.depth, 0, rows.row(0));
            toFloats(frame.samples.data() + filled * width, width, frame.depth, 0, rows.row(1));
            for (std::size_t x = 0; x < width; x += lanes)
                hn::StoreU(hn::Sub(hn::LoadU(d, rows.row(0) + x), hn::LoadU(d, rows.row(1) + x)), d,
                           differences.row(filled % ring) + x);
        }
        std::array<const float *, 5> near{};
        for (std::size_t k = 0; k < near.size(); ++k)
            near[k] = differences.row(mirrored(static_cast<std::ptrdiff_t>(y + k) - 2, height) % ring);
        float *column = rows.row(0);
        for (std::size_t x = 0; x < width; x += lanes)
            hn::StoreU(filtered<5>(blur.data(),
                                   [&](int k) {
                                       const int tap = 2 + k;
                                       return hn::LoadU(d, near[static_cast<std::size_t>(tap)] + x);
                                   }),
                       d, column + x);
        mirrorEnds(column, width, 2);
        Vector rowSum = hn::Zero(d);
        for (std::size_t x = 0; x < width; x += lanes) {
            const auto value =
                hn::Abs(filtered<5>(blur.data(), [&](int k) { return hn::LoadU(d, column + x + k); }));
            rowSum = hn::Add(rowSum, hn::IfThenElseZero(hn::FirstN(d, width - x), value));
        }
        sum += sumOf(rowSum);
    }
    return sum / static_cast<double>(width * height);
}

} // namespace kestrel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel {

HWY_EXPORT(motion);

double Features::motion(const LumaFrame &previous, const LumaFrame &frame, Scratch &scratch)
{
    return HWY_DYNAMIC_DISPATCH(motion)(previous, frame, scratch);
}

} // namespace kestrel
#endif
