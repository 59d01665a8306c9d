// This file holds the part of Prober that reads ffprobe's answer.

#include "media/ProbeAnswer.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <map>
#include <sstream>
#include <string_view>

#include <nlohmann/json.hpp>

#include "media/EditLists.h"
#include "media/Language.h"
#include "media/ProbeSupplement.h"
#include "media/Prober.h"
#include "platform/Text.h"

namespace kestrel {

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

} // namespace

const json &ProbeAnswer::at(const json &object, const char *key)
{
    static const json missing;
    if (!object.is_object())
        return missing;
    const auto found = object.find(key);
    return found == object.end() ? missing : *found;
}

std::optional<double> ProbeAnswer::asDouble(const json &value)
{
    if (value.is_number())
        return value.get<double>();
    return value.is_string() ? parsedFinite(value.get_ref<const std::string &>()) : std::nullopt;
}

std::optional<std::string> ProbeAnswer::asString(const json &value)
{
    return value.is_string() ? std::optional(value.get<std::string>()) : std::nullopt;
}

namespace {

using ProbeAnswer::asDouble;
using ProbeAnswer::asString;
using ProbeAnswer::at;

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

// Reads one entry of ffprobe's "streams" and finds tags by lower-case name (Matroska writes BPS-eng).
class Stream {
public:
    explicit Stream(const json &object, int position) : m_object(&object), m_position(position)
    {
        const json &tags = at(object, "tags");
        if (tags.is_object())
            for (const auto &[key, value] : tags.items())
                m_tags.emplace(Text::lower(key), value);
    }

    const json &operator[](const char *key) const { return at(*m_object, key); }
    json tag(const char *name) const
    {
        const auto found = m_tags.find(name);
        return found == m_tags.end() ? json() : found->second;
    }

