#pragma once

#include <array>
#include <memory>
#include <vector>

#include "quality/LumaFrame.h"
#include "quality/WorkerPool.h"

namespace kestrel {

// Holds the score of one frame by libvmaf's model vmaf_v0.6.1, and the features from which it is computed.
struct FrameScore {
    double adm2 = 0;                // detail that is kept, 0 … 1
    double motion2 = 0;             // change against the neighbouring frames, in samples of 8 bits
    std::array<double, 4> vif = {}; // information that is kept at four scales, about 0 … 1
    double vmaf = 0;                // 0 … 100

    bool operator==(const FrameScore &) const = default;
};

// Scores the frames of one film against those of its source, in display order, as they come. The work is done
// on the pool; one thread uses the scorer itself. Its destructor waits for the pairs in work.
class FrameScorer {
public:
    // REQUIRES: a change of the arithmetic that moves any score changes this number.
    static constexpr int version = 1;

    // Scores the first pair and every `step`-th after it; the pairs between them only enter the motion.
    explicit FrameScorer(int step = 1, WorkerPool &pool = WorkerPool::shared());
    ~FrameScorer();
    FrameScorer(const FrameScorer &) = delete;
    FrameScorer &operator=(const FrameScorer &) = delete;

    // Adds the next pair of frames; blocks while as many pairs are in work as the pool has threads.
    // Throws std::invalid_argument when the two differ in size or depth from each other or from those before,
    // or are smaller than 16 × 16.
    void add(LumaFrame reference, LumaFrame distorted);

    // Waits for the pairs in work and returns the scores of all scored pairs, in their order. REQUIRES: this
    // is called once, after the last add().
    std::vector<FrameScore> finish();

private:
    struct State;
    std::unique_ptr<State> m_state;
};

} // namespace kestrel
