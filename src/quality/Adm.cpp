#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

#include "quality/Features.h"

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "quality/Adm.cpp"
#include <hwy/foreach_target.h>
// Highway requires that its own header, and those that build on it, are included after this one.
#include "quality/Vectors-inl.h"

#ifndef KESTREL_QUALITY_ADM_ONCE
#define KESTREL_QUALITY_ADM_ONCE

namespace kestrel::adm {

constexpr int scales = 4;
constexpr double border = 0.1;  // share of each side that does not count
constexpr float mostGain = 100; // limit for an enhanced detail
constexpr double noiseWeight = 1 / 32.0;
constexpr float masking = 1 / 30.0F; // weight of a neighbour's loss; the position itself counts twice

// Holds the reciprocal of the smallest visible coefficient: Watson, Yang, Solomon and Villasenor, "Visibility
// of wavelet quantization noise", 1997, luminance, seen from three times the height of 1080 lines.
struct Sensitivity {
    float straight, diagonal;
};

inline Sensitivity sensitivity(int scale)
{
    constexpr double a = 0.495, k = 0.466, f0 = 0.401;
    constexpr double gStraight = 1.0, gDiagonal = 0.534;
    constexpr std::array<std::array<double, 2>, scales> amplitudes{{
        {0.67234, 0.72709},
        {0.41317, 0.49428},
        {0.22727, 0.28688},
        {0.11792, 0.15214},
    }};
    const double pixelsPerDegree = 3.0 * 1080 * std::numbers::pi / 180;
    const auto reciprocal = [&](double g, double amplitude) {
        const double frequency = std::log10(std::exp2(scale + 1) * f0 * g / pixelsPerDegree);
        return static_cast<float>(amplitude / (2 * a * std::pow(10, k * frequency * frequency)));
    };
    const auto &amplitude = amplitudes[static_cast<std::size_t>(scale)];
    return {reciprocal(gStraight, amplitude[0]), reciprocal(gDiagonal, amplitude[1])};
}

} // namespace kestrel::adm

#endif

HWY_BEFORE_NAMESPACE();
namespace kestrel::HWY_NAMESPACE {

namespace {

// These are Daubechies' wavelet with two vanishing moments.
constexpr std::array<float, 4> lowPass{0.482962913144690F, 0.836516303737469F, 0.224143868041857F,
                                       -0.129409522550921F};
constexpr std::array<float, 4> highPass{-0.129409522550921F, -0.224143868041857F, 0.836516303737469F,
                                        -0.482962913144690F};

HWY_INLINE Vector filtered4(const std::array<float, 4> &taps, Vector a, Vector b, Vector c, Vector e)
{
    const Floats d;
    return hn::MulAdd(hn::Set(d, taps[3]), e,
                      hn::MulAdd(hn::Set(d, taps[2]), c,
                                 hn::MulAdd(hn::Set(d, taps[1]), b, hn::Mul(hn::Set(d, taps[0]), a))));
}

// Holds one row of a picture's four bands, each low or high vertically and horizontally.
struct Bands {
    FloatRows rows;

    Bands(Scratch &scratch, std::size_t width) : rows(scratch, width, 3) {}
    float *horizontal() { return rows.row(0); } // high vertically, low horizontally
    float *vertical() { return rows.row(1); }   // low vertically, high horizontally
    float *diagonal() { return rows.row(2); }
};

// Provides one picture at one scale: samples at the first, the result of the scale before it at the others.
class Source {
public:
    Source(const LumaFrame &frame, Scratch &scratch)
        : width(static_cast<std::size_t>(frame.width)), height(static_cast<std::size_t>(frame.height)),
          m_frame(&frame), m_rows(scratch, width, ring)
    {
    }
    Source(std::size_t columns, std::size_t lines, Scratch &scratch)
        : width(columns), height(lines), m_rows(scratch, columns, lines)
    {
    }

