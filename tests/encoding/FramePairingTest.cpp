#include "encoding/FramePairing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kestrel::test {
namespace {

using Side = FramePairing::Side;

struct Shown {
    int number; // of the picture in the film
    double time;
};
using Film = std::vector<Shown>;

// How many pictures find no partner; those that do must have the same number.
std::size_t unmatched(const Film &reference, const Film &distorted, double frameSeconds)
{
    FramePairing pairing(frameSeconds);
    std::size_t next[2] = {0, 0}, most = 0;
    for (;;) {
        while (const auto pair = pairing.next()) // the numbers are the pictures' widths
            EXPECT_EQ(pair->reference.luma.width, pair->distorted.luma.width);
        const auto side = pairing.wanted();
        if (!side)
            break;
        const Film &film = *side == Side::reference ? reference : distorted;
        std::size_t &at = next[*side == Side::reference ? 0 : 1];
        if (at == film.size()) {
            pairing.end(*side);
        } else {
            TimedFrame frame{film[at].time, {}};
            frame.luma.width = film[at++].number;
            pairing.add(*side, std::move(frame));
        }
        most = std::max(most, next[0] + next[1] - 2 * pairing.pairs() - pairing.unmatched());
    }
    EXPECT_LE(most, 5U) << "few pictures are kept";
    EXPECT_EQ(reference.size() + distorted.size(), 2 * pairing.pairs() + pairing.unmatched());
    return pairing.unmatched();
}

// What is left of a film of so many pictures, with its times in this precision.
Film without(const std::vector<int> &missing, double fps, double ticks, int count = 50)
{
    Film film;
    for (int i = 0; i < count; ++i)
        if (std::find(missing.begin(), missing.end(), i) == missing.end())
            film.push_back({i, std::round(i * ticks / fps) / ticks});
    return film;
}

TEST(FramePairing, picturesOfOneTimeBelongTogether)
{
    const struct {
        std::vector<int> reference, distorted; // the missing ones
        std::size_t unmatched;
    } cases[] = {
        {{}, {}, 0},
        {{}, {7}, 1},             // dropped by the encoder
        {{7}, {}, 1},             // doubled by it
        {{0, 1}, {48, 49}, 4},    // another beginning and end
        {{3, 4, 5}, {20, 21}, 5}, // gaps
    };
    constexpr double exact = 90000, rounded = 1000; // ticks a second
    for (const double fps : {10.0, 24000 / 1001.0, 25.0, 30000 / 1001.0, 60.0, 119.88, 240.0}) {
        for (const auto &[reference, distorted, expected] : cases)
            EXPECT_EQ(unmatched(without(reference, fps, exact), without(distorted, fps, rounded), 1 / fps),
                      expected)
                << fps;
        EXPECT_EQ(unmatched(without({}, fps, exact), {}, 1 / fps), 50U);
        EXPECT_EQ(unmatched({}, without({}, fps, exact), 1 / fps), 50U);
    }
    EXPECT_EQ(unmatched(without({}, 25, exact, 250), without({}, 25, rounded, 125), 1 / 25.0), 125U)
        << "never ends while the other has";
}

TEST(FramePairing, aVariableRateHasPairsInEveryStretch)
{
    // Pictures of 60 fps, of which long stretches have only some: 20 fps in the mean.
    Film film;
    for (int i = 0; i < 120; ++i)
        if (i % 60 < 10 || i % 6 == 0)
            film.push_back({i, i / 60.0});
    EXPECT_EQ(unmatched(film, film, 1 / 20.0), 0U);
    // One picture of a quick stretch is missing: the others keep their partners.
    Film dropped = film;
    dropped.erase(dropped.begin() + 4);
    EXPECT_EQ(unmatched(film, dropped, 1 / 20.0), 1U);
}

// Encoders round the times of a variable rate to whole frames of 1/30 s.
TEST(FramePairing, aPictureWhoseTimeWasRoundedKeepsItsPartner)
{
    Film source, encoded;
    for (const double time : {0.0, 1.1, 1.9, 3.2, 3.8, 5.4, 6.3, 7.45, 8.4, 9.4}) {
        const int number = static_cast<int>(source.size());
        source.push_back({number, time / 30});
        encoded.push_back({number, number / 30.0});
    }
    EXPECT_EQ(unmatched(source, encoded, 1 / 29.5), 0U);
}

TEST(FramePairing, whatIsAWholePictureApartHasNoPartner)
{
    const Film source = without({}, 25, 90000);
    Film late = source;
    for (auto &picture : late)
        picture.time += 0.8 / 25 + 2;
    EXPECT_EQ(unmatched(source, late, 1 / 25.0), 100U);
    EXPECT_EQ(unmatched({{0, 0}}, {{0, 0.8 / 25}}, 1 / 25.0), 2U);
    EXPECT_EQ(unmatched({{0, 0}}, {{0, 0.5 / 25}}, 1 / 25.0), 0U);
}

} // namespace
} // namespace kestrel::test
