#pragma once

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "media/MediaInfo.h"

namespace kestrel {

// VideoAction says what happens to the video stream. The reason for a copy is shown to the user.
struct CopyVideo {
    std::string reason;
    bool operator==(const CopyVideo &) const = default;
};
struct EncodeVideo {
    bool operator==(const EncodeVideo &) const = default;
};
struct NoVideo {
    bool operator==(const NoVideo &) const = default;
};
using VideoAction = std::variant<NoVideo, CopyVideo, EncodeVideo>;

enum class StreamAction { keep, convert, drop };

struct AudioDecision {
    AudioStreamInfo stream;
    StreamAction action = StreamAction::keep;
    std::string reason;                // German
    int targetBitrate = 0;             // bits per second, 0 unless converted
    std::optional<int> targetChannels; // only when their number is reduced

    bool operator==(const AudioDecision &) const = default;
    double outputBitrate() const; // bits per second, 0 when dropped
};

struct SubtitleDecision {
    SubtitleStreamInfo stream;
    StreamAction action = StreamAction::keep;
    std::string reason;                     // German
    std::optional<std::string> targetCodec; // only when converted

    bool operator==(const SubtitleDecision &) const = default;
};

// Describes what a conversion does with one file. Planner makes it; it is a plain value.
struct Plan {
    VideoAction video;
    // The size in pixels, 0 without video: an encode's as it is seen, because encoding turns the picture, and
    // a copy's as it is coded.
    int outputWidth = 0, outputHeight = 0;
    bool deinterlace = false;
    std::vector<AudioDecision> audio;        // one for each source stream, in source order
    std::vector<SubtitleDecision> subtitles; // likewise
    std::vector<int> attachments;            // stream indexes that are carried over
    std::vector<std::string> notes;          // German remarks in the order they arise
    bool isNoop = false;                     // the conversion would change nothing
    // The reason why the file is left as it is, whatever the settings; German. Such a plan is a no-op.
    std::optional<std::string> leftAlone;
    bool scales = false;  // the output size differs from the source's
    int qualityValue = 0; // CRF for encoding

    bool operator==(const Plan &) const = default;

    bool encodesVideo() const { return std::holds_alternative<EncodeVideo>(video); }
    bool hasVideo() const { return !std::holds_alternative<NoVideo>(video); }
    std::vector<const AudioDecision *> keptAudio() const;
    std::vector<const SubtitleDecision *> keptSubtitles() const;
    std::optional<std::string> deinterlaceFilter() const;
    std::vector<std::string> videoFilters() const; // ffmpeg filters, in order
};

} // namespace kestrel
