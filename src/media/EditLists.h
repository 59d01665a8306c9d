#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "media/MediaInfo.h"

namespace kestrel {

// Holds the edit list of one track of an MP4 or QuickTime file (ISO/IEC 14496-12, 8.6.6), with what is needed
// to judge it. All times are in seconds.
struct TrackEdits {
    enum class Kind { picture, sound };

    struct Stretch {
        std::optional<double> start; // on the media's own time line; absent for a gap
        double length = 0;           // 0: to the end of the media
        double rate = 1;
        bool operator==(const Stretch &) const = default;
    };

    Kind kind = Kind::picture;
    double begin = 0, end = 0;      // start of the media's first picture or sound, and end of its last
    double frame = 0;               // mean duration of a picture; 0 for sound
    std::vector<Stretch> stretches; // in the order in which they play

    bool operator==(const TrackEdits &) const = default;
};

// Reads edit lists, which ffprobe applies but does not show. May be called from any thread.
namespace EditLists {

// Returns those of the picture and sound tracks that have one. Reads a bounded number of small pieces of the
// file, wherever they lie; a file that cannot be read, or has another format, has none.
std::vector<TrackEdits> read(const std::filesystem::path &file);

// Returns what they do to the film. Pure.
Cut judge(const std::vector<TrackEdits> &tracks);

// Convert for the store of probe answers; what is not understood is left out.
nlohmann::json toJson(const std::vector<TrackEdits> &tracks);
std::vector<TrackEdits> fromJson(const nlohmann::json &list);

} // namespace EditLists

} // namespace kestrel
