#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include <nlohmann/json_fwd.hpp>

#include "media/MediaInfo.h"

namespace kestrel {

// What the edit list of one track of an MP4 or QuickTime file says (ISO/IEC 14496-12, 8.6.6), with what is
// needed to judge it. All times are seconds.
struct TrackEdits {
    enum class Kind { picture, sound };

    struct Stretch {
        std::optional<double> start; // on the media's own time line; absent for a gap
        double length = 0;           // 0: to the end of the media
        double rate = 1;
        bool operator==(const Stretch &) const = default;
    };

    Kind kind = Kind::picture;
    double begin = 0, end = 0;      // when the media's first picture or sound is due, and when its last ends
    double frame = 0;               // for how long a picture lasts on average; 0 for sound
    std::vector<Stretch> stretches; // in the order in which they play

    bool operator==(const TrackEdits &) const = default;
};

// ffprobe applies edit lists, but does not show them. Any thread.
namespace EditLists {

// Those of the pictures and sounds that have one. Reads a bounded number of small pieces of the file,
// wherever they lie; what cannot be read, or is no such file, has none.
std::vector<TrackEdits> read(const std::filesystem::path &file);

// What they do to the film. Pure.
Cut judge(const std::vector<TrackEdits> &tracks);

// For the store of probe answers; what is not understood is left out.
nlohmann::json toJson(const std::vector<TrackEdits> &tracks);
std::vector<TrackEdits> fromJson(const nlohmann::json &list);

} // namespace EditLists

} // namespace kestrel
