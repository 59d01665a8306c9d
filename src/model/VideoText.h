#pragma once

#include <string>

#include "media/MediaInfo.h"
#include "planning/ConversionSettings.h"
#include "planning/Plan.h"

namespace kestrel {

// Describes a file's picture and what becomes of it, in parts that every front combines in the same way.
// German.
struct VideoText {
    std::string resolution; // "1080p"; empty without video
    std::string source;     // "H.264", "HEVC · HDR", "kein Video"
    std::string target;     // "HEVC", "720p HEVC"; empty unless it is encoded
    std::string quality;    // "CRF 23"; likewise
    // Holds "wird neu kodiert: HEVC, CRF 23, 1280×720, Vollbilder", or why it is copied; empty without a
    // plan.
    std::string fate;

    bool operator==(const VideoText &) const = default;

    // Returns "1080p · H.264 → 720p HEVC".
    std::string whole() const;
    // Returns "H.264 → 720p HEVC".
    std::string brief() const;

    static VideoText of(const MediaInfo &info);
    // `settings` are those with which the plan was made.
    static VideoText of(const MediaInfo &info, const Plan &plan, const ConversionSettings &settings);
};

} // namespace kestrel
