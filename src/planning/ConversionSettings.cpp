#include "planning/ConversionSettings.h"

#include <algorithm>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "platform/Enumeration.h"
#include "platform/Wording.h"

namespace kestrel {

using nlohmann::json;

namespace {

using std::string_view;

struct CodecTraits {
    VideoCodecChoice codec;
    string_view id, title, shortName, summary;
    string_view outputCodec; // ffprobe's name; empty where the video is kept, like the next field
    string_view encoder;     // ffmpeg's name
    std::array<int, 5> crf;  // by QualityLevel
    QualityRange crfRange;
    double vmafSlope;
    std::array<string_view, 2> preset;  // by SpeedLevel, like the next fields
    std::array<double, 2> efficiency;   // size factor
    std::array<double, 2> throughput;   // megapixels per second
    std::array<double, 4> parallelGain; // by the number of jobs, from 1
};

// clang-format off
constexpr std::array<CodecTraits, 3> codecTraits{{
    {VideoCodecChoice::hevcX265, "hevcX265", "HEVC / H.265", "HEVC",
     "Etwa halb so groß wie H.264 bei gleicher Qualität", "hevc", "libx265",
     {19, 21, 23, 25, 28}, {14, 36}, -0.6,
     {"medium", "slow"}, {1.25, 1.0}, {125, 45}, {1.0, 1.4, 1.4, 1.4}},
    {VideoCodecChoice::av1SVT, "av1SVT", "AV1", "AV1",
     {}, "av1", "libsvtav1", // see summary()
     {14, 19, 23, 27, 32}, {8, 50}, -0.28,
     {"8", "6"}, {1.3, 0.9}, {440, 230}, {1.0, 1.2, 1.22, 1.22}},
    {VideoCodecChoice::keepVideo, "keepVideo", "Codec beibehalten", "beibehalten",
     "Keine Änderung an der Videospur", "", "",
     {0, 0, 0, 0, 0}, {0, 0}, 0.0,
     {"", ""}, {1.0, 1.0}, {10000, 10000}, {1.0, 1.3, 1.4, 1.4}},
}};
// clang-format on
static_assert(coversEveryCase(codecTraits, &CodecTraits::codec));
static_assert(std::tuple_size_v<decltype(CodecTraits::crf)> == caseCount<QualityLevel>);
static_assert(std::tuple_size_v<decltype(CodecTraits::preset)> == caseCount<SpeedLevel>);
static_assert(std::tuple_size_v<decltype(CodecTraits::efficiency)> == caseCount<SpeedLevel>);
static_assert(std::tuple_size_v<decltype(CodecTraits::throughput)> == caseCount<SpeedLevel>);

struct QualityTraits {
    QualityLevel quality;
    string_view id, title;
    double vmafTarget, referenceRatio;
    string_view explanation;
};

constexpr std::array<QualityTraits, 5> qualityTraits{{
    {QualityLevel::maximal, "maximal", "Maximal", 96.9, 1.3,
     "Praktisch identisch mit dem Original – spart aber kaum Platz, weil auch das Rauschen der Vorlage "
     "erhalten bleibt."},
    {QualityLevel::veryHigh, "veryHigh", "Sehr hoch", 96.0, 0.77,
     "Auch im Standbild-Vergleich kaum zu unterscheiden."},
    {QualityLevel::high, "high", "Hoch", 95.0, 0.52,
     "Kein sichtbarer Unterschied bei normalem Sehabstand. Bester Kompromiss."},
    {QualityLevel::medium, "medium", "Mittel", 94.0, 0.35,
     "Bei genauem Hinsehen minimal weicher, für Serien meist unauffällig."},
    {QualityLevel::small, "small", "Gering", 92.5, 0.195,
     "Sichtbar weicher, Details und Körnung gehen verloren."},
}};
static_assert(coversEveryCase(qualityTraits, &QualityTraits::quality));

struct ResolutionTraits {
    TargetResolution resolution;
    string_view id, title;
    FrameSize maxSize; // 0 × 0: none
};

constexpr std::array<ResolutionTraits, 6> resolutionTraits{{
    {TargetResolution::original, "original", "Wie Original", {0, 0}},
    {TargetResolution::p2160, "p2160", "Höchstens 2160p (4K)", {3840, 2160}},
    {TargetResolution::p1440, "p1440", "Höchstens 1440p", {2560, 1440}},
    {TargetResolution::p1080, "p1080", "Höchstens 1080p (Full HD)", {1920, 1080}},
    {TargetResolution::p720, "p720", "Höchstens 720p (HD)", {1280, 720}},
    {TargetResolution::p576, "p576", "Höchstens 576p (SD)", {1024, 576}},
}};
static_assert(coversEveryCase(resolutionTraits, &ResolutionTraits::resolution));

template <typename Enumeration>
struct Label {
    Enumeration value;
    string_view id, title;
};

constexpr std::array<Label<OutputContainer>, 2> containerLabels{{
    {OutputContainer::mkv, "mkv", "MKV"},
    {OutputContainer::mp4, "mp4", "MP4"},
}};
static_assert(coversEveryCase(containerLabels, &Label<OutputContainer>::value));

constexpr std::array<Label<OutputMode>, 2> modeLabels{{
    {OutputMode::replaceOriginal, "replaceOriginal", "Original ersetzen"},
    {OutputMode::separateFolder, "separateFolder", "Original beibehalten"},
}};
static_assert(coversEveryCase(modeLabels, &Label<OutputMode>::value));

constexpr std::array<Label<UnknownAudioPolicy>, 2> policyLabels{{
    {UnknownAudioPolicy::keepAll, "keepAll", "Alle behalten"},
    {UnknownAudioPolicy::keepDefault, "keepDefault", "Nur Standardspur"},
}};
static_assert(coversEveryCase(policyLabels, &Label<UnknownAudioPolicy>::value));

// Every table is in the order of its enumeration.
template <typename Table, typename Enumeration>
constexpr const auto &row(const Table &table, Enumeration value)
{
    return table[static_cast<std::size_t>(value)];
}

constexpr auto codecCases = everyCase<VideoCodecChoice>();
constexpr auto qualityCases = everyCase<QualityLevel>();
constexpr auto resolutionCases = everyCase<TargetResolution>();
constexpr auto containerCases = everyCase<OutputContainer>();
constexpr auto modeCases = everyCase<OutputMode>();
constexpr auto policyCases = everyCase<UnknownAudioPolicy>();

void read(const json &value, bool &field)
{
    if (value.is_boolean())
        field = value.get<bool>();
}

void read(const json &value, std::int64_t &field)
{
    if (value.is_number_integer() && !(value.is_number_unsigned() && value.get<std::uint64_t>() > INT64_MAX))
        field = value.get<std::int64_t>();
}

void read(const json &value, std::set<std::string> &field)
{
    if (!value.is_array() ||
        !std::all_of(value.begin(), value.end(), [](const json &entry) { return entry.is_string(); }))
        return;
    field.clear();
    for (const json &entry : value)
        field.insert(entry.get<std::string>());
}

void read(const json &value, QualityLevel &field)
{
    if (value.is_number_integer() && value >= 0 && value < static_cast<int>(qualityCases.size()))
        field = static_cast<QualityLevel>(value.get<int>());
}

template <typename Enumeration>
requires std::is_enum_v<Enumeration>
void read(const json &value, Enumeration &field, std::span<const Enumeration> cases)
{
    for (const Enumeration candidate : cases)
        if (value.is_string() && value.get_ref<const std::string &>() == id(candidate))
            field = candidate;
}

} // namespace

// clang-format off
string_view id(VideoCodecChoice codec) { return row(codecTraits, codec).id; }
string_view id(QualityLevel quality) { return row(qualityTraits, quality).id; }
string_view id(TargetResolution resolution) { return row(resolutionTraits, resolution).id; }
string_view id(OutputContainer container) { return row(containerLabels, container).id; }
string_view id(OutputMode mode) { return row(modeLabels, mode).id; }
string_view id(UnknownAudioPolicy policy) { return row(policyLabels, policy).id; }

std::span<const VideoCodecChoice> allCodecs() { return codecCases; }
std::span<const QualityLevel> allQualities() { return qualityCases; }
std::span<const TargetResolution> allResolutions() { return resolutionCases; }
std::span<const OutputContainer> allContainers() { return containerCases; }
std::span<const OutputMode> allOutputModes() { return modeCases; }
std::span<const UnknownAudioPolicy> allUnknownAudioPolicies() { return policyCases; }

string_view title(VideoCodecChoice codec) { return row(codecTraits, codec).title; }
string_view title(QualityLevel quality) { return row(qualityTraits, quality).title; }
string_view title(SpeedLevel speed) { return speed == SpeedLevel::fast ? "Schnell" : "Normal"; }
string_view title(TargetResolution resolution) { return row(resolutionTraits, resolution).title; }
string_view title(OutputContainer container) { return row(containerLabels, container).title; }
string_view title(OutputMode mode) { return row(modeLabels, mode).title; }
string_view title(UnknownAudioPolicy policy) { return row(policyLabels, policy).title; }
string_view shortName(VideoCodecChoice codec) { return row(codecTraits, codec).shortName; }
string_view summary(VideoCodecChoice codec)
{
    return codec == VideoCodecChoice::av1SVT ? Wording::text(Words::av1Summary) : row(codecTraits, codec).summary;
}
string_view explanation(QualityLevel quality) { return row(qualityTraits, quality).explanation; }
// clang-format on

std::string qualityLabel(VideoCodecChoice codec, QualityLevel quality)
{
    return qualityLabel(codec, qualityValue(codec, quality));
}

std::string qualityLabel(VideoCodecChoice codec, int value)
{
    return codec == VideoCodecChoice::keepVideo ? "unverändert" : fmt::format("CRF {}", value);
}

std::string speedLabel(VideoCodecChoice codec, SpeedLevel speed)
{
    switch (codec) {
    case VideoCodecChoice::hevcX265:
        return fmt::format("Preset „{}“", preset(codec, speed));
    case VideoCodecChoice::av1SVT:
        return fmt::format("Preset {}", preset(codec, speed));
    case VideoCodecChoice::keepVideo:
        break;
    }
    return "–";
}

std::optional<string_view> outputCodec(VideoCodecChoice codec)
{
    const string_view name = row(codecTraits, codec).outputCodec;
    return name.empty() ? std::nullopt : std::optional(name);
}

int qualityValue(VideoCodecChoice codec, QualityLevel quality)
{
    return row(row(codecTraits, codec).crf, quality);
}

QualityRange qualityRange(VideoCodecChoice codec)
{
    return row(codecTraits, codec).crfRange;
}
double vmafSlope(VideoCodecChoice codec)
{
    return row(codecTraits, codec).vmafSlope;
}

string_view preset(VideoCodecChoice codec, SpeedLevel speed)
{
    return row(row(codecTraits, codec).preset, speed);
}

double efficiency(VideoCodecChoice codec, SpeedLevel speed)
{
    return row(row(codecTraits, codec).efficiency, speed);
}

double throughput(VideoCodecChoice codec, SpeedLevel speed)
{
    return row(row(codecTraits, codec).throughput, speed);
}

double parallelGain(VideoCodecChoice codec, std::int64_t jobs)
{
    const auto &gains = row(codecTraits, codec).parallelGain;
    return gains[static_cast<std::size_t>(std::clamp<std::int64_t>(jobs, 1, 4) - 1)];
}

string_view encoder(VideoCodecChoice codec)
{
    return row(codecTraits, codec).encoder;
}

bool supports(const Tools &tools, VideoCodecChoice codec)
{
    return encoder(codec).empty() || tools.hasEncoder(encoder(codec));
}

double vmafTarget(QualityLevel quality)
{
    return row(qualityTraits, quality).vmafTarget;
}
double referenceRatio(QualityLevel quality)
{
    return row(qualityTraits, quality).referenceRatio;
}
int rawValue(QualityLevel quality)
{
    return static_cast<int>(quality);
}

std::optional<FrameSize> maxSize(TargetResolution resolution)
{
    const FrameSize size = row(resolutionTraits, resolution).maxSize;
    return size.width == 0 ? std::nullopt : std::optional(size);
}

string_view fileExtension(OutputContainer container)
{
    return id(container);
}

std::string ConversionSettings::videoKey() const
{
    return fmt::format("{}-{}-{}-{}", id(codec), rawValue(quality), static_cast<int>(SpeedLevel::normal),
                       id(resolution));
}

nlohmann::ordered_json ConversionSettings::toJson() const
{
    return {
        {"codec", id(codec)},
        {"quality", rawValue(quality)},
        {"resolution", id(resolution)},
        {"audioLanguages", audioLanguages},
        {"dropCommentary", dropCommentary},
        {"unknownAudio", id(unknownAudio)},
        {"convertLosslessAudio", convertLosslessAudio},
        {"container", id(container)},
        {"outputMode", id(outputMode)},
        {"parallelJobs", parallelJobs},
        {"preventSleep", preventSleep},
        {"statusPage", statusPage},
    };
}

std::optional<ConversionSettings> ConversionSettings::fromJson(const json &value)
{
    if (!value.is_object())
        return std::nullopt;
    const auto field = [&](const char *key) {
        const auto found = value.find(key);
        return found == value.end() ? json() : *found;
    };
    ConversionSettings settings;
    read(field("codec"), settings.codec, allCodecs());
    read(field("quality"), settings.quality);
    read(field("resolution"), settings.resolution, allResolutions());
    read(field("audioLanguages"), settings.audioLanguages);
    read(field("dropCommentary"), settings.dropCommentary);
    read(field("unknownAudio"), settings.unknownAudio, allUnknownAudioPolicies());
    read(field("convertLosslessAudio"), settings.convertLosslessAudio);
    read(field("container"), settings.container, allContainers());
    read(field("outputMode"), settings.outputMode, allOutputModes());
    read(field("parallelJobs"), settings.parallelJobs);
    read(field("preventSleep"), settings.preventSleep);
    read(field("statusPage"), settings.statusPage);
    return settings;
}

} // namespace kestrel
