#pragma once

#include <cstddef>
#include <deque>
#include <optional>

#include "encoding/NutParser.h"

namespace kestrel {

// Brings the pictures of a film together with those of its source that are shown at the same time. Times may
// differ a little: Matroska rounds them to milliseconds, and ffmpeg's encoders those of a variable rate to
// whole frames. Each picture has at most one partner, and pairs keep their order. Pure; keeps only what has
// no partner yet.
class FramePairing {
public:
    enum class Side { reference, distorted };
    struct Pair {
        TimedFrame reference, distorted;
    };

    // `frameSeconds`: the usual distance between two pictures.
    explicit FramePairing(double frameSeconds);

    // The frames of a side come in the order of their times.
    void add(Side side, TimedFrame frame);
    void end(Side side);

    // The next pair; absent where more frames are needed, or no further pair is possible.
    std::optional<Pair> next();
    // The side that the next pair waits for; absent when both have ended and nothing is left.
    std::optional<Side> wanted() const;

    std::size_t pairs() const { return m_pairs; }
    std::size_t unmatched() const { return m_unmatched; } // of both sides, so far
    std::size_t waiting() const { return m_reference.frames.size() + m_distorted.frames.size(); }

private:
    struct Queue {
        std::deque<TimedFrame> frames;
        bool hasEnded = false;

        // What comes next is known, and what comes after it.
        bool isClear() const { return hasEnded || frames.size() >= 2; }
    };

    Queue &of(Side side) { return side == Side::reference ? m_reference : m_distorted; }
    bool canDecide() const;
    void drop(Queue &queue);

    const double m_tolerance; // seconds
    Queue m_reference, m_distorted;
    std::size_t m_pairs = 0, m_unmatched = 0;
};

} // namespace kestrel
