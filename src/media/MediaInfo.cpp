#include "media/MediaInfo.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "platform/Text.h"

namespace kestrel {

namespace {

using std::string_view;

struct CodecName {
    string_view codec, display;
};

constexpr std::array<CodecName, 16> videoNames{{
    {"h264", "H.264"},
    {"hevc", "HEVC"},
    {"av1", "AV1"},
    {"vp9", "VP9"},
    {"vp8", "VP8"},
    {"mpeg2video", "MPEG-2"},
    {"mpeg1video", "MPEG-1"},
    {"mpeg4", "MPEG-4 (Xvid)"},
    {"msmpeg4v3", "DivX 3"},
    {"msmpeg4v2", "DivX 3"},
    {"vc1", "VC-1"},
    {"wmv3", "WMV"},
    {"wmv2", "WMV"},
    {"wmv1", "WMV"},
    {"mjpeg", "MJPEG"},
    {"prores", "ProRes"},
}};

constexpr std::array<CodecName, 9> audioNames{{
    {"ac3", "AC3"},
    {"eac3", "E-AC3"},
    {"truehd", "TrueHD"},
    {"aac", "AAC"},
    {"flac", "FLAC"},
    {"mp3", "MP3"},
    {"mp2", "MP2"},
    {"opus", "Opus"},
    {"vorbis", "Vorbis"},
}};

constexpr std::array<CodecName, 10> subtitleNames{{
    {"subrip", "SRT"},
    {"srt", "SRT"},
    {"ass", "ASS"},
    {"ssa", "ASS"},
    {"hdmv_pgs_subtitle", "PGS (Bild)"},
    {"dvd_subtitle", "VobSub (Bild)"},
    {"dvb_subtitle", "DVB (Bild)"},
    {"dvb_teletext", "Videotext"},
    {"mov_text", "MP4-Text"},
    {"webvtt", "WebVTT"},
}};

struct Resolution {
    int width, height; // the class begins where either is reached
    string_view name;
};

constexpr std::array<Resolution, 4> resolutions{{
    {3200, 2000, "2160p"},
    {2200, 1400, "1440p"},
    {1700, 1000, "1080p"},
    {1200, 700, "720p"},
}};

// Holds bits per second where a file does not state them, for at most two channels and for more.
struct NominalRate {
    string_view codec;
    double stereo, multichannel;
};

constexpr std::array<NominalRate, 9> nominalRates{{
    {"ac3", 192'000, 448'000},
    {"eac3", 224'000, 640'000},
    {"truehd", 3'000'000, 3'000'000},
    {"mlp", 3'000'000, 3'000'000},
    {"aac", 160'000, 384'000},
    {"opus", 128'000, 320'000},
    {"vorbis", 128'000, 320'000},
    {"mp3", 192'000, 192'000},
    {"mp2", 192'000, 192'000},
}};
constexpr double otherRate = 256'000;
constexpr double dtsRate = 1'509'000, dtsHdRate = 3'500'000;
constexpr double flacRatePerChannel = 450'000;
constexpr double pcmBitsPerSample = 24, pcmRatePerChannel = 1'152'000;

constexpr double textSubtitleBytes = 60'000;
constexpr double pictureSubtitleRate = 25'000; // bits per second
constexpr double payloadShare = 0.99;          // of a file; the container fills the rest
constexpr double leastVideoShare = 0.2;        // of the total rate, however large the estimate for audio is
constexpr double leastBytesPerSecond = 500;
constexpr double mostSoundPerFile = 2; // by stated rates, which may be nominal

constexpr std::array<string_view, 7> textSubtitles{"subrip",   "srt",    "ass", "ssa",
                                                   "mov_text", "webvtt", "text"};
constexpr std::array<string_view, 4> losslessAudio{"truehd", "mlp", "flac", "alac"};
constexpr std::array<string_view, 4> interlacedOrders{"tt", "bb", "tb", "bt"};
constexpr string_view pcmPrefix = "pcm_";

template <std::size_t Size>
bool holds(const std::array<string_view, Size> &list, string_view value)
{
    return std::find(list.begin(), list.end(), value) != list.end();
}

template <std::size_t Size>
std::string displayName(const std::array<CodecName, Size> &table, const std::string &codec)
{
    const auto *found =
        std::find_if(table.begin(), table.end(), [&](const CodecName &row) { return row.codec == codec; });
    return found == table.end() ? Text::upper(codec) : std::string(found->display);
}

bool isDtsHd(const AudioStreamInfo &stream)
{
    return stream.codec == "dts" && stream.profile && stream.profile->find("DTS-HD") != std::string::npos;
}

} // namespace

FrameSize VideoStreamInfo::seenSize() const
{
    return isOnItsSide() ? FrameSize{height, width} : FrameSize{width, height};
}

double VideoStreamInfo::seenAspect() const
{
    if (width < 1 || height < 1)
        return 0;
    const double aspect = width * pixelAspect / height;
    return isOnItsSide() ? 1 / aspect : aspect;
}

std::string VideoStreamInfo::codecDisplay() const
{
    return displayName(videoNames, codec);
}

std::string VideoStreamInfo::resolutionClass() const
{
    for (const auto &resolution : resolutions)
        if (width >= resolution.width || height >= resolution.height)
            return std::string(resolution.name);
    return height >= 540 ? "576p" : std::to_string(height) + "p";
}

bool VideoStreamInfo::isHDR() const
{
    return colorTransfer == "smpte2084" || colorTransfer == "arib-std-b67";
}

bool VideoStreamInfo::isInterlaced() const
{
    return fieldOrder && holds(interlacedOrders, *fieldOrder);
}

double VideoStreamInfo::effectiveFps() const
{
    return fps > 0 ? fps : 25;
}

std::string AudioStreamInfo::codecDisplay() const
{
    if (codec == "dts")
        return profile.value_or("DTS");
    if (codec.starts_with(pcmPrefix))
        return "PCM";
    return displayName(audioNames, codec);
}

bool AudioStreamInfo::isLossless() const
{
    return holds(losslessAudio, codec) || codec.starts_with(pcmPrefix) || isDtsHd(*this);
}

double AudioStreamInfo::effectiveBitrate() const
{
    if (bitrate && *bitrate >= 1)
        return static_cast<double>(*bitrate);
    if (codec == "dts")
        return isDtsHd(*this) ? dtsHdRate : dtsRate;
    if (codec == "flac" || codec == "alac")
        return std::max(channels, 2) * flacRatePerChannel;
    if (codec.starts_with(pcmPrefix))
        return (sampleRate ? *sampleRate * pcmBitsPerSample : pcmRatePerChannel) * std::max(channels, 1);
    const auto *found = std::find_if(nominalRates.begin(), nominalRates.end(),
                                     [&](const NominalRate &row) { return row.codec == codec; });
    if (found == nominalRates.end())
        return otherRate;
    return channels > 2 ? found->multichannel : found->stereo;
}

std::string SubtitleStreamInfo::codecDisplay() const
{
    return displayName(subtitleNames, codec);
}

bool SubtitleStreamInfo::isText() const
{
    return holds(textSubtitles, codec);
}

double SubtitleStreamInfo::estimatedBytes(double duration) const
{
    if (byteSize)
        return static_cast<double>(*byteSize);
    return isText() ? textSubtitleBytes : duration * pictureSubtitleRate * 0.125;
}

double MediaInfo::playTime() const
{
    if (duration > 0 && canPlayFor(duration))
        return duration;
    return lastPacket && canPlayFor(*lastPacket) ? *lastPacket : 0;
}

bool MediaInfo::canPlayFor(double seconds) const
{
    double soundRate = 0;
    for (const auto &stream : audio)
        soundRate += static_cast<double>(std::max<std::int64_t>(stream.bitrate.value_or(0), 0));
    const auto size = static_cast<double>(fileSize);
    return seconds * soundRate * 0.125 <= size * mostSoundPerFile && seconds * leastBytesPerSecond <= size;
}

bool MediaInfo::isMatroska() const
{
    return formatName.find("matroska") != std::string::npos;
}

double MediaInfo::videoBitrate() const
{
    if (video && video->bitrate && *video->bitrate >= 1)
        return static_cast<double>(*video->bitrate);
    const double seconds = playTime();
    if (!(seconds > 0))
        return 0;
    const double total = static_cast<double>(fileSize) * 8 / seconds;
    double audioRate = 0;
    for (const auto &stream : audio)
        audioRate += stream.effectiveBitrate();
    double subtitleBytes = 0;
    for (const auto &stream : subtitles)
        subtitleBytes += stream.estimatedBytes(seconds);
    const double rest = total * payloadShare - audioRate - subtitleBytes * 8 / seconds;
    return std::max(rest, total * leastVideoShare);
}

} // namespace kestrel