    float *row(std::size_t i) { return m_rows.row(m_frame != nullptr ? i % ring : i); }
    // Makes everything up to this row readable.
    void prepare(std::size_t last)
    {
        if (m_frame == nullptr)
            return;
        for (; m_filled <= std::min(last, height - 1); ++m_filled)
            toFloats(m_frame->samples.data() + m_filled * width, width, m_frame->depth, 0, row(m_filled));
    }
    // Returns the four rows from which a row of the transform is computed; beyond the picture the last one
    // repeats.
    std::array<const float *, 4> around(std::size_t y)
    {
        prepare(2 * y + 2);
        const auto at = [&](std::size_t i) { return row(i < height ? i : 2 * height - 1 - i); };
        return {at(y == 0 ? 1 : 2 * y - 1), at(2 * y), at(2 * y + 1), at(2 * y + 2)};
    }

    const std::size_t width, height;

private:
    static constexpr std::size_t ring = 8;

    const LumaFrame *m_frame = nullptr;
    std::size_t m_filled = 0;
    FloatRows m_rows;
};

// Extends both ends of a row as the transform requires: a mirror in front, the last value again behind.
void continueEnds(float *row, std::size_t width)
{
    row[-1] = row[1];
    row[width] = row[width - 1];
    row[width + 1] = row[width - 2];
}

// Computes one row of the transform. REQUIRES: `low` and `high` have room for a row of the source's width.
HWY_NOINLINE void transformRow(const std::array<const float *, 4> &source, std::size_t width, float *low,
                               float *high, float *approximation, Bands &bands)
{
    const Floats d;
    const std::size_t lanes = hn::Lanes(d);
    for (std::size_t x = 0; x < width; x += lanes) {
        const auto a = hn::LoadU(d, source[0] + x), b = hn::LoadU(d, source[1] + x);
        const auto c = hn::LoadU(d, source[2] + x), e = hn::LoadU(d, source[3] + x);
        hn::StoreU(filtered4(lowPass, a, b, c, e), d, low + x);
        hn::StoreU(filtered4(highPass, a, b, c, e), d, high + x);
    }
    continueEnds(low, width);
    continueEnds(high, width);
    const std::size_t columns = (width + 1) / 2;
    for (std::size_t x = 0; x < columns; x += lanes) {
        Vector a, b, c, e;
        hn::LoadInterleaved2(d, low + 2 * x - 1, a, b);
        hn::LoadInterleaved2(d, low + 2 * x + 1, c, e);
        hn::StoreU(filtered4(lowPass, a, b, c, e), d, approximation + x);
        hn::StoreU(filtered4(highPass, a, b, c, e), d, bands.vertical() + x);
        hn::LoadInterleaved2(d, high + 2 * x - 1, a, b);
        hn::LoadInterleaved2(d, high + 2 * x + 1, c, e);
        hn::StoreU(filtered4(lowPass, a, b, c, e), d, bands.horizontal() + x);
        hn::StoreU(filtered4(highPass, a, b, c, e), d, bands.diagonal() + x);
    }
}

// Holds a row of the kept details, as the eye weighs them, and the losses beside them.
struct Details {
    FloatRows rows;

