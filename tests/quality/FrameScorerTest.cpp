#include "quality/FrameScorer.h"

#include <atomic>
#include <numeric>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include "quality/Pictures.h"
#include "quality/VmafModel.h"

namespace kestrel {

namespace {

using test::scene;

// A moving scene and what an encoder of little use makes of it.
std::vector<FrameScore> score(int frames, int step, WorkerPool &pool, int speed = 2)
{
    FrameScorer scorer(step, pool);
    for (int i = 0; i < frames; ++i) {
        LumaFrame distorted = scene(96, 64, 10, i * speed);
        for (auto &sample : distorted.samples)
            sample = static_cast<std::uint16_t>(sample & 0x3e0);
        scorer.add(scene(96, 64, 10, i * speed), std::move(distorted));
    }
    return scorer.finish();
}

} // namespace

TEST(VmafModel, knowsTheScoresOfPerfectCopies)
{
    EXPECT_NEAR(VmafModel::score(1, 0, {1, 1, 1, 1}), 97.43, 0.005); // a still picture, as libvmaf has it
    EXPECT_EQ(VmafModel::score(1, 20, {1, 1, 1, 1}), 100);
    EXPECT_EQ(VmafModel::score(0.2, 0, {0.05, 0.05, 0.05, 0.05}), 0);
}

TEST(FrameScorer, takesTheSmallerOfTheMotionsBeforeAndAfter)
{
    WorkerPool pool(2);
    FrameScorer scorer(1, pool);
    for (const int shift : {0, 0, 3, 4, 40})
        scorer.add(scene(96, 64, 8, shift), scene(96, 64, 8, shift));
    const auto scores = scorer.finish();
    ASSERT_EQ(scores.size(), 5U);
    EXPECT_EQ(scores[0].motion2 + scores[1].motion2, 0);
    EXPECT_GT(scores[2].motion2, 1); // as large as the change to the next one
    EXPECT_EQ(scores[2].motion2, scores[3].motion2);
    EXPECT_GT(scores[4].motion2, 2 * scores[3].motion2); // the last one has only one neighbour
}

TEST(FrameScorer, leavesOutFramesButNotTheirMotion)
{
    WorkerPool pool(2);
    const auto every = score(11, 1, pool), third = score(11, 3, pool);
    ASSERT_EQ(third.size(), 4U);
    for (std::size_t i = 0; i < third.size(); ++i)
        EXPECT_EQ(third[i], every[3 * i]);
    EXPECT_GT(third[1].motion2, 1);
    EXPECT_EQ(score(1, 1, pool).at(0).motion2, 0);
    EXPECT_TRUE(score(0, 1, pool).empty());
}

TEST(FrameScorer, refusesWhatCannotBeCompared)
{
    WorkerPool pool(2);
    FrameScorer scorer(1, pool);
    const LumaFrame usual = scene(64, 48, 10), larger = scene(64, 50, 10), tiny = scene(15, 48);
    LumaFrame half = usual;
    half.samples.resize(half.samples.size() / 2);
    scorer.add(usual, usual);
    EXPECT_THROW(scorer.add(usual, scene(64, 48, 8)), std::invalid_argument);
    EXPECT_THROW(scorer.add(usual, larger), std::invalid_argument);
    EXPECT_THROW(scorer.add(larger, larger), std::invalid_argument);
    EXPECT_THROW(scorer.add(half, half), std::invalid_argument);
    EXPECT_THROW(FrameScorer(1, pool).add(tiny, tiny), std::invalid_argument);
    EXPECT_EQ(scorer.finish().size(), 1U); // what was refused leaves no trace
}

// Several films on the pool of the process, one of them given up in the middle.
TEST(FrameScorer, sharesThePool)
{
    WorkerPool pool(3);
    const auto slow = score(13, 1, pool, 1), fast = score(13, 2, pool, 3);
    std::atomic<int> same = 0;
    std::vector<std::thread> films;
    for (int i = 0; i < 6; ++i)
        films.emplace_back([&, i] {
            if (i == 5) {
                FrameScorer givenUp(1, pool);
                for (int frame = 0; frame < 5; ++frame)
                    givenUp.add(scene(96, 64), scene(96, 64, 8, frame));
                return;
            }
            same += i % 2 == 0 ? score(13, 1, pool, 1) == slow : score(13, 2, pool, 3) == fast;
        });
    for (auto &film : films)
        film.join();
    EXPECT_EQ(same, 5);
}

TEST(WorkerPool, worksOffEverythingBeforeItEnds)
{
    std::atomic<int> done = 0;
    {
        WorkerPool pool(0);
        EXPECT_EQ(pool.size(), 1U);
        for (int i = 0; i < 100; ++i)
            pool.post([&done] { ++done; });
    }
    EXPECT_EQ(done, 100);
}

} // namespace kestrel
