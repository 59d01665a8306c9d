#include <algorithm>
#include <cmath>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include <fmt/format.h>

#include "cli/Commands.h"
#include "cli/Json.h"
#include "cli/Terminal.h"
#include "encoding/CommandBuilder.h"
#include "encoding/FrameComparison.h"
#include "encoding/ResultCheck.h"
#include "encoding/Sampler.h"
#include "format/Fmt.h"
#include "media/Prober.h"
#include "platform/Cancelled.h"
#include "platform/ErrorText.h"

namespace kestrel {

namespace {

namespace fs = std::filesystem;

std::string quoted(const fs::path &file)
{
    return "„" + Terminal::shown(file.native()) + "“";
}

MediaInfo read(const fs::path &given, const Tools &tools, const std::stop_token &stop)
{
    std::error_code error;
    const fs::path file = fs::canonical(given, error);
    if (error)
        throw UsageError(quoted(given) + " kann nicht gelesen werden: " + ErrorText::describe(error) + ".");
    if (fs::is_directory(file, error))
        throw UsageError(quoted(given) + " ist ein Ordner; verglichen werden zwei Filme.");
    MediaInfo info;
    try {
        info = Prober::probe(file, tools.ffprobe, stop);
    } catch (const ToolError &) {
        throwIfStopped(stop);
        throw ToolError::failed(quoted(given) + " ist kein lesbarer Film.");
    }
    if (!info.video)
        throw ToolError::failed(quoted(given) + " enthält kein Bild.");
    return info;
}

void requireSameFilm(const MediaInfo &original, const MediaInfo &result)
{
    const double before = original.playTime(), after = result.playTime();
    if (before > 0 && after > 0 && !ResultCheck::isSameDuration(before, after))
        throw ToolError::failed(
            fmt::format("Die Filme gehören nicht zusammen: Der eine dauert {}, der andere {}.",
                        Fmt::clock(before), Fmt::clock(after)));
    if (!ResultCheck::isSameShape(*original.video, *result.video))
        throw ToolError::failed("Die Filme gehören nicht zusammen: Ihre Bilder haben verschiedene Formen.");
}

// Scales the larger film down to the smaller, as the quality search does.
void addFilters(FrameComparison::Request &request, const MediaInfo &original, const MediaInfo &result)
{
    const FrameSize before = original.video->seenSize(), after = result.video->seenSize();
    const bool isReduced = before.width * before.height >= after.width * after.height;
    Plan ofOriginal, ofResult;
    ofOriginal.deinterlace = original.video->isInterlaced() && !result.video->isInterlaced();
    if (before != after) {
        Plan &scaled = isReduced ? ofOriginal : ofResult;
        scaled.scales = true;
        scaled.outputWidth = (isReduced ? after : before).width;
        scaled.outputHeight = (isReduced ? after : before).height;
    }
    request.reference.order.filters = Sampler::referenceFilters(ofOriginal);
    request.distorted.order.filters = Sampler::referenceFilters(ofResult);
    for (auto *side : {&request.reference, &request.distorted})
        for (const auto &filter : FrameComparison::lumaOf(*result.video))
            side->order.filters.push_back(filter);
}

// Returns when a film's first picture is shown, in seconds.
double firstTime(const FrameComparison::Request &request, const FrameComparison::Side &side,
                 const std::stop_token &stop)
{
    FrameDecoder decoder(request.ffmpeg, side.order, nullptr, stop);
    const auto frame = decoder.next();
    return frame ? frame->time : 0;
}

// MPEG streams have no index: ffmpeg seeks to a time in them, and shows nothing before the next key frame.
double preroll(const MediaInfo &film)
{
    constexpr double betweenKeyFrames = 12; // seconds; encoders leave 250 pictures at most
    return film.formatName.starts_with("mpeg") ? betweenKeyFrames : 0;
}

// Cuts both films from the same picture on, in seconds from the beginning of the original. One film may begin
// a little later than the other, and a seek may drop a picture of one side only, so the first picture of a
// side cannot be its origin.
void cut(FrameComparison::Request &request, const MediaInfo &original, const MediaInfo &result,
         const Arguments &arguments, const std::stop_token &stop)
{
    if (!arguments.start && !arguments.length)
        return;
    auto &reference = request.reference, &distorted = request.distorted;
    const double later = firstTime(request, distorted, stop) - firstTime(request, reference, stop);
    const auto cutSide = [&](FrameComparison::Side &side, const MediaInfo &film, double begin) {
        // ffmpeg's arguments have whole milliseconds.
        const double start = std::stod(CommandBuilder::format(std::max(0.0, begin - preroll(film))));
        side.order.start = start;
        side.origin = begin - start;
        if (arguments.length)
            side.order.length = *arguments.length + *side.origin;
    };
    const double begin = arguments.start.value_or(0);
    cutSide(reference, original, begin);
    cutSide(distorted, result, begin + later);
    constexpr std::size_t atEachEnd = 2; // one picture of each side
    request.forgiven = 2 * atEachEnd;
}

class Progress {
public:
    Progress(double from, double length) : m_from(from), m_length(length) {}
    ~Progress()
    {
        if (Terminal::isErrorTerminal())
            Terminal::writeError("\r\x1b[K");
    }
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    void show(double time)
    {
        if (!Terminal::isErrorTerminal())
            return;
        const double fraction = m_length > 0 ? std::clamp((time - m_from) / m_length, 0.0, 1.0) : 0;
        if (auto text = Fmt::percent(fraction); text != m_shown) {
            m_shown = std::move(text);
            Terminal::writeError(fmt::format("\rVergleiche die Bilder: {}\x1b[K", m_shown));
        }
    }

private:
    const double m_from, m_length; // seconds
    std::string m_shown;
};

std::string position(double seconds)
{
    const long long milliseconds = std::llround(std::max(seconds, 0.0) * 1000);
    const long long whole = milliseconds / 1000;
    return fmt::format("{},{:03}", Fmt::clock(static_cast<double>(whole)), milliseconds % 1000);
}

void printResult(const FrameComparison::Result &result, int every)
{
    const FrameComparison::Frame &lowest = result.lowest();
    Terminal::print("{}\n", Terminal::bold("VMAF " + Fmt::number(result.mean(), 2)));
    Terminal::print("  niedrigstes Bild     {} bei {}\n", Fmt::number(lowest.score.vmaf, 2),
                    position(lowest.time));
    Terminal::print("  harmonisches Mittel  {}\n", Fmt::number(result.harmonicMean(), 2));
    Terminal::print("  bewertete Bilder     {}{}\n", result.frames.size(),
                    every > 1 ? fmt::format(" (jedes {}.)", every) : "");
    if (result.unmatched > 0)
        Terminal::print("  ohne Gegenstück      {}\n", result.unmatched);
}

void printJson(const FrameComparison::Result &result)
{
    Json::Value frames = Json::Value::array();
    for (const auto &[time, score] : result.frames)
        frames.push_back({{"time", time},
                          {"vmaf", score.vmaf},
                          {"integer_adm2", score.adm2},
                          {"integer_motion2", score.motion2},
                          {"integer_vif_scale0", score.vif[0]},
                          {"integer_vif_scale1", score.vif[1]},
                          {"integer_vif_scale2", score.vif[2]},
                          {"integer_vif_scale3", score.vif[3]}});
    Terminal::print("{}\n", Json::line({{"vmaf", result.mean()}, {"frames", std::move(frames)}}));
}

} // namespace

int runScore(const Arguments &arguments, const Interrupt &interrupt)
{
    const std::stop_token stop = interrupt.token();
    const Tools tools = Tools::locate(stop);
    const MediaInfo original = read(arguments.folder, tools, stop);
    const MediaInfo result = read(arguments.result, tools, stop);
    requireSameFilm(original, result);
    if (arguments.start && original.playTime() > 0 && *arguments.start >= original.playTime())
        throw UsageError("--start liegt hinter dem Ende des Films.");

    FrameComparison::Request request;
    request.ffmpeg = tools.ffmpeg;
    request.reference.order.file = original.url;
    request.reference.order.track = original.video->index;
    request.distorted.order.file = result.url;
    request.distorted.order.track = result.video->index;
    request.frameSeconds = 1 / original.video->effectiveFps();
    request.step = arguments.every;
    addFilters(request, original, result);
    double from = 0;
    FrameComparison::Result comparison;
    try {
        cut(request, original, result, arguments, stop);
        from = request.reference.order.start.value_or(0);
        const double begin = arguments.start.value_or(0);
        Progress progress(
            begin, std::min(arguments.length.value_or(original.playTime()), original.playTime() - begin));
        request.progress = [&](double time) { progress.show(from + time); };
        comparison = FrameComparison::run(request, stop);
    } catch (const FrameComparison::Mismatch &error) {
        throw ToolError::failed(fmt::format("Die Filme gehören nicht zusammen: {}", error.what()));
    } catch (const ToolError &error) {
        Terminal::complain(Terminal::line(error.what()));
        return ExitStatus::fileFailed;
    }
    for (auto &frame : comparison.frames)
        frame.time += from;
    if (arguments.json)
        printJson(comparison);
    else
        printResult(comparison, arguments.every);
    return ExitStatus::done;
}

} // namespace kestrel
