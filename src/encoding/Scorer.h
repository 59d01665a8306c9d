#pragma once

#include <memory>
#include <stop_token>
#include <string>

#include "encoding/Sampler.h"

namespace kestrel {

// Scores encoded segments of a film against their source. Blocks; throws ToolError or Cancelled.
class Scorer {
public:
    struct Score {
        double vmaf = 0;    // the mean over the scored frames
        std::string scorer; // the name and version of what scored them
    };

    // Returns the scorer for tools.measuring(). REQUIRES: that is not nothing, and `subject` outlives the
    // scorer.
    static std::unique_ptr<Scorer> of(const Sampler::Subject &subject);

    virtual ~Scorer() = default;

    // Scores every `step`-th frame.
    virtual Score score(const MediaInfo &encoded, const Segment &segment, int step,
                        const std::stop_token &stop) const = 0;
};

} // namespace kestrel
