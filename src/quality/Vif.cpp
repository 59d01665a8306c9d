#include <array>
#include <cstddef>

#include "quality/Features.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "quality/Vif.cpp"
#include <hwy/foreach_target.h>
// Highway requires that its own header, and those that build on it, are included after this one.
#include "quality/Vectors-inl.h"

#include <hwy/contrib/math/math-inl.h>

HWY_BEFORE_NAMESPACE();
namespace kestrel::HWY_NAMESPACE {

namespace {

constexpr float middleGrey = -128; // keeps the most single precision for the differences
constexpr float noise = 2;         // variance of the viewer's own noise
constexpr float mostGain = 100;
constexpr float leastVariance = 1e-10F;

// These are the middle and the right half of the windows: Gaussian, as in libvmaf's tables, in 65536ths.
constexpr std::array<std::array<int, 9>, 4> windows{{
    {7784, 7455, 6547, 5274, 3896, 2640, 1640, 935, 489},
    {14692, 12590, 7925, 3663, 1244},
    {26386, 16004, 3571},
    {43728, 10904},
}};

struct Window {
    std::array<float, 9> half;

    explicit Window(int scale) : half()
    {
        for (std::size_t i = 0; i < half.size(); ++i)
            half[i] = static_cast<float>(windows[static_cast<std::size_t>(scale)][i]) / 65536.0F;
    }
};

// Provides two pictures row by row from the top. At the first scale they are samples, of which only the rows
// within reach are kept as floats; at the others the reduced pictures are kept whole.
class Rows {
public:
    Rows(const LumaFrame &reference, const LumaFrame &distorted, Scratch &scratch)
        : width(static_cast<std::size_t>(reference.width)),
          height(static_cast<std::size_t>(reference.height)), m_reference(scratch, width, ring),
          m_distorted(scratch, width, ring), m_samples{&reference, &distorted}, m_isRing(true)
    {
    }
    Rows(std::size_t columns, std::size_t lines, Scratch &scratch)
        : width(columns), height(lines), m_reference(scratch, columns, lines),
          m_distorted(scratch, columns, lines)
    {
    }

    // Makes everything up to this row readable, and rows that lie `ring` or more before it unreadable.
    void prepare(std::size_t last)
    {
        if (!m_isRing)
            return;
        for (; m_filled <= std::min(last, height - 1); ++m_filled) {
            const auto fill = [&](const LumaFrame &frame, float *row) {
                toFloats(frame.samples.data() + m_filled * width, width, frame.depth, middleGrey, row);
            };
            fill(*m_samples[0], reference(m_filled));
            fill(*m_samples[1], distorted(m_filled));
        }
    }

    float *reference(std::size_t i) { return m_reference.row(m_isRing ? i % ring : i); }
    float *distorted(std::size_t i) { return m_distorted.row(m_isRing ? i % ring : i); }

    const std::size_t width, height;

private:
    static constexpr std::size_t ring = 32;

    FloatRows m_reference, m_distorted;
    std::array<const LumaFrame *, 2> m_samples{};
    std::size_t m_filled = 0;
    bool m_isRing = false;
};

// Holds the rows around one; those beyond the picture are mirrored.
template <int Taps>
struct Neighbours {
    std::array<const float *, Taps> reference, distorted;