    std::string kind() const { return asString(at(*m_object, "codec_type")).value_or(""); }
    int index() const { return asInteger<int>(at(*m_object, "index")).value_or(m_position); }
    std::string codec() const { return asString(at(*m_object, "codec_name")).value_or("unbekannt"); }
    std::optional<std::string> title() const { return asString(tag("title")); }
    std::string language() const { return Language::normalize(asString(tag("language")), title()); }
    bool has(const char *disposition) const
    {
        return asInteger<int>(at(at(*m_object, "disposition"), disposition)) == 1;
    }
    std::optional<std::int64_t> bitrate() const
    {
        if (const auto rate = asInteger<std::int64_t>(at(*m_object, "bit_rate")))
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
    const json *m_object;
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

// Reads "4:3"; the pixel is square where the value makes no sense.
double pixelAspect(const json &value)
{
    const auto text = asString(value);
    const std::size_t colon = text ? text->find(':') : std::string::npos;
    if (colon == std::string::npos)
        return 1;
    const auto across = parsedFinite(std::string_view(*text).substr(0, colon));
    const auto down = parsedFinite(std::string_view(*text).substr(colon + 1));
    return across && down && *across > 0 && *down > 0 ? *across / *down : 1;
}

// ffprobe prints the matrix as rows of an offset and three numbers. A mirrored picture has a negative
// determinant.
bool isMirrored(const std::string &matrix)
{
    std::vector<double> numbers;
    std::istringstream rows(matrix);
    std::string word;
    while (rows >> word)
        if (const auto number = parsed<double>(word); number && word.back() != ':')
            numbers.push_back(*number);
    return numbers.size() >= 5 && numbers[0] * numbers[4] - numbers[1] * numbers[3] < 0;
}

void parseTurn(VideoStreamInfo &video, const Stream &stream)
{
    constexpr double wholeTurn = 360, quarterTurn = 90, tolerance = 1; // degrees
    std::optional<double> clockwise;
    const json &sideData = stream["side_data_list"];
    if (sideData.is_array())
        for (const json &entry : sideData)
            if (const auto angle = asDouble(at(entry, "rotation"))) { // counterclockwise
                clockwise = -*angle;
                video.isMirrored = isMirrored(asString(at(entry, "displaymatrix")).value_or(""));
                break;
            }
    if (!clockwise) {
        clockwise = asDouble(stream.tag("rotate"));
        video.hasDoubtfulTurn = clockwise && std::fmod(*clockwise, wholeTurn) != 0;
    }
    if (!clockwise)
        return;
    const double quarters = std::round(*clockwise / quarterTurn);
    if (std::abs(*clockwise - quarters * quarterTurn) > tolerance)
        video.hasDoubtfulTurn = true;
    const int angle = static_cast<int>(std::fmod(quarters, 4)) * static_cast<int>(quarterTurn);
    video.rotation = angle < 0 ? angle + static_cast<int>(wholeTurn) : angle;
}

bool isCover(const Stream &stream)
{
    return stream.has("attached_pic");
}

// Reads "00:01:30.500000000", as Matroska writes it.
std::optional<double> clockTime(const json &tag)
{
    double seconds = 0;
    std::istringstream parts(asString(tag).value_or(""));
    int count = 0;
    for (std::string part; std::getline(parts, part, ':'); ++count) {
        const auto value = parsedFinite(part);
        if (!value || *value < 0)
            return std::nullopt;
        seconds = seconds * 60 + *value;
    }
    return count == 3 ? std::optional(seconds) : std::nullopt;
}

// Returns how many pictures a video track has, as far as its record states it.
std::optional<double> statedPictures(const Stream &stream)
{
    if (const auto count = asInteger<std::int64_t>(stream["nb_frames"]); count && *count > 0)
        return static_cast<double>(*count);
    if (const auto count = stream.statistic("number_of_frames"); count && *count > 0)
        return static_cast<double>(*count);
    auto seconds = asDouble(stream["duration"]);
    if (!seconds)
        seconds = clockTime(stream.tag("duration"));
    const auto rate = frameRate(stream["avg_frame_rate"]);
    return seconds && rate ? std::optional(std::round(*seconds * *rate)) : std::nullopt;
}

bool isMarkedAsStill(const Stream &stream)
{
    return stream.has("still_image") || stream.has("timed_thumbnails");
}

// Returns the video tracks of a file that are no cover art.
std::vector<Stream> pictureTracks(const json &streams)
{
    std::vector<Stream> tracks;
    int position = 0;
    for (const json &object : streams) {
        const Stream stream(object, position++);
        if (stream.kind() == "video" && !isCover(stream))
            tracks.push_back(stream);
    }
    return tracks;
}

bool isStill(const Stream &stream, const json &counted)
{
    auto pictures = statedPictures(stream);
    if (!pictures)
        pictures = asDouble(at(counted, std::to_string(stream.index()).c_str()));
    return isMarkedAsStill(stream) || (pictures && *pictures <= 1);
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
    video.isFullRange =
        asString(stream["color_range"]) == "pc" || (video.pixFmt && video.pixFmt->starts_with("yuvj"));
    video.bitrate = stream.bitrate();
    video.isDolbyVision = isDolbyVision(stream["side_data_list"]);
    video.pixelAspect = pixelAspect(stream["sample_aspect_ratio"]);
    parseTurn(video, stream);
    return video;
}

// Reads the film, which is the first track that is no still; where all are stills, it is the first one.
void parseFilm(MediaInfo &info, const json &streams, const json &counted)
{
    const auto tracks = pictureTracks(streams);
    if (tracks.empty())
        return;
    std::vector<const Stream *> films;
    for (const Stream &track : tracks)
        if (tracks.size() == 1 || !isStill(track, counted))
            films.push_back(&track);
    info.hasSeveralFilms = films.size() > 1;
    info.video = parseVideo(films.empty() ? tracks.front() : *films.front());
    const auto first = std::find_if(streams.begin(), streams.end(), [](const json &object) {
        return asString(at(object, "codec_type")) == "video";
    });
    info.video->isFirst =
        Stream(*first, static_cast<int>(first - streams.begin())).index() == info.video->index;
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

// Returns the container's duration, else the video stream's, else the first that a stream states.
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

std::vector<int> ProbeAnswer::uncountedTracks(const json &answer)
{
    std::vector<int> indexes;
    const json &streams = at(answer, "streams");
    if (!streams.is_array())
        return indexes;
    const auto tracks = pictureTracks(streams);
    for (const Stream &track : tracks)
        if (!isMarkedAsStill(track) && !statedPictures(track))
            indexes.push_back(track.index());
    return tracks.size() > 1 ? indexes : std::vector<int>();
}

MediaInfo Prober::parse(const json &answer, const std::filesystem::path &file, std::int64_t fileSize,
                        FileTime modified)
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
    const json &supplement = at(answer, ProbeSupplement::key);
    info.cut = EditLists::judge(EditLists::fromJson(at(supplement, "edits")));
    info.lastPacket = asDouble(at(supplement, "lastPacket"));
    parseFilm(info, streams, at(supplement, "pictures"));
    int position = 0;
    for (const json &object : streams) {
        const Stream stream(object, position++);
        const std::string kind = stream.kind();
        if (kind == "audio")
            info.audio.push_back(parseAudio(stream));
        else if (kind == "subtitle")
            info.subtitles.push_back(parseSubtitle(stream));
        else if (kind == "attachment")
            info.attachmentIndexes.push_back(stream.index());
    }
    return info;
}

} // namespace kestrel