    Details(Scratch &scratch, std::size_t width) : rows(scratch, width, 4) {}
    float *kept(std::size_t band) { return rows.row(band); }
    float *loss() { return rows.row(3); } // of all bands, as far as it masks details
};

// Returns how much of the reference's coefficient the distorted one keeps. Where both point in the same
// direction within a degree, the picture differs only in contrast, which is no loss.
HWY_INLINE Vector restored(Vector original, Vector distorted, hn::Mask<Floats> isSameDirection)
{
    const Floats d;
    const auto zero = hn::Zero(d);
    const auto ratio = hn::Div(distorted, hn::Add(original, hn::Set(d, 1e-30F)));
    const auto part = hn::Mul(hn::Min(hn::Max(ratio, zero), hn::Set(d, 1.0F)), original);
    const auto enhanced = hn::Mul(part, hn::Set(d, adm::mostGain));
    const auto gained =
        hn::IfThenElse(hn::Gt(part, zero), hn::Min(enhanced, distorted),
                       hn::IfThenElse(hn::Lt(part, zero), hn::Max(enhanced, distorted), part));
    return hn::IfThenElse(isSameDirection, gained, part);
}

HWY_NOINLINE void separate(Bands &original, Bands &distorted, const adm::Sensitivity &eye, std::size_t width,
                           Details &details)
{
    const Floats d;
    const std::size_t lanes = hn::Lanes(d);
    const auto straight = hn::Set(d, eye.straight), diagonal = hn::Set(d, eye.diagonal);
    // This is the squared cosine of a degree.
    const auto cosine =
        hn::Set(d, static_cast<float>(std::cos(std::numbers::pi / 180) * std::cos(std::numbers::pi / 180)));
    for (std::size_t x = 0; x < width; x += lanes) {
        const auto h = hn::LoadU(d, original.horizontal() + x), v = hn::LoadU(d, original.vertical() + x);
        const auto g = hn::LoadU(d, original.diagonal() + x);
        const auto h2 = hn::LoadU(d, distorted.horizontal() + x), v2 = hn::LoadU(d, distorted.vertical() + x);
        const auto g2 = hn::LoadU(d, distorted.diagonal() + x);

        const auto product = hn::MulAdd(h, h2, hn::Mul(v, v2));
        const auto length = hn::MulAdd(h, h, hn::Mul(v, v)), length2 = hn::MulAdd(h2, h2, hn::Mul(v2, v2));
        const auto isSameDirection =
            hn::And(hn::Ge(product, hn::Zero(d)),
                    hn::Ge(hn::Mul(product, product), hn::Mul(hn::Mul(cosine, length), length2)));

        const auto keptH = restored(h, h2, isSameDirection), keptV = restored(v, v2, isSameDirection);
        const auto keptG = restored(g, g2, isSameDirection);
        hn::StoreU(hn::Abs(hn::Mul(keptH, straight)), d, details.kept(0) + x);
        hn::StoreU(hn::Abs(hn::Mul(keptV, straight)), d, details.kept(1) + x);
        hn::StoreU(hn::Abs(hn::Mul(keptG, diagonal)), d, details.kept(2) + x);
        const auto lost = hn::MulAdd(hn::Add(hn::Abs(hn::Sub(h2, keptH)), hn::Abs(hn::Sub(v2, keptV))),
                                     straight, hn::Mul(hn::Abs(hn::Sub(g2, keptG)), diagonal));
        hn::StoreU(hn::Mul(lost, hn::Set(d, adm::masking)), d, details.loss() + x);
    }
    details.loss()[-1] = details.loss()[width > 1 ? 1 : 0];
    details.loss()[width] = details.loss()[width - 1];
}

// Bounds the part of a scale that counts, which excludes its borders.
struct Inside {
    std::size_t from, to;

