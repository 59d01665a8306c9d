#pragma once

#include <cstddef>
#include <deque>
#include <optional>

#include "encoding/NutParser.h"

namespace kestrel {

// Pairs the pictures of a film with those of its source that are shown at the same time. Times may differ a
// little: Matroska rounds them to milliseconds, and ffmpeg's encoders round those of a variable rate to whole
// frames. Each picture has at most one partner, and pairs keep their order. Pure; keeps only pictures that
// have no partner yet.
class FramePairing {
public:
    enum class Side { reference, distorted };
    struct Pair {
        TimedFrame reference, distorted;
    };

    // `frameSeconds` is the usual distance between two pictures.
    explicit FramePairing(double frameSeconds);

    // REQUIRES: the frames of a side are added in the order of their times.
    void add(Side side, TimedFrame frame);
    void end(Side side);

    // Returns the next pair; absent where more frames are needed, or no further pair is possible.
    std::optional<Pair> next();
    // Returns the side that the next pair waits for; absent when both have ended and nothing is left.
    std::optional<Side> wanted() const;

    std::size_t pairs() const { return m_pairs; }
    std::size_t unmatched() const { return m_unmatched; } // on both sides, so far
    std::size_t waiting() const { return m_reference.frames.size() + m_distorted.frames.size(); }

private:
    struct Queue {
        std::deque<TimedFrame> frames;
        bool hasEnded = false;

        // Returns whether the next frame and the one after it are known.
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
