#include "quality/FrameScorer.h"

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <utility>

#include "quality/Features.h"
#include "quality/VmafModel.h"

namespace kestrel {

namespace {

constexpr int smallestSide = 16;

// Holds what the tasks have computed for one pair.
struct Measured {
    bool isScored = false;
    double motion = 0;
    double adm2 = 0;
    std::array<double, 4> vif = {};
};

bool isWhole(const LumaFrame &frame)
{
    return frame.width >= smallestSide && frame.height >= smallestSide && 8 <= frame.depth &&
           frame.depth <= 16 &&
           frame.samples.size() ==
               static_cast<std::size_t>(frame.width) * static_cast<std::size_t>(frame.height);
}

bool isAlike(const LumaFrame &a, const LumaFrame &b)
{
    return a.width == b.width && a.height == b.height && a.depth == b.depth;
}

} // namespace

struct FrameScorer::State {
    State(int frames, WorkerPool &workers) : step(frames), pool(workers) {}

    void measure(std::size_t index, const LumaFrame *previous, const LumaFrame &reference,
                 const LumaFrame *distorted);
    void wait(std::size_t mostInWork);

    // Set once.
    const int step;
    WorkerPool &pool;

    // Only the caller's thread accesses it.
    std::shared_ptr<const LumaFrame> previous;

    // Guarded by lock.
    std::mutex lock;
    std::condition_variable changed;
    std::size_t inWork = 0;
    std::vector<Measured> pairs;
    std::vector<std::unique_ptr<Scratch>> idle; // as many as there were tasks at once
    std::exception_ptr failure;
};

// Runs on a thread of the pool.
void FrameScorer::State::measure(std::size_t index, const LumaFrame *before, const LumaFrame &reference,
                                 const LumaFrame *distorted)
{
    std::unique_ptr<Scratch> scratch;
    {
        const std::scoped_lock guard(lock);
        if (!idle.empty()) {
            scratch = std::move(idle.back());
            idle.pop_back();
        }
    }
    Measured result;
    std::exception_ptr error;
    try {
        if (!scratch)
            scratch = std::make_unique<Scratch>();
        if (before != nullptr)
            result.motion = Features::motion(*before, reference, *scratch);
        if (distorted != nullptr) {
            result.isScored = true;
            result.vif = Features::vif(reference, *distorted, *scratch);
            result.adm2 = Features::adm2(reference, *distorted, *scratch);
        }
    } catch (...) {
        error = std::current_exception();
    }
    const std::scoped_lock guard(lock);
    pairs[index] = result;
    if (error)
        failure = error;
    else
        idle.push_back(std::move(scratch));
}

void FrameScorer::State::wait(std::size_t mostInWork)
{
    std::unique_lock guard(lock);
    changed.wait(guard, [&] { return inWork <= mostInWork; });
    if (failure)
        std::rethrow_exception(std::exchange(failure, nullptr));
}

FrameScorer::FrameScorer(int step, WorkerPool &pool)
    : m_state(std::make_unique<State>(std::max(step, 1), pool))
{
}

FrameScorer::~FrameScorer()
{
    std::unique_lock guard(m_state->lock);
    m_state->changed.wait(guard, [this] { return m_state->inWork == 0; });
}

void FrameScorer::add(LumaFrame reference, LumaFrame distorted)
{
    State &state = *m_state;
    if (!isWhole(reference) || !isWhole(distorted) || !isAlike(reference, distorted) ||
        (state.previous && !isAlike(reference, *state.previous)))
        throw std::invalid_argument("frames that cannot be compared");
    state.wait(state.pool.size());

    auto before = std::exchange(state.previous, std::make_shared<const LumaFrame>(std::move(reference)));
    std::size_t index = 0;
    {
        const std::scoped_lock guard(state.lock);
        index = state.pairs.size();
        state.pairs.emplace_back();
        ++state.inWork;
    }
    std::shared_ptr<const LumaFrame> encoded;
    if (index % static_cast<std::size_t>(state.step) == 0)
        encoded = std::make_shared<const LumaFrame>(std::move(distorted));
    state.pool.post([&state, index, before = std::move(before), frame = state.previous,
                     encoded = std::move(encoded)]() mutable {
        state.measure(index, before.get(), *frame, encoded.get());
        before.reset();
        frame.reset();
        encoded.reset();
        // Notifies under the lock: the waiting thread may destroy the state as soon as the lock is free.
        const std::scoped_lock guard(state.lock);
        --state.inWork;
        state.changed.notify_all();
    });
}

std::vector<FrameScore> FrameScorer::finish()
{
    State &state = *m_state;
    state.wait(0);
    const std::scoped_lock guard(state.lock);
    std::vector<FrameScore> scores;
    for (std::size_t i = 0; i < state.pairs.size(); ++i) {
        const Measured &pair = state.pairs[i];
        if (!pair.isScored)
            continue;
        FrameScore score;
        score.adm2 = pair.adm2;
        score.vif = pair.vif;
        // The motion is the smaller of the changes from the frame before and to the one after: a cut is no
        // motion.
        score.motion2 =
            i + 1 < state.pairs.size() ? std::min(pair.motion, state.pairs[i + 1].motion) : pair.motion;
        score.vmaf = VmafModel::score(score.adm2, score.motion2, score.vif);
        scores.push_back(score);
    }
    return scores;
}

} // namespace kestrel
