#include "encoding/FramePairing.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace kestrel::test {
namespace {

using Times = std::vector<double>;
using Side = FramePairing::Side;

// Which frame meets which; the numbers of the frames are their widths.
struct Outcome {
    std::vector<std::pair<int, int>> pairs;
    std::size_t unmatched = 0;
};

Outcome paired(const Times &reference, const Times &distorted, double frameSeconds)
{
    FramePairing pairing(frameSeconds);
    std::size_t next[2] = {0, 0}, most = 0;
    Outcome outcome;
    for (;;) {
        while (const auto pair = pairing.next())
            outcome.pairs.emplace_back(pair->reference.luma.width, pair->distorted.luma.width);
        const auto side = pairing.wanted();
        if (!side)
            break;
        const Times &times = *side == Side::reference ? reference : distorted;
        std::size_t &at = next[*side == Side::reference ? 0 : 1];
        if (at == times.size()) {
            pairing.end(*side);
        } else {
            TimedFrame frame{times[at], {}};
            frame.luma.width = static_cast<int>(at++);
            pairing.add(*side, std::move(frame));
        }
        most = std::max(most, next[0] + next[1] - 2 * pairing.pairs() - pairing.unmatched());
    }
    EXPECT_LE(most, 5U) << "few pictures are kept";
    outcome.unmatched = pairing.unmatched();
    EXPECT_EQ(outcome.pairs.size(), pairing.pairs());
    return outcome;
}

// The numbers that are left of 0 … count − 1.
std::vector<int> without(int count, std::initializer_list<int> missing)
{
    std::vector<int> numbers;
    for (int i = 0; i < count; ++i)
        if (std::find(missing.begin(), missing.end(), i) == missing.end())
            numbers.push_back(i);
    return numbers;
}

// The pairs in numbers of the source's pictures.
void expectPairs(const std::vector<int> &reference, const std::vector<int> &distorted, double fps,
                 std::size_t unmatched)
{
    // Each side's times in its own precision: 90 kHz, and milliseconds.
    Times exact, rounded;
    for (const int number : reference)
        exact.push_back(std::round(number * 90000 / fps) / 90000);
    for (const int number : distorted)
        rounded.push_back(std::round(number * 1000 / fps) / 1000);
    const Outcome outcome = paired(exact, rounded, 1 / fps);
    EXPECT_EQ(outcome.unmatched, unmatched) << fps;
    for (const auto &[first, second] : outcome.pairs)
        EXPECT_EQ(reference[static_cast<std::size_t>(first)], distorted[static_cast<std::size_t>(second)])
            << fps;
}

TEST(FramePairing, picturesOfOneTimeBelongTogether)
{
    for (const double fps : {10.0, 24000 / 1001.0, 25.0, 30000 / 1001.0, 60.0, 119.88, 240.0}) {
        expectPairs(without(50, {}), without(50, {}), fps, 0);
        expectPairs(without(50, {}), without(50, {7}), fps, 1);             // dropped by the encoder
        expectPairs(without(50, {7}), without(50, {}), fps, 1);             // doubled by it
        expectPairs(without(50, {0, 1}), without(50, {48, 49}), fps, 4);    // another beginning and end
        expectPairs(without(50, {3, 4, 5}), without(50, {20, 21}), fps, 5); // gaps
        expectPairs(without(50, {}), {}, fps, 50);
        expectPairs({}, without(50, {}), fps, 50);
    }
    expectPairs(without(250, {}), without(125, {}), 25, 125); // never ends while the other has
}

TEST(FramePairing, aVariableRateHasPairsInEveryStretch)
{
    // Pictures of 60 fps, of which long stretches have only some: 20 fps in the mean.
    std::vector<int> numbers;
    for (int i = 0; i < 120; ++i)
        if (i % 60 < 10 || i % 6 == 0)
            numbers.push_back(i);
    Times exact;
    for (const int number : numbers)
        exact.push_back(number / 60.0);
    const auto all = paired(exact, exact, 1 / 20.0);
    EXPECT_EQ(all.unmatched, 0U);
    for (const auto &[first, second] : all.pairs)
        EXPECT_EQ(first, second);

    // One picture of a quick stretch is missing: the others keep their partners.
    Times dropped = exact;
    dropped.erase(dropped.begin() + 4);
    const auto left = paired(exact, dropped, 1 / 20.0);
    EXPECT_EQ(left.unmatched, 1U);
    for (const auto &[first, second] : left.pairs)
        EXPECT_EQ(first, second < 4 ? second : second + 1);
}

// Encoders round the times of a variable rate to whole frames of 1/30 s.
TEST(FramePairing, aPictureWhoseTimeWasRoundedKeepsItsPartner)
{
    const Times source{0, 1.1, 1.9, 3.2, 3.8, 5.4, 6.3, 7.45, 8.4, 9.4};
    const Times encoded{0, 1, 2, 3, 4, 5, 6, 7, 8, 9};
    Times seconds, rounded;
    for (const double time : source)
        seconds.push_back(time / 30);
    for (const double time : encoded)
        rounded.push_back(time / 30);
    const auto outcome = paired(seconds, rounded, 1 / 29.5);
    EXPECT_EQ(outcome.unmatched, 0U);
    for (const auto &[first, second] : outcome.pairs)
        EXPECT_EQ(first, second);
}

TEST(FramePairing, whatIsAWholePictureApartHasNoPartner)
{
    Times source, late;
    for (int i = 0; i < 20; ++i) {
        source.push_back(i / 25.0);
        late.push_back((i + 0.8) / 25.0 + 1);
    }
    EXPECT_EQ(paired(source, late, 1 / 25.0).unmatched, 40U);
    EXPECT_EQ(paired({0}, {0.8 / 25}, 1 / 25.0).unmatched, 2U);
    EXPECT_EQ(paired({0}, {0.5 / 25}, 1 / 25.0).unmatched, 0U);
}

} // namespace
} // namespace kestrel::test
