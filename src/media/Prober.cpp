#include "media/Prober.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <map>
#include <string_view>

#include <nlohmann/json.hpp>

#include "media/Language.h"
#include "media/ProcessRunner.h"
#include "media/Tools.h"
#include "platform/Cancelled.h"
#include "platform/Files.h"
#include "platform/Text.h"

namespace kestrel::Prober {

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

template <typename Number>
std::optional<Number> parsed(std::string_view text)
{
    Number value{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

std::optional<double> parsedFinite(std::string_view text)
{
    const auto value = parsed<double>(text);
    return value && std::isfinite(*value) ? value : std::nullopt;
}

const json &at(const json &object, const char *key)
{
    static const json missing;
    if (!object.is_object())
        return missing;
    const auto found = object.find(key);
    return found == object.end() ? missing : *found;
}

std::optional<double> asDouble(const json &value)
{
    if (value.is_number())
        return value.get<double>();
    return value.is_string() ? parsedFinite(value.get_ref<const std::string &>()) : std::nullopt;
}

template <typename Integer>
std::optional<Integer> asInteger(const json &value)
{
    if (value.is_string())
        return parsed<Integer>(value.get_ref<const std::string &>());
    if (!value.is_number())
        return std::nullopt;
    const double number = value.get<double>();
    constexpr double limit = static_cast<double>(std::numeric_limits<Integer>::max());
    if (number != std::trunc(number) || std::abs(number) >= limit)
        return std::nullopt;
    return value.is_number_float() ? static_cast<Integer>(number) : value.get<Integer>();
}

std::optional<std::string> asString(const json &value)
{
    return value.is_string() ? std::optional(value.get<std::string>()) : std::nullopt;
}

std::optional<double> frameRate(const json &value)
{
    if (!value.is_string())
        return std::nullopt;
    const std::string_view text = value.get_ref<const std::string &>();
    const std::size_t slash = text.find('/');
    if (slash == std::string_view::npos)
        return std::nullopt;
    const auto numerator = parsedFinite(text.substr(0, slash));
    const auto denominator = parsedFinite(text.substr(slash + 1));
    if (!numerator || !denominator || *numerator <= 0 || *denominator <= 0)
        return std::nullopt;
    const double rate = *numerator / *denominator;
    return rate < 200 ? std::optional(rate) : std::nullopt;
}

// One entry of ffprobe's "streams" with its tags found by lower-case name (Matroska writes BPS-eng).
class Stream {
public:
    explicit Stream(const json &object, int position) : m_object(object), m_position(position)
    {
        const json &tags = at(object, "tags");
        if (tags.is_object())
            for (const auto &[key, value] : tags.items())
                m_tags.emplace(Text::lower(key), value);
    }

    const json &operator[](const char *key) const { return at(m_object, key); }
    json tag(const char *name) const
    {
        const auto found = m_tags.find(name);
        return found == m_tags.end() ? json() : found->second;
    }

    std::string kind() const { return asString(at(m_object, "codec_type")).value_or(""); }
    int index() const { return asInteger<int>(at(m_object, "index")).value_or(m_position); }
    std::string codec() const { return asString(at(m_object, "codec_name")).value_or("unbekannt"); }
    std::optional<std::string> title() const { return asString(tag("title")); }
    std::string language() const { return Language::normalize(asString(tag("language")), title()); }
    bool has(const char *disposition) const
    {
        return asInteger<int>(at(at(m_object, "disposition"), disposition)) == 1;
    }
    std::optional<std::int64_t> bitrate() const
    {
        if (const auto rate = asInteger<std::int64_t>(at(m_object, "bit_rate")))
            return rate;
        return statistic("bps");
    }
    std::optional<std::int64_t> statistic(const std::string &name) const
    {
        if (const auto value = asInteger<std::int64_t>(tag((name + "-eng").c_str())))
            return value;
        return asInteger<std::int64_t>(tag(name.c_str()));
    }

private:
    const json &m_object;
    int m_position;
    std::map<std::string, json, std::less<>> m_tags;
};

int bitDepth(const Stream &stream, const std::optional<std::string> &pixFmt)
{
    if (const auto bits = asInteger<int>(stream["bits_per_raw_sample"]))
        return *bits;
    if (pixFmt && pixFmt->find("10") != std::string::npos)
        return 10;
    return pixFmt && pixFmt->find("12") != std::string::npos ? 12 : 8;
}

bool isDolbyVision(const json &sideData)
{
    return sideData.is_array() && std::any_of(sideData.begin(), sideData.end(), [](const json &entry) {
               return asString(at(entry, "side_data_type")).value_or("").find("DOVI") != std::string::npos;
           });
}

VideoStreamInfo parseVideo(const Stream &stream)
{
    VideoStreamInfo video;
    video.index = stream.index();
    video.codec = stream.codec();
    video.profile = asString(stream["profile"]);
    video.width = asInteger<int>(stream["width"]).value_or(0);
    video.height = asInteger<int>(stream["height"]).value_or(0);
    video.fps = frameRate(stream["avg_frame_rate"]).value_or(frameRate(stream["r_frame_rate"]).value_or(0));
    video.pixFmt = asString(stream["pix_fmt"]);
    video.bitDepth = bitDepth(stream, video.pixFmt);
    video.fieldOrder = asString(stream["field_order"]);
    video.colorTransfer = asString(stream["color_transfer"]);
    video.colorPrimaries = asString(stream["color_primaries"]);
    video.colorSpace = asString(stream["color_space"]);
    video.bitrate = stream.bitrate();
    video.isDolbyVision = isDolbyVision(stream["side_data_list"]);
    return video;
}

AudioStreamInfo parseAudio(const Stream &stream)
{
    AudioStreamInfo audio;
    audio.index = stream.index();
    audio.codec = stream.codec();
    audio.profile = asString(stream["profile"]);
    audio.channels = asInteger<int>(stream["channels"]).value_or(0);
    audio.language = stream.language();
    audio.title = stream.title();
    audio.bitrate = stream.bitrate();
    audio.sampleRate = asInteger<int>(stream["sample_rate"]);
    audio.isDefault = stream.has("default");
    audio.isForced = stream.has("forced");
    audio.isCommentary =
        stream.has("comment") || stream.has("visual_impaired") || Language::looksLikeCommentary(audio.title);
    return audio;
}

SubtitleStreamInfo parseSubtitle(const Stream &stream)
{
    SubtitleStreamInfo subtitle;
    subtitle.index = stream.index();
    subtitle.codec = stream.codec();
    subtitle.language = stream.language();
    subtitle.title = stream.title();
    subtitle.isForced =
        stream.has("forced") || Text::lower(subtitle.title.value_or("")).find("forced") != std::string::npos;
    subtitle.isDefault = stream.has("default");
    subtitle.byteSize = stream.statistic("number_of_bytes");
    return subtitle;
}

// The container's duration, else the video stream's, else the first that a stream states.
double parseDuration(const json &format, const json &streams)
{
    if (const auto duration = asDouble(at(format, "duration")))
        return *duration;
    std::optional<double> first;
    for (const json &stream : streams) {
        const auto duration = asDouble(at(stream, "duration"));
        if (duration && asString(at(stream, "codec_type")) == "video")
            return *duration;
        if (!first)
            first = duration;
    }
    return first.value_or(0);
}

} // namespace

std::string ask(const fs::path &file, const fs::path &ffprobe, std::stop_token stop)
{
    ProcessOutput output = ProcessRunner::run(
        ffprobe, {"-v", "error", "-print_format", "json", "-show_format", "-show_streams", file.native()},
        stop);
    throwIfStopped(stop);
    if (output.status != 0) {
        const std::string errors = output.errorText();
        const std::string_view text = Text::trimmed(errors);
        throw text.empty() ? ToolError::failed("Datei konnte nicht gelesen werden")
                           : ToolError::quoted(std::string(text));
    }
    return std::move(output.standardOutput);
}

MediaInfo read(const std::string &answer, const fs::path &file, const Files::Attributes &attributes)
{
    const json object = json::parse(answer);
    if (!object.is_object())
        throw ToolError::failed("ffprobe lieferte keine lesbare Antwort");
    return parse(object, file, attributes.size, asTime(attributes.modified));
}

MediaInfo probe(const fs::path &file, const fs::path &ffprobe, std::stop_token stop)
{
    const std::string answer = ask(file, ffprobe, std::move(stop));
    return read(answer, file, Files::attributes(file));
}

FileTime asTime(const timespec &time)
{
    return FileTime(std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec));
}

MediaInfo parse(const json &answer, const fs::path &file, std::int64_t fileSize, FileTime modified)
{
    static const json none = json::array();
    const json &format = at(answer, "format");
    const json &streams = at(answer, "streams").is_array() ? at(answer, "streams") : none;

    MediaInfo info;
    info.url = file;
    info.fileSize = fileSize;
    info.modified = modified;
    info.duration = parseDuration(format, streams);
    info.formatName = asString(at(format, "format_name")).value_or("");
    int position = 0;
    for (const json &object : streams) {
        const Stream stream(object, position++);
        const std::string kind = stream.kind();
        if (kind == "video" && !info.video && !stream.has("attached_pic"))
            info.video = parseVideo(stream);
        else if (kind == "audio")
            info.audio.push_back(parseAudio(stream));
        else if (kind == "subtitle")
            info.subtitles.push_back(parseSubtitle(stream));
        else if (kind == "attachment")
            info.attachmentIndexes.push_back(stream.index());
    }
    return info;
}

} // namespace kestrel::Prober
