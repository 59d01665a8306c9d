#include "Records.h"

#include <array>
#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "media/Prober.h"

namespace kestrel::bench {

namespace {

using nlohmann::json;

struct Kind {
    const char *videoCodec;
    int width, height;
    const char *frameRate, *fieldOrder;
    double megabitsPerSecond, minutes;
    const char *audioCodec;
    int channels;
    const char *subtitleCodec;
};

constexpr std::array<Kind, 5> kinds{{
    {"h264", 1920, 1080, "24000/1001", "progressive", 12, 115, "dts", 6, "hdmv_pgs_subtitle"},
    {"hevc", 3840, 2160, "24000/1001", "progressive", 38, 128, "truehd", 8, "hdmv_pgs_subtitle"},
    {"h264", 1280, 720, "25/1", "progressive", 4, 44, "aac", 2, "subrip"},
    {"mpeg2video", 720, 576, "25/1", "tt", 6, 95, "ac3", 6, "dvd_subtitle"},
    {"hevc", 1920, 1080, "30000/1001", "progressive", 2, 24, "eac3", 6, "ass"},
}};

json stream(int index, const char *type, const char *codec)
{
    return {{"index", index}, {"codec_type", type}, {"codec_name", codec}};
}

json tagged(json stream, const char *language, const char *title)
{
    stream["tags"] = {{"language", language}, {"title", title}};
    return stream;
}

json audio(int index, const Kind &kind, int kilobitsPerSecond)
{
    json track = stream(index, "audio", kind.audioCodec);
    track["channels"] = kind.channels;
    track["sample_rate"] = "48000";
    track["bit_rate"] = std::to_string(kilobitsPerSecond * 1000);
    return track;
}

// Returns what ffprobe would answer for such a file.
json answer(const Kind &kind)
{
    json video = stream(0, "video", kind.videoCodec);
    video["profile"] = "High";
    video["width"] = kind.width;
    video["height"] = kind.height;
    video["avg_frame_rate"] = kind.frameRate;
    video["pix_fmt"] = "yuv420p";
    video["field_order"] = kind.fieldOrder;
    video["color_transfer"] = video["color_primaries"] = video["color_space"] = "bt709";
    video["tags"] = {{"BPS-eng", fmt::format("{:.0f}", kind.megabitsPerSecond * 1e6)}};
    return {{"format", {{"format_name", "matroska,webm"}, {"duration", std::to_string(kind.minutes * 60)}}},
            {"streams",
             {video, tagged(audio(1, kind, 768), "ger", "Deutsch (Originalfassung)"),
              tagged(audio(2, kind, 192), "eng", "English commentary by the director"),
              tagged(stream(3, "subtitle", kind.subtitleCodec), "ger", "Deutsch (erzwungen, forced)"),
              tagged(stream(4, "subtitle", kind.subtitleCodec), "eng", "English for the hard of hearing")}}};
}

} // namespace

namespace {

const std::filesystem::path root = "/media/sammlung/Videos";

std::filesystem::path nameOf(std::size_t i)
{
    return root / fmt::format("Serien/Eine lange Reihe {:04}/Staffel {:02}/Folge {:03} – Der Titel.mkv",
                              i / 100, i / 10 % 10, i % 10);
}

std::array<json, kinds.size()> makeAnswers()
{
    std::array<json, kinds.size()> answers;
    for (std::size_t i = 0; i < kinds.size(); ++i)
        answers[i] = answer(kinds[i]);
    return answers;
}

} // namespace

MediaInfo record(std::size_t i)
{
    static const auto answers = makeAnswers();
    const Kind &kind = kinds[i % kinds.size()];
    const auto bytes = static_cast<std::int64_t>(kind.megabitsPerSecond * 1.1e6 / 8 * kind.minutes * 60);
    return Prober::parse(answers[i % kinds.size()], nameOf(i), bytes + static_cast<std::int64_t>(i),
                         FileTime(std::chrono::hours(400'000)));
}

void fill(Library &library, std::size_t count)
{
    std::vector<std::filesystem::path> files;
    for (std::size_t i = 0; i < count; ++i)
        files.push_back(nameOf(i));
    library.fill({files, root});
    for (std::size_t i = 0; i < count; ++i)
        library.setInfo(*library.items()[i], record(i));
}

} // namespace kestrel::bench
