#include "media/ProbeSupplement.h"

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "media/EditLists.h"
#include "media/ProbeAnswer.h"
#include "media/ProcessRunner.h"
#include "platform/Cancelled.h"
#include "platform/JsonText.h"

namespace kestrel::ProbeSupplement {

using nlohmann::json;

namespace {

bool isQuickTime(const MediaInfo &info)
{
    return info.formatName.find("mp4") != std::string::npos;
}

json packets(const MediaInfo &info, const std::filesystem::path &ffprobe, std::vector<std::string> options,
             const std::stop_token &stop)
{
    std::vector<std::string> arguments{"-v",   "error",         "-print_format",
                                       "json", "-show_entries", "packet=pts_time,duration_time"};
    arguments.insert(arguments.end(), std::make_move_iterator(options.begin()),
                     std::make_move_iterator(options.end()));
    arguments.push_back(info.url.native());
    const ProcessOutput output = ProcessRunner::run(ffprobe, arguments, stop);
    throwIfStopped(stop);
    const json answer = JsonText::parseIfValid(output.standardOutput);
    const json &list = ProbeAnswer::at(answer, "packets");
    return list.is_array() ? list : json::array();
}

// Returns when the last of the packets ends, in seconds.
std::optional<double> lastEnd(const json &packets)
{
    std::optional<double> last;
    for (const json &packet : packets)
        if (const auto time = ProbeAnswer::asDouble(ProbeAnswer::at(packet, "pts_time"))) {
            const double length = ProbeAnswer::asDouble(ProbeAnswer::at(packet, "duration_time")).value_or(0);
            last = std::max(last.value_or(0), *time + length);
        }
    return last;
}

// Reads from as far back as ffprobe can seek, and the whole file only where it cannot.
std::optional<double> lastPacket(const json &answer, const MediaInfo &info,
                                 const std::filesystem::path &ffprobe, const std::stop_token &stop)
{
    const int index = info.video ? info.video->index : !info.audio.empty() ? info.audio.front().index : 0;
    const std::vector<std::string> ofTrack{"-select_streams", std::to_string(index)};
    std::vector<std::string> fromEnd = ofTrack;
    fromEnd.insert(fromEnd.end(), {"-read_intervals", fmt::format("{:.0f}%", 1e9)});
    auto last = lastEnd(packets(info, ffprobe, fromEnd, stop));
    if (!last)
        last = lastEnd(packets(info, ffprobe, ofTrack, stop));
    if (!last)
        return std::nullopt;
    const auto start =
        ProbeAnswer::asDouble(ProbeAnswer::at(ProbeAnswer::at(answer, "format"), "start_time"));
    return *last - std::max(start.value_or(0), 0.0);
}

} // namespace

json find(const json &answer, const MediaInfo &info, const std::filesystem::path &ffprobe,
          const std::stop_token &stop)
{
    json found = json::object();
    if (isQuickTime(info))
        if (const auto edits = EditLists::read(info.url); !edits.empty())
            found["edits"] = EditLists::toJson(edits);
    for (const int index : ProbeAnswer::uncountedTracks(answer)) {
        // Two suffice to distinguish a film from a still.
        const json some = packets(
            info, ffprobe, {"-select_streams", std::to_string(index), "-read_intervals", "%+#2"}, stop);
        found["pictures"][std::to_string(index)] = some.size();
    }
    const bool hasBelievableDuration = info.duration > 0 && info.canPlayFor(info.duration);
    if (!hasBelievableDuration && (info.video || !info.audio.empty()))
        if (const auto last = lastPacket(answer, info, ffprobe, stop))
            found["lastPacket"] = *last;
    return found;
}

} // namespace kestrel::ProbeSupplement