    explicit Inside(std::size_t size) : from(0), to(0)
    {
        const auto edge = static_cast<int>(static_cast<double>(size) * adm::border - 0.5);
        from = static_cast<std::size_t>(edge);
        to = size - from;
    }
};

using Cubes = std::array<double, 3>; // sums for horizontal, vertical and diagonal details

HWY_INLINE Vector cube(Vector value)
{
    return hn::Mul(hn::Mul(value, value), value);
}

// Adds the cubes of what is kept and visible beside the losses around it.
HWY_NOINLINE void addKept(Details &above, Details &middle, Details &below, Inside columns, Cubes &sums)
{
    const Floats d;
    const std::size_t lanes = hn::Lanes(d);
    std::array<Vector, 3> totals{hn::Zero(d), hn::Zero(d), hn::Zero(d)};
    for (std::size_t x = columns.from; x < columns.to; x += lanes) {
        const auto three = [&](const float *loss) {
            return hn::Add(hn::Add(hn::LoadU(d, loss + x - 1), hn::LoadU(d, loss + x)),
                           hn::LoadU(d, loss + x + 1));
        };
        const auto threshold = hn::Add(hn::Add(three(above.loss()), three(middle.loss())),
                                       hn::Add(three(below.loss()), hn::LoadU(d, middle.loss() + x)));
        const auto inside = hn::FirstN(d, columns.to - x);
        for (std::size_t band = 0; band < 3; ++band) {
            const auto visible = hn::Sub(hn::LoadU(d, middle.kept(band) + x), threshold);
            totals[band] =
                hn::Add(totals[band], hn::IfThenElseZero(inside, cube(hn::Max(visible, hn::Zero(d)))));
        }
    }
    for (std::size_t band = 0; band < 3; ++band)
        sums[band] += sumOf(totals[band]);
}

HWY_NOINLINE void addOriginal(Bands &bands, const adm::Sensitivity &eye, Inside columns, Cubes &sums)
{
    const Floats d;
    const std::size_t lanes = hn::Lanes(d);
    const std::array<float, 3> weights{eye.straight, eye.straight, eye.diagonal};
    for (std::size_t band = 0; band < 3; ++band) {
        Vector total = hn::Zero(d);
        const float *row = bands.rows.row(band);
        for (std::size_t x = columns.from; x < columns.to; x += lanes) {
            const auto value = hn::Abs(hn::Mul(hn::LoadU(d, row + x), hn::Set(d, weights[band])));
            total = hn::Add(total, hn::IfThenElseZero(hn::FirstN(d, columns.to - x), cube(value)));
        }
        sums[band] += sumOf(total);
    }
}

double pooled(const Cubes &sums, double area)
{
    double result = 0;
    for (const double sum : sums)
        result += std::cbrt(sum) + std::cbrt(area * adm::noiseWeight);
    return result;
}

struct Detail {
    double kept = 0, original = 0;
};

// Measures one scale, and stores the pictures of the next one in `nextOriginal` and `nextDistorted`.
Detail measureScale(Source &original, Source &distorted, int scale, Source &nextOriginal,
                    Source &nextDistorted, Scratch &scratch)
{
    const adm::Sensitivity eye = adm::sensitivity(scale);
    const std::size_t width = nextOriginal.width, height = nextOriginal.height;
    const Inside columns(width), lines(height);
    const FloatRows room(scratch, original.width, 2);
    Bands originalBands(scratch, width), distortedBands(scratch, width);
    std::array<Details, 3> ring{Details(scratch, width), Details(scratch, width), Details(scratch, width)};
    Cubes kept{}, total{};

    // A row is measured once the one below it is known; above the first row its mirror is used, below the
    // last one the last row again.
    const auto measure = [&](std::size_t y) {
        if (y < lines.from || y >= lines.to)
            return;
        const std::size_t above = y == 0 ? std::min<std::size_t>(1, height - 1) : y - 1;
        const std::size_t below = std::min(y + 1, height - 1);
        addKept(ring[above % 3], ring[y % 3], ring[below % 3], columns, kept);
    };
    for (std::size_t y = 0; y < height; ++y) {
        transformRow(original.around(y), original.width, room.row(0), room.row(1), nextOriginal.row(y),
                     originalBands);
        transformRow(distorted.around(y), original.width, room.row(0), room.row(1), nextDistorted.row(y),
                     distortedBands);
        separate(originalBands, distortedBands, eye, width, ring[y % 3]);
        if (y >= lines.from && y < lines.to)
            addOriginal(originalBands, eye, columns, total);
        if (y > 0)
            measure(y - 1);
    }
    measure(height - 1);

    const double area =
        static_cast<double>(columns.to - columns.from) * static_cast<double>(lines.to - lines.from);
    return {pooled(kept, area), pooled(total, area)};
}

} // namespace

double adm2(const LumaFrame &reference, const LumaFrame &distorted, Scratch &scratch)
{
    scratch.restart();
    Detail sum;
    const auto measure = [&](Source original, Source encoded, int scale, auto &&self) -> void {
        const std::size_t width = (original.width + 1) / 2, height = (original.height + 1) / 2;
        Source nextOriginal(width, height, scratch), nextEncoded(width, height, scratch);
        const Detail detail = measureScale(original, encoded, scale, nextOriginal, nextEncoded, scratch);
        sum.kept += detail.kept;
        sum.original += detail.original;
        if (scale + 1 < adm::scales)
            self(nextOriginal, nextEncoded, scale + 1, self);
    };
    measure(Source(reference, scratch), Source(distorted, scratch), 0, measure);
    return sum.kept / sum.original;
}

} // namespace kestrel::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace kestrel {

HWY_EXPORT(adm2);

double Features::adm2(const LumaFrame &reference, const LumaFrame &distorted, Scratch &scratch)
{
    return HWY_DYNAMIC_DISPATCH(adm2)(reference, distorted, scratch);
}

} // namespace kestrel
#endif
