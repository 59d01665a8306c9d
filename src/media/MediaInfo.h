#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace kestrel {

// These records describe one file as ffprobe does. They are plain values; the member functions are pure.

using FileTime = std::chrono::sys_time<std::chrono::nanoseconds>;

struct FrameSize { // pixels
    int width = 0, height = 0;
    bool operator==(const FrameSize &) const = default;
};

// Says what a container's edit list leaves out of its tracks or rearranges. A list that only compensates for
// a decoder's delay, or lets a track begin later, does not count.
enum class Cut {
    none,
    sound,      // sound at the beginning or the end
    picture,    // pictures, and maybe sound
    rearranged, // several stretches, gaps between them, or another speed
};

struct VideoStreamInfo {
    int index = 0;     // as ffprobe numbers streams, over all kinds
    std::string codec; // ffprobe's name, for example "h264"
    std::optional<std::string> profile;
    int width = 0, height = 0; // pixels, as coded
    double fps = 0;            // frames per second, 0 when unknown
    std::optional<std::string> pixFmt;
    int bitDepth = 8;
    std::optional<std::string> fieldOrder; // "progressive", "tt", "bb", "tb", "bt"
    std::optional<std::string> colorTransfer, colorPrimaries, colorSpace;
    bool isFullRange = false;            // luma from 0 to the largest value, as in JPEG
    std::optional<std::int64_t> bitrate; // bits per second
    bool isDolbyVision = false;
    int rotation = 0;        // degrees clockwise by which a player turns the picture: 0, 90, 180 or 270
    bool isMirrored = false; // a player flips it vertically before it turns it
    // The turn is another angle, or stands only in the old "rotate" tag, which not every player follows.
    bool hasDoubtfulTurn = false;
    double pixelAspect = 1; // width over height of a pixel; square where the file does not state it
    bool isFirst = true;    // of the file's video tracks, cover art included

    bool operator==(const VideoStreamInfo &) const = default;

    bool isTurned() const { return rotation != 0 || isMirrored || hasDoubtfulTurn; }
    // Returns whether a player exchanges width and height.
    bool isOnItsSide() const { return rotation == 90 || rotation == 270; }
    FrameSize seenSize() const; // pixels, as a player turns them
    double seenAspect() const;  // width over height of the picture as it is seen; 0 when unknown
    std::string codecDisplay() const;
    std::string resolutionClass() const; // "2160p" … "576p", or the height
    bool isHDR() const;                  // PQ or HLG
    bool isInterlaced() const;
    double effectiveFps() const; // fps, or 25 when unknown
};

struct AudioStreamInfo {
    int index = 0;
    std::string codec;
    std::optional<std::string> profile;
    int channels = 0;
    std::string language; // canonical, "und" when unknown
    std::optional<std::string> title;
    std::optional<std::int64_t> bitrate; // bits per second
    std::optional<int> sampleRate;       // samples per second
    bool isDefault = false, isForced = false;
    bool isCommentary = false; // commentary or audio description

    bool operator==(const AudioStreamInfo &) const = default;

    std::string codecDisplay() const;
    // Every DTS-HD profile counts as lossless, also the lossy High Resolution one.
    bool isLossless() const;
    double effectiveBitrate() const; // bits per second; nominal where the file does not state it
};

struct SubtitleStreamInfo {
    int index = 0;
    std::string codec;
    std::string language;
    std::optional<std::string> title;
    bool isForced = false, isDefault = false;
    std::optional<std::int64_t> byteSize;

    bool operator==(const SubtitleStreamInfo &) const = default;

    std::string codecDisplay() const;
    bool isText() const;
    double estimatedBytes(double duration) const; // duration in seconds
};

struct MediaInfo {
    std::filesystem::path url; // byte for byte as the system names it
    std::int64_t fileSize = 0; // bytes
    FileTime modified;
    double duration = 0; // seconds as the container states them, 0 when unknown
    std::string formatName;
    std::optional<VideoStreamInfo> video;
    std::vector<AudioStreamInfo> audio;
    std::vector<SubtitleStreamInfo> subtitles;
    std::vector<int> attachmentIndexes;
    bool hasSeveralFilms = false; // more than one video track that is neither cover art nor a still
    Cut cut = Cut::none;
    // The time in seconds at which the last packet ends; read only when the duration is unknown or cannot be
    // true.
    std::optional<double> lastPacket;

    bool operator==(const MediaInfo &) const = default;

    // Returns how long the film plays, in seconds, 0 when unknown: the duration, or where the last packet
    // ends. All calculations with time use it.
    double playTime() const;
    // Returns whether a file of this size can last that long: its sound at the stated rates fits in twice,
    // and each second has at least 500 bytes.
    bool canPlayFor(double seconds) const;
    bool isMatroska() const;
    double videoBitrate() const; // bits per second, 0 when it is unknown
};

} // namespace kestrel
