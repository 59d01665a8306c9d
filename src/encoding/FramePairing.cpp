#include "encoding/FramePairing.h"

#include <cmath>
#include <utility>

namespace kestrel {

namespace {

// How far apart two partners may be, as a share of the usual distance of two pictures: more than the half by
// which rounding to whole frames shifts a picture, and less than the whole at which its neighbour lies.
constexpr double toleranceShare = 0.75;
// A neighbour is preferred only where it is nearer by this factor: a picture whose time was rounded lies up
// to half way to it.
constexpr double clearlyNearer = 3;

} // namespace

FramePairing::FramePairing(double frameSeconds) : m_tolerance(frameSeconds * toleranceShare) {}

void FramePairing::add(Side side, TimedFrame frame)
{
    of(side).frames.push_back(std::move(frame));
}

void FramePairing::end(Side side)
{
    of(side).hasEnded = true;
}

bool FramePairing::canDecide() const
{
    return m_reference.isClear() && m_distorted.isClear();
}

void FramePairing::drop(Queue &queue)
{
    queue.frames.pop_front();
    ++m_unmatched;
}

std::optional<FramePairing::Pair> FramePairing::next()
{
    while (canDecide() && !(m_reference.frames.empty() && m_distorted.frames.empty())) {
        auto &references = m_reference.frames, &distorted = m_distorted.frames;
        if (references.empty() || distorted.empty()) {
            drop(references.empty() ? m_distorted : m_reference);
            continue;
        }
        const double late = distorted[0].time - references[0].time;
        Queue &earlier = late > 0 ? m_reference : m_distorted;
        const Queue &later = late > 0 ? m_distorted : m_reference;
        const bool hasBetter =
            earlier.frames.size() > 1 &&
            std::abs(earlier.frames[1].time - later.frames[0].time) * clearlyNearer < std::abs(late);
        if (std::abs(late) > m_tolerance || hasBetter) {
            drop(earlier);
            continue;
        }
        Pair pair{std::move(references.front()), std::move(distorted.front())};
        references.pop_front();
        distorted.pop_front();
        ++m_pairs;
        return pair;
    }
    return std::nullopt;
}

std::optional<FramePairing::Side> FramePairing::wanted() const
{
    if (!m_reference.isClear() &&
        (m_distorted.isClear() || m_reference.frames.size() <= m_distorted.frames.size()))
        return Side::reference;
    if (!m_distorted.isClear())
        return Side::distorted;
    return std::nullopt;
}

} // namespace kestrel
