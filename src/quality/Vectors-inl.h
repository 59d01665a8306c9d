// The features share these functions. This file is included once for each instruction set, inside Highway's
// own guard.

#if defined(KESTREL_QUALITY_VECTORS_INL_H) == defined(HWY_TARGET_TOGGLE)
#ifdef KESTREL_QUALITY_VECTORS_INL_H
#undef KESTREL_QUALITY_VECTORS_INL_H
#else
#define KESTREL_QUALITY_VECTORS_INL_H
#endif

#include <array>
#include <cstddef>
#include <cstdint>

#include "quality/FloatRows.h"
#include "quality/LumaFrame.h"

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace kestrel::HWY_NAMESPACE {

namespace hn = hwy::HWY_NAMESPACE;

using Floats = hn::CappedTag<float, FloatRows::lanes>;
using Vector = hn::Vec<Floats>;

// Converts samples of any depth to values of 8 bits, plus `offset`. Writes whole vectors.
inline void toFloats(const std::uint16_t *samples, std::size_t width, int depth, float offset, float *values)
{
    const Floats d;
    const hn::Rebind<std::uint16_t, Floats> d16;
    const hn::Rebind<std::int32_t, Floats> d32;
    const std::size_t lanes = hn::Lanes(d);
    const auto scale = hn::Set(d, 1.0F / static_cast<float>(1 << (depth - 8)));
    const auto shift = hn::Set(d, offset);
    std::size_t x = 0;
    for (; x + lanes <= width; x += lanes)
        hn::StoreU(
            hn::MulAdd(hn::ConvertTo(d, hn::PromoteTo(d32, hn::LoadU(d16, samples + x))), scale, shift), d,
            values + x);
    for (; x < width; ++x)
        values[x] = static_cast<float>(samples[x]) / static_cast<float>(1 << (depth - 8)) + offset;
}

// Returns the sum of the lanes, in double precision from here on.
inline double sumOf(Vector values)
{
    const Floats d;
    return hn::GetLane(hn::SumOfLanes(d, values));
}

// Applies a symmetric filter of Taps coefficients, of which `half` has the middle one and those after it.
// `at(k)` loads the value at distance k from the middle.
template <int Taps, class At>
HWY_INLINE Vector filtered(const float *half, At at)
{
    const Floats d;
    Vector sum = hn::Mul(hn::Set(d, half[0]), at(0));
#pragma GCC unroll 8
    for (int k = 1; k <= Taps / 2; ++k)
        sum = hn::MulAdd(hn::Set(d, half[k]), hn::Add(at(-k), at(k)), sum);
    return sum;
}

// Extends a row beyond both ends as a mirror does whose axis is the last value itself.
inline void mirrorEnds(float *row, std::size_t width, std::size_t reach)
{
    for (std::size_t k = 1; k <= reach; ++k) {
        row[-static_cast<std::ptrdiff_t>(k)] = row[k];
        row[width - 1 + k] = row[width - 1 - k];
    }
}

// Returns the row that the same mirror shows for an index beyond the picture.
inline std::size_t mirrored(std::ptrdiff_t i, std::size_t count)
{
    const auto size = static_cast<std::ptrdiff_t>(count);
    return static_cast<std::size_t>(i < 0 ? -i : i >= size ? 2 * size - 2 - i : i);
}

} // namespace kestrel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#endif
