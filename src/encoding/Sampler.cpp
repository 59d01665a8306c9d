#include "encoding/Sampler.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <optional>
#include <system_error>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "encoding/FFmpegRunner.h"
#include "encoding/Scorer.h"
#include "media/Prober.h"
#include "planning/Estimator.h"
#include "platform/Cancelled.h"
#include "platform/OnExit.h"
#include "platform/Uuid.h"

namespace kestrel::Sampler {

namespace fs = std::filesystem;

namespace {

constexpr double acceptedAbove = 0.4; // VMAF over the target that ends the search
constexpr double aimedAbove = 0.15;   // VMAF over the target that the next trial aims at
constexpr int widestStep = 8;         // CRF
constexpr std::size_t mostSteps = 4;
constexpr double leastSeconds = 0.1; // lower limit of divisors
constexpr double encodeShare = 0.8;  // of a segment's work; the rest is scoring

struct SegmentScore {
    double vmaf, seconds;
};

// Adds up one measurement over its segments.
struct Tally {
    double bytes = 0, mediaSeconds = 0, encodeSeconds = 0;
    std::vector<SegmentScore> scores;
    std::string scorer;
};

int run(FFmpegRunner &runner, const Subject &subject, const std::stop_token &stop)
{
    return subject.current != nullptr ? subject.current->run(runner, stop) : runner.run(stop);
}

double suspendedSeconds(const Subject &subject)
{
    return subject.current != nullptr ? subject.current->suspendedSeconds() : 0;
}

// Encodes one segment and returns the wall-clock seconds that it took, without pauses.
double encodeSegment(const Subject &subject, const Segment &segment, const fs::path &output,
                     const OnProgress &progress, const std::stop_token &stop)
{
    FFmpegRunner runner(subject.tools.ffmpeg, segmentArguments(subject, segment, output),
                        [&](const FFmpegRunner::Progress &state) {
                            progress(std::min(state.seconds / segment.length, 1.0));
                        });
    const auto started = std::chrono::steady_clock::now();
    const double suspendedBefore = suspendedSeconds(subject);
    const int status = run(runner, subject, stop);
    throwIfStopped(stop);
    if (status != 0 || runner.lostSomething())
        throw ToolError::failed("Probekodierung fehlgeschlagen: " + runner.errorTail());
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    return seconds - (suspendedSeconds(subject) - suspendedBefore);
}

enum class Scoring { none, vmaf };

void keep(Tally &tally, const Scorer::Score &score, double seconds)
{
    tally.scores.push_back({score.vmaf, seconds});
    tally.scorer = score.scorer;
}

void measureSegment(Tally &tally, const Subject &subject, const Segment &segment, Scoring scoring,
                    const OnProgress &progress, const std::stop_token &stop)
{
    const fs::path output = subject.tempDir / fmt::format("probe-{}.mkv", freshUuid());
    const auto tidy = onExit([&] {
        std::error_code ignored;
        fs::remove(output, ignored);
    });
    tally.encodeSeconds += encodeSegment(
        subject, segment, output, [&](double fraction) { progress(fraction * encodeShare); }, stop);

    const MediaInfo encoded = Prober::probe(output, subject.tools.ffprobe, stop);
    const bool isPlausible = encoded.duration > 0 && encoded.duration <= segment.length;
    const double seconds = isPlausible ? encoded.duration : segment.length;
    tally.bytes += static_cast<double>(encoded.fileSize);
    tally.mediaSeconds += seconds;
    if (scoring == Scoring::vmaf)
        keep(tally, Scorer::of(subject)->score(encoded, segment, subsamplingStep, stop), seconds);
    progress(1.0);
}

Step summarise(const Tally &tally, const Subject &subject)
{
    Step step;
    step.value = subject.plan.qualityValue;
    step.bitrate = tally.bytes * 8 / std::max(tally.mediaSeconds, leastSeconds);
    double weights = 0, sum = 0;
    for (const SegmentScore &score : tally.scores) {
        weights += score.seconds;
        sum += score.vmaf * score.seconds;
        step.vmafWorst = std::min(step.vmafWorst.value_or(score.vmaf), score.vmaf);
    }
    if (weights > 0)
        step.vmaf = sum / weights;
    const double fps = subject.info.video ? subject.info.video->effectiveFps() : 25.0;
    step.megapixelsPerSecond = fps * tally.mediaSeconds * subject.plan.outputWidth *
                               subject.plan.outputHeight / 1e6 / std::max(tally.encodeSeconds, leastSeconds);
    step.seconds = tally.mediaSeconds;
    return step;
}

struct Measurement {
    Step step;
    std::string scorer; // empty where nothing scored
};

Measurement measureOnce(const Subject &subject, Scoring scoring, const OnProgress &progress,
                        const std::stop_token &stop)
{
    if (!subject.plan.encodesVideo())
        throw ToolError::failed("Für diese Datei wird kein Video kodiert.");
    if (!(subject.info.playTime() > 0))
        throw ToolError::failed("Laufzeit unbekannt");
    const auto parts = segments(subject.info.playTime());
    Tally tally;
    for (std::size_t i = 0; i < parts.size(); ++i)
        measureSegment(
            tally, subject, parts[i], scoring,
            [&](double fraction) {
                progress((static_cast<double>(i) + fraction) / static_cast<double>(parts.size()));
            },
            stop);
    return {summarise(tally, subject), tally.scorer};
}

SampleResult makeResult(const Subject &subject, const Step &chosen, std::vector<Step> steps,
                        std::optional<double> target, const std::string &scorer)
{
    SampleResult result;
    result.scorer = scorer;
    result.videoBitrate = chosen.bitrate;
    result.vmafMean = chosen.vmaf;
    result.vmafWorst = chosen.vmafWorst;
    result.megapixelsPerSecond = chosen.megapixelsPerSecond;
    result.measuredSeconds = chosen.seconds;
    result.heuristicBitrate = Estimator::heuristicVideoBitrate(subject.info, subject.plan, subject.settings);
    result.qualityValue = chosen.value;
    result.vmafTarget = target;
    result.steps = std::move(steps);
    return result;
}

// Returns the progress of one step: the number of steps is not known beforehand, so each fills half of the
// rest.
OnProgress progressOfStep(std::size_t step, const OnProgress &progress)
{
    return [=](double fraction) {
        const double from = 1 - std::pow(0.5, static_cast<double>(step));
        progress(from + fraction * (1 - from) / 2);
    };
}

// Returns the slope between the last two steps, or `stored` where that makes no sense.
double observedSlope(const std::vector<Step> &steps, double stored, VideoCodecChoice codec)
{
    if (steps.size() < 2)
        return stored;
    const Step &last = steps.back(), &previous = steps[steps.size() - 2];
    if (last.value == previous.value || !last.vmaf || !previous.vmaf)
        return stored;
    const double slope = (*last.vmaf - *previous.vmaf) / (last.value - previous.value);
    return slope * vmafSlope(codec) > 0 ? slope : stored;
}

} // namespace

std::optional<Proposal> nextValue(const std::vector<Step> &steps, double stored, VideoCodecChoice codec,
                                  double target)
{
    const Step &last = steps.back();
    if (!last.vmaf || (target <= *last.vmaf && *last.vmaf <= target + acceptedAbove))
        return std::nullopt;
    const double slope = observedSlope(steps, stored, codec);
    const double change = (target + aimedAbove - *last.vmaf) / slope;
    const double limited = std::clamp(change, -100.0, 100.0);
    int value = static_cast<int>(limited + last.value);
    if (value == last.value)
        value += change > 0 ? 1 : -1;
    value = std::clamp(value, last.value - widestStep, last.value + widestStep);
    const QualityRange range = qualityRange(codec);
    value = std::clamp(value, range.lowest, range.highest);

    const bool isKnown =
        std::any_of(steps.begin(), steps.end(), [&](const Step &step) { return step.value == value; });
    if (isKnown || steps.size() >= mostSteps)
        return std::nullopt;
    return Proposal{value, slope};
}

const Step &choose(const std::vector<Step> &steps, double target)
{
    const Step *best = nullptr;
    for (const Step &step : steps)
        if (step.vmaf && *step.vmaf >= target - choiceTolerance &&
            (best == nullptr || step.bitrate < best->bitrate))
            best = &step;
    if (best != nullptr)
        return *best;
    return *std::max_element(steps.begin(), steps.end(), [](const Step &a, const Step &b) {
        return a.vmaf.value_or(-1) < b.vmaf.value_or(-1);
    });
}

SampleResult search(const Subject &subject, const OnProgress &progress, std::stop_token stop)
{
    if (subject.tools.measuring() == Measuring::nothing)
        return measure(subject, progress, stop);
    const double target = vmafTarget(subject.settings.quality);
    double slope = vmafSlope(subject.settings.codec);
    Subject trial = subject;
    std::vector<Step> steps;
    std::string scorer;
    for (;;) {
        auto measured = measureOnce(trial, Scoring::vmaf, progressOfStep(steps.size(), progress), stop);
        steps.push_back(measured.step);
        scorer = std::move(measured.scorer);
        const auto next = nextValue(steps, slope, subject.settings.codec, target);
        if (!next)
            break;
        slope = next->slope;
        trial.plan.qualityValue = next->value;
    }
    progress(1.0);
    const Step chosen = choose(steps, target);
    return makeResult(subject, chosen, std::move(steps), target, scorer);
}

SampleResult measure(const Subject &subject, const OnProgress &progress, std::stop_token stop)
{
    const bool isScored = subject.tools.measuring() != Measuring::nothing;
    const auto [step, scorer] =
        measureOnce(subject, isScored ? Scoring::vmaf : Scoring::none, progress, stop);
    progress(1.0);
    return makeResult(subject, step, {step}, std::nullopt, scorer);
}

std::vector<std::string> segmentArguments(const Subject &subject, const Segment &segment,
                                          const fs::path &output)
{
    ConversionSettings settings = subject.settings;
    settings.container = OutputContainer::mkv;
    return CommandBuilder::arguments(subject.info, subject.plan, settings, output, segment,
                                     CommandBuilder::Streams::videoOnly);
}

std::vector<std::string> referenceFilters(const Plan &plan)
{
    std::vector<std::string> filters;
    if (const auto filter = plan.deinterlaceFilter())
        filters.push_back(*filter);
    if (plan.scales)
        filters.push_back(fmt::format("scale={}:{}:flags=bicubic", plan.outputWidth, plan.outputHeight));
    return filters;
}

std::string comparisonGraph(const MediaInfo &info, const Plan &plan)
{
    // The comparing filter pairs an encoded frame with the latest reference frame at or before its time.
    // Matroska rounds times to milliseconds, so that an encoded frame may come a moment too early and would
    // be paired with the frame before: half a frame of delay keeps every pair together, whatever the time
    // bases, and for variable frame rates.
    const double fps = info.video ? info.video->effectiveFps() : 25.0;
    auto reference = referenceFilters(plan);
    reference.emplace_back("setpts=PTS-STARTPTS");
    const std::string source =
        info.video && !info.video->isFirst ? fmt::format("1:{}", info.video->index) : "1:v";
    return fmt::format("[0:v]setpts=PTS-STARTPTS+{}/TB[d];[{}]{}[r];[d][r]",
                       CommandBuilder::format(0.5 / fps), source, fmt::join(reference, ","));
}

} // namespace kestrel::Sampler