    Neighbours(Rows &rows, std::size_t middle) : reference(), distorted()
    {
        for (int k = 0; k < Taps; ++k) {
            const std::size_t i = mirrored(static_cast<std::ptrdiff_t>(middle) + k - Taps / 2, rows.height);
            reference[static_cast<std::size_t>(k)] = rows.reference(i);
            distorted[static_cast<std::size_t>(k)] = rows.distorted(i);
        }
    }
};

// Filters both pictures and reduces them to half the size.
template <int Taps>
HWY_NOINLINE Rows reduce(Rows &rows, const Window &window, Scratch &scratch)
{
    const Floats d;
    const std::size_t lanes = hn::Lanes(d);
    constexpr std::size_t reach = Taps / 2;
    Rows result(rows.width / 2, rows.height / 2, scratch);
    const FloatRows columns(scratch, rows.width, 2);
    for (std::size_t y = 0; y < result.height; ++y) {
        rows.prepare(2 * y + reach);
        const Neighbours<Taps> near(rows, 2 * y);
        for (std::size_t x = 0; x < rows.width; x += lanes) {
            const auto column = [&](const std::array<const float *, Taps> &source) {
                return filtered<Taps>(window.half.data(), [&](int k) {
                    const int tap = Taps / 2 + k;
                    return hn::LoadU(d, source[static_cast<std::size_t>(tap)] + x);
                });
            };
            hn::StoreU(column(near.reference), d, columns.row(0) + x);
            hn::StoreU(column(near.distorted), d, columns.row(1) + x);
        }
        mirrorEnds(columns.row(0), rows.width, reach);
        mirrorEnds(columns.row(1), rows.width, reach);
        for (std::size_t x = 0; x < result.width; x += lanes) {
            const auto across = [&](const float *row) {
                // Only every second position is computed: the even values of two neighbouring vectors.
                return filtered<Taps>(window.half.data(), [&](int k) {
                    Vector even, odd;
                    hn::LoadInterleaved2(d, row + 2 * x + k, even, odd);
                    return even;
                });
            };
            hn::StoreU(across(columns.row(0)), d, result.reference(y) + x);
            hn::StoreU(across(columns.row(1)), d, result.distorted(y) + x);
        }
    }
    return result;
}

// Holds the moments of both pictures in a window, which are still to be filtered horizontally.
struct Moments {
    FloatRows rows;

