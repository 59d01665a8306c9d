#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace kestrel {

// One file as ffprobe describes it. All records are plain values; the member functions are pure.

using FileTime = std::chrono::sys_time<std::chrono::nanoseconds>;

struct VideoStreamInfo {
    int index = 0;     // as ffprobe numbers streams, over all kinds
    std::string codec; // ffprobe's name, for example "h264"
    std::optional<std::string> profile;
    int width = 0, height = 0; // pixels
    double fps = 0;            // frames per second, 0 when unknown
    std::optional<std::string> pixFmt;
    int bitDepth = 8;
    std::optional<std::string> fieldOrder; // "progressive", "tt", "bb", "tb", "bt"
    std::optional<std::string> colorTransfer, colorPrimaries, colorSpace;
    std::optional<std::int64_t> bitrate; // bits per second
    bool isDolbyVision = false;

    bool operator==(const VideoStreamInfo &) const = default;

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
    // Every DTS-HD profile counts, also the lossy High Resolution one.
    bool isLossless() const;
    double effectiveBitrate() const; // bits per second; nominal where the file does not tell
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
    double duration = 0; // seconds, 0 when unknown
    std::string formatName;
    std::optional<VideoStreamInfo> video;
    std::vector<AudioStreamInfo> audio;
    std::vector<SubtitleStreamInfo> subtitles;
    std::vector<int> attachmentIndexes;

    bool operator==(const MediaInfo &) const = default;

    bool isMatroska() const;
    double videoBitrate() const; // bits per second, 0 when it cannot be told
};

} // namespace kestrel
