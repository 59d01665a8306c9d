#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include <nlohmann/json_fwd.hpp>

#include "media/MediaInfo.h"
#include "media/Tools.h"

namespace kestrel {

// Defines the user's choices, with their German labels and the constants that depend on them. Everything here
// is pure and may be called from any thread.

enum class VideoCodecChoice { hevcX265, av1SVT, keepVideo };
enum class QualityLevel { maximal, veryHigh, high, medium, small };
// SpeedLevel is no user setting: everything runs at `normal`.
enum class SpeedLevel { fast, normal };
enum class TargetResolution { original, p2160, p1440, p1080, p720, p576 };
enum class OutputContainer { mkv, mp4 };
enum class OutputMode { replaceOriginal, separateFolder };
enum class UnknownAudioPolicy { keepAll, keepDefault };

// Includes both ends.
struct QualityRange {
    int lowest = 0, highest = 0;
};

// Return the case's name in settings files, keys and on the command line.
std::string_view id(VideoCodecChoice codec);
std::string_view id(QualityLevel quality);
std::string_view id(TargetResolution resolution);
std::string_view id(OutputContainer container);
std::string_view id(OutputMode mode);
std::string_view id(UnknownAudioPolicy policy);

// Return all cases in order.
std::span<const VideoCodecChoice> allCodecs();
std::span<const QualityLevel> allQualities();
std::span<const TargetResolution> allResolutions();
std::span<const OutputContainer> allContainers();
std::span<const OutputMode> allOutputModes();
std::span<const UnknownAudioPolicy> allUnknownAudioPolicies();

// Return German labels.
std::string_view title(VideoCodecChoice codec);
std::string_view title(QualityLevel quality);
std::string_view title(SpeedLevel speed);
std::string_view title(TargetResolution resolution);
std::string_view title(OutputContainer container);
std::string_view title(OutputMode mode);
std::string_view title(UnknownAudioPolicy policy);
std::string_view shortName(VideoCodecChoice codec);
std::string_view summary(VideoCodecChoice codec);
std::string_view explanation(QualityLevel quality);
std::string qualityLabel(VideoCodecChoice codec, QualityLevel quality);
std::string qualityLabel(VideoCodecChoice codec, int qualityValue);
std::string speedLabel(VideoCodecChoice codec, SpeedLevel speed);

// Returns ffprobe's name of what the codec produces; none when the video is kept.
std::optional<std::string_view> outputCodec(VideoCodecChoice codec);
int qualityValue(VideoCodecChoice codec, QualityLevel quality); // CRF
QualityRange qualityRange(VideoCodecChoice codec);              // CRFs that the quality search may use
double vmafSlope(VideoCodecChoice codec);                       // VMAF change for each CRF step
std::string_view preset(VideoCodecChoice codec, SpeedLevel speed);
double efficiency(VideoCodecChoice codec, SpeedLevel speed); // size factor of the preset
double throughput(VideoCodecChoice codec, SpeedLevel speed); // megapixels per second
double parallelGain(VideoCodecChoice codec, std::int64_t jobs);
std::string_view encoder(VideoCodecChoice codec); // ffmpeg's name of it; empty where the video is kept
bool supports(const Tools &tools, VideoCodecChoice codec);

double vmafTarget(QualityLevel quality);     // mean VMAF that the quality search aims at
double referenceRatio(QualityLevel quality); // relative size in the size heuristic
int rawValue(QualityLevel quality);          // 0 … 4
std::optional<FrameSize> maxSize(TargetResolution resolution);
std::string_view fileExtension(OutputContainer container);

struct ConversionSettings {
    VideoCodecChoice codec = VideoCodecChoice::hevcX265;
    QualityLevel quality = QualityLevel::high;
    TargetResolution resolution = TargetResolution::original;
    std::set<std::string> audioLanguages{"deu"}; // canonical codes whose tracks are kept
    bool dropCommentary = true;
    UnknownAudioPolicy unknownAudio = UnknownAudioPolicy::keepAll;
    bool convertLosslessAudio = false;
    OutputContainer container = OutputContainer::mkv;
    OutputMode outputMode = OutputMode::replaceOriginal;
    std::int64_t parallelJobs = 2; // below 1: all files at once
    bool preventSleep = true;
    bool statusPage = true;

    bool operator==(const ConversionSettings &) const = default;

    // Returns a key of everything that shapes the video stream; samples are stored under it.
    std::string videoKey() const;

    nlohmann::ordered_json toJson() const;
    // Returns the settings, in which a field that is missing or cannot be understood keeps its default;
    // absent when the value is no object at all.
    static std::optional<ConversionSettings> fromJson(const nlohmann::json &value);
};

} // namespace kestrel