    Moments(Scratch &scratch, std::size_t width) : rows(scratch, width, 5) {}
    float *mean1() { return rows.row(0); }
    float *mean2() { return rows.row(1); }
    float *square1() { return rows.row(2); }
    float *square2() { return rows.row(3); }
    float *product() { return rows.row(4); }
};

template <int Taps>
HWY_NOINLINE void filterDown(const Neighbours<Taps> &near, const Window &window, std::size_t width,
                             Moments &moments)
{
    const Floats d;
    const std::size_t lanes = hn::Lanes(d);
    for (std::size_t x = 0; x < width; x += lanes) {
        Vector mean1 = hn::Zero(d), mean2 = mean1, square1 = mean1, square2 = mean1, product = mean1;
#pragma GCC unroll 17
        for (int k = 0; k < Taps; ++k) {
            const auto weight =
                hn::Set(d, window.half[static_cast<std::size_t>(k < Taps / 2 ? Taps / 2 - k : k - Taps / 2)]);
            const auto a = hn::LoadU(d, near.reference[static_cast<std::size_t>(k)] + x);
            const auto b = hn::LoadU(d, near.distorted[static_cast<std::size_t>(k)] + x);
            const auto weightedA = hn::Mul(weight, a), weightedB = hn::Mul(weight, b);
            mean1 = hn::Add(mean1, weightedA);
            mean2 = hn::Add(mean2, weightedB);
            square1 = hn::MulAdd(weightedA, a, square1);
            square2 = hn::MulAdd(weightedB, b, square2);
            product = hn::MulAdd(weightedA, b, product);
        }
        hn::StoreU(mean1, d, moments.mean1() + x);
        hn::StoreU(mean2, d, moments.mean2() + x);
        hn::StoreU(square1, d, moments.square1() + x);
        hn::StoreU(square2, d, moments.square2() + x);
        hn::StoreU(product, d, moments.product() + x);
    }
    for (std::size_t i = 0; i < 5; ++i)
        mirrorEnds(moments.rows.row(i), width, Taps / 2);
}

struct Filtered {
    Vector mean1, mean2, square1, square2, product;
};

// Filters all five together, because each sum waits for its last summand.
template <int Taps>
HWY_INLINE Filtered filterAcross(Moments &moments, const Window &window, std::size_t x)
{
    const Floats d;
    const auto at = [&](const float *row) { return hn::LoadU(d, row + x); };
    const auto middle = hn::Set(d, window.half[0]);
    Filtered sum{hn::Mul(middle, at(moments.mean1())), hn::Mul(middle, at(moments.mean2())),
                 hn::Mul(middle, at(moments.square1())), hn::Mul(middle, at(moments.square2())),
                 hn::Mul(middle, at(moments.product()))};
#pragma GCC unroll 8
    for (int k = 1; k <= Taps / 2; ++k) {
        const auto weight = hn::Set(d, window.half[static_cast<std::size_t>(k)]);
        const auto add = [&](Vector &total, const float *row) {
            total = hn::MulAdd(weight, hn::Add(at(row - k), at(row + k)), total);
        };
        add(sum.mean1, moments.mean1());
        add(sum.mean2, moments.mean2());
        add(sum.square1, moments.square1());
        add(sum.square2, moments.square2());
        add(sum.product, moments.product());
    }
    return sum;
}

struct Information {
    double kept = 0, original = 0;
};

template <int Taps>
HWY_NOINLINE Information informationOf(Moments &moments, const Window &window, std::size_t width)
{
    const Floats d;
    const std::size_t lanes = hn::Lanes(d);
    const auto zero = hn::Zero(d), one = hn::Set(d, 1.0F);
    Vector kept = zero, original = zero;
    for (std::size_t x = 0; x < width; x += lanes) {
        const auto [mean1, mean2, square1, square2, product] = filterAcross<Taps>(moments, window, x);
        const auto variance1 = hn::Max(hn::NegMulAdd(mean1, mean1, square1), zero);
        const auto variance2 = hn::Max(hn::NegMulAdd(mean2, mean2, square2), zero);
        const auto covariance = hn::NegMulAdd(mean1, mean2, product);

        const auto gain = hn::Div(covariance, hn::Add(variance1, hn::Set(d, leastVariance)));
        const auto rest = hn::Max(hn::NegMulAdd(gain, covariance, variance2), zero);
        const auto limited = hn::Min(gain, hn::Set(d, mostGain));
        const auto signal =
            hn::Div(hn::Mul(hn::Mul(limited, limited), variance1), hn::Add(rest, hn::Set(d, noise)));
        const auto isRelated = hn::And(hn::Gt(covariance, zero), hn::Gt(variance2, zero));
        const auto tells = hn::IfThenElseZero(isRelated, hn::Log2(d, hn::Add(one, signal)));
        const auto told = hn::Log2(d, hn::MulAdd(variance1, hn::Set(d, 1 / noise), one));

        // Where the reference is flat, added information counts against the picture.
        const auto isFlat = hn::Lt(variance1, hn::Set(d, noise));
        const auto flat = hn::NegMulAdd(variance2, hn::Set(d, 4.0F / (255 * 255)), one);
        const auto inside = hn::FirstN(d, width - x);
        kept = hn::Add(kept, hn::IfThenElseZero(inside, hn::IfThenElse(isFlat, flat, tells)));
        original = hn::Add(original, hn::IfThenElseZero(inside, hn::IfThenElse(isFlat, one, told)));
    }
    return {sumOf(kept), sumOf(original)};
}

template <int Taps>
double scaleScore(Rows &rows, const Window &window, Scratch &scratch)
{
    Moments moments(scratch, rows.width);
    Information sum;
    for (std::size_t y = 0; y < rows.height; ++y) {
        rows.prepare(y + Taps / 2);
        filterDown<Taps>(Neighbours<Taps>(rows, y), window, rows.width, moments);
        const Information row = informationOf<Taps>(moments, window, rows.width);
        sum.kept += row.kept;
        sum.original += row.original;
    }
    return sum.kept / sum.original;
}

} // namespace

std::array<double, 4> vif(const LumaFrame &reference, const LumaFrame &distorted, Scratch &scratch)
{
    scratch.restart();
    std::array<double, 4> scores{};
    Rows full(reference, distorted, scratch);
    scores[0] = scaleScore<17>(full, Window(0), scratch);
    Rows again(reference, distorted, scratch);
    Rows half = reduce<9>(again, Window(1), scratch);
    scores[1] = scaleScore<9>(half, Window(1), scratch);
    Rows quarter = reduce<5>(half, Window(2), scratch);
    scores[2] = scaleScore<5>(quarter, Window(2), scratch);
    Rows eighth = reduce<3>(quarter, Window(3), scratch);
    scores[3] = scaleScore<3>(eighth, Window(3), scratch);
    return scores;
}

} // namespace kestrel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel {

HWY_EXPORT(vif);

std::array<double, 4> Features::vif(const LumaFrame &reference, const LumaFrame &distorted, Scratch &scratch)
{
    return HWY_DYNAMIC_DISPATCH(vif)(reference, distorted, scratch);
}

} // namespace kestrel
#endif
