// Measures one thing for each call and prints the numbers as one JSON object. It does not judge them.

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <clocale>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "Records.h"
#include "Status.h"
#include "Stopwatch.h"
#include "encoding/CommandBuilder.h"
#include "encoding/ConversionJob.h"
#include "encoding/FFmpegRunner.h"
#include "encoding/FrameComparison.h"
#include "encoding/Sampler.h"
#include "encoding/Scorer.h"
#include "media/Prober.h"
#include "model/AppModel.h"
#include "planning/Estimator.h"
#include "planning/Planner.h"

namespace {

namespace fs = std::filesystem;
using namespace kestrel;
using bench::residentMegabytes;
using bench::Stopwatch;
using nlohmann::ordered_json;
using Command = std::vector<std::string>;

Command command(const fs::path &program, Command arguments)
{
    arguments.insert(arguments.begin(), program.native());
    return arguments;
}

// Returns a file that is ready to be converted or sampled with the default settings.
Sampler::Subject subject(const fs::path &file, const fs::path &work)
{
    Sampler::Subject result;
    result.tools = Tools::locate({});
    result.info = Prober::probe(file, result.tools.ffprobe, {});
    result.settings.outputMode = OutputMode::separateFolder;
    result.plan = Planner::plan(result.info, result.settings, std::nullopt);
    result.tempDir = work;
    return result;
}

Command encodingOf(const Sampler::Subject &subject, const Segment &segment, const fs::path &output)
{
    return CommandBuilder::arguments(subject.info, subject.plan, subject.settings, output, segment,
                                     CommandBuilder::Streams::videoOnly);
}

Command scoringOf(const Sampler::Subject &subject, const Segment &segment, const fs::path &encoded)
{
    const std::string graph = fmt::format("{}libvmaf=log_fmt=json:log_path={}:n_threads={}:n_subsample={}",
                                          Sampler::comparisonGraph(subject.info, subject.plan),
                                          (subject.tempDir / "hand.json").native(),
                                          std::thread::hardware_concurrency(), Sampler::subsamplingStep);
    return {"-nostdin",  "-hide_banner",
            "-loglevel", "error",
            "-i",        encoded.native(),
            "-ss",       CommandBuilder::format(segment.start),
            "-t",        CommandBuilder::format(segment.length),
            "-i",        subject.info.url.native(),
            "-lavfi",    graph,
            "-f",        "null",
            "-"};
}

ordered_json tools()
{
    const Tools found = Tools::locate({});
    return {{"ffmpeg", found.ffmpeg.native()},
            {"ffprobe", found.ffprobe.native()},
            {"vmaf", found.hasVMAF},
            {"version", found.version}};
}

// Measures the longest time that the event loop was blocked, by a timer that ticks every millisecond.
class StallMeter {
public:
    StallMeter()
    {
        m_tick.setTimerType(Qt::PreciseTimer);
        m_tick.setInterval(1);
        QObject::connect(&m_tick, &QTimer::timeout, &m_tick, [this] { look(); });
        m_tick.start();
    }
    double seconds()
    {
        look();
        return m_longest;
    }

private:
    void look()
    {
        m_longest = std::max(m_longest, m_since.wall());
        m_since = Stopwatch();
    }

    QTimer m_tick;
    double m_longest = 0;
    Stopwatch m_since;
};

// Runs the event loop until the model is idle, from the action that starts its work.
void waitUntilIdle(AppModel &model, const std::function<void()> &action = {})
{
    QEventLoop loop;
    const auto look = [&] {
        if (model.tools() && !model.isBusy())
            loop.quit();
    };
    QObject::connect(&model, &AppModel::activityChanged, &loop, look);
    QObject::connect(&model, &AppModel::toolsChanged, &loop, look);
    if (action)
        QTimer::singleShot(5, &loop, [&] {
            action();
            look(); // it may have found nothing to do
        });
    if (action || !model.tools() || model.isBusy())
        loop.exec();
}

AppModel::Options modelOptions(bool asksAgain)
{
    AppModel::Options options;
    options.settings = ConversionSettings();
    options.settings->outputMode = OutputMode::separateFolder;
    options.settings->parallelJobs = 4;
    options.measuresQuality = false;
    options.persists = false;
    options.asksAgain = asksAgain;
    return options;
}

// Opens the folder and scans it, as a start of the program does. REQUIRES: the tools are located before.
ordered_json scan(const fs::path &folder, bool asksAgain)
{
    AppModel model(modelOptions(asksAgain));
    waitUntilIdle(model);
    const Stopwatch watch;
    waitUntilIdle(model, [&] { model.open(folder); });
    const double wall = watch.wall(), cpu = watch.cpu();
    return {{"wall", wall},
            {"cpu", cpu},
            {"files", model.library().items().size()},
            {"errors", model.totals().errors}};
}

// Holds what is kept of each file: the record, its plan and its estimate.
struct Planned {
    MediaInfo info;
    Plan plan;
    SizeEstimate estimate;
};

ordered_json plan(std::size_t count)
{
    const double before = residentMegabytes();
    std::vector<Planned> records(count);
    for (std::size_t i = 0; i < count; ++i)
        records[i].info = bench::record(i);
    const Stopwatch watch;
    const ConversionSettings settings;
    for (Planned &record : records) {
        record.plan = Planner::plan(record.info, settings, std::nullopt);
        record.estimate =
            Estimator::estimate(record.info, record.plan, settings, nullptr, std::nullopt, std::nullopt);
    }
    const double cpu = watch.cpu();
    return {{"cpu", cpu}, {"megabytes", residentMegabytes() - before}};
}

// Plans a library of so many items twice with different settings.
ordered_json recompute(std::size_t count)
{
    const double before = residentMegabytes();
    Library library;
    bench::fill(library, count);
    library.recompute({});
    const double megabytes = residentMegabytes() - before;
    ConversionSettings other;
    other.quality = QualityLevel::medium;
    const Stopwatch watch;
    library.recompute(other);
    return {{"wall", watch.wall()}, {"megabytes", megabytes}, {"actionable", library.totals().actionable}};
}

// Lets four jobs of these stand-in tools report progress while all files of the folder are listed.
ordered_json stall(const fs::path &folder, const fs::path &toolFolder)
{
    AppModel::Options options = modelOptions(true);
    options.toolFolders = {toolFolder};
    AppModel model(std::move(options));
    waitUntilIdle(model);
    const auto stallOf = [&](const std::function<void()> &action) {
        StallMeter meter;
        waitUntilIdle(model, action);
        return meter.seconds();
    };
    const double scanning = stallOf([&] { model.open(folder); });
    std::size_t painted = 0;
    QObject::connect(&model.library(), &Library::itemChanged, [&](const FileItem &) { ++painted; });
    QTimer::singleShot(10'000, &model, [&] { model.stop(); });
    const double converting = stallOf([&] { model.startConversion(); });
    return {{"files", model.library().items().size()},
            {"converted", model.run().value().converted},
            {"scanning", scanning},
            {"converting", converting},
            {"changes", painted}};
}

// Converts the file into the folder beside its own. "byHand" does the same without the program.
ordered_json convert(const fs::path &file, const fs::path &work)
{
    const auto [info, plan, settings, tools, folder, current] = subject(file, work);
    const double expected =
        Estimator::estimate(info, plan, settings, nullptr, std::nullopt, std::nullopt).total();
    const Stopwatch watch;
    ConversionJob job(info, plan, settings, tools, file.parent_path(), expected);
    const ConversionOutcome outcome = job.run({}, {});
    const double wall = watch.wall(), cpu = watch.cpu();
    Command byHand =
        command(tools.ffmpeg, CommandBuilder::arguments(info, plan, settings, folder / "hand.mkv",
                                                        std::nullopt, CommandBuilder::Streams::all));
    return {{"wall", wall},
            {"cpu", cpu},
            {"written", outcome.kind == ConversionOutcome::Kind::written},
            {"byHand", std::vector<Command>{std::move(byHand)}}};
}

// Runs the quality search with one of the two scorers. "byHand" encodes and scores the same segments with the
// same values; where ffmpeg cannot score, another call of this program does.
ordered_json search(const fs::path &file, const fs::path &work, bool isBuiltIn)
{
    Sampler::Subject trial = subject(file, work);
    trial.tools.hasVMAF = !isBuiltIn;
    const Stopwatch watch;
    const SampleResult result = Sampler::search(trial, [](double) {}, {});
    ordered_json answer{{"wall", watch.wall()}, {"cpu", watch.cpu()}};
    for (const auto &step : result.steps) {
        answer["values"].push_back(step.value);
        trial.plan.qualityValue = step.value;
        for (const Segment &segment : Sampler::segments(trial.info.duration)) {
            const fs::path output = work / "hand.mkv";
            answer["byHand"].push_back(command(trial.tools.ffmpeg, encodingOf(trial, segment, output)));
            if (isBuiltIn)
                answer["byHand"].push_back({fs::read_symlink("/proc/self/exe").native(), "score",
                                            file.native(), output.native(), work.native(),
                                            CommandBuilder::format(segment.start),
                                            CommandBuilder::format(segment.length)});
            else
                answer["byHand"].push_back(command(trial.tools.ffmpeg, scoringOf(trial, segment, output)));
        }
    }
    return answer;
}

// Scores one encoded segment with the program's own scorer.
ordered_json score(const fs::path &file, const fs::path &encoded, const fs::path &work,
                   const Segment &segment)
{
    Sampler::Subject trial = subject(file, work);
    trial.tools.hasVMAF = false;
    const MediaInfo sample = Prober::probe(encoded, trial.tools.ffprobe, {});
    return {{"vmaf", Scorer::of(trial)->score(sample, segment, Sampler::subsamplingStep, {}).vmaf}};
}

// Returns the scores of a file's samples with each subsampling, as the mean over the segments.
ordered_json accuracy(const fs::path &file, const fs::path &work, std::span<const std::string_view> codec)
{
    Sampler::Subject trial = subject(file, work);
    if (!codec.empty() && codec.front() == id(VideoCodecChoice::av1SVT)) {
        trial.settings.codec = VideoCodecChoice::av1SVT;
        trial.plan = Planner::plan(trial.info, trial.settings, std::nullopt);
    }
    const auto parts = Sampler::segments(trial.info.duration);
    ordered_json scores, seconds;
    const auto add = [](ordered_json &sums, int step, double value) {
        ordered_json &sum = sums[std::to_string(step)];
        sum = sum.is_null() ? value : sum.get<double>() + value;
    };
    for (const Segment &segment : parts) {
        const fs::path encoded = work / "sample.mkv";
        FFmpegRunner runner(trial.tools.ffmpeg, encodingOf(trial, segment, encoded), {});
        if (runner.run({}) != 0)
            throw ToolError::failed(runner.errorTail());
        const MediaInfo sample = Prober::probe(encoded, trial.tools.ffprobe, {});
        for (const int step : {1, 3, 5, 7}) {
            const Stopwatch watch;
            add(scores, step,
                Scorer::of(trial)->score(sample, segment, step, {}).vmaf / static_cast<double>(parts.size()));
            add(seconds, step, watch.cpu());
        }
    }
    return {{"step", Sampler::subsamplingStep}, {"scores", scores}, {"cpu", seconds}};
}

// Scores these pictures, which were decoded before, on so many threads; in seconds for each frame.
ordered_json frames(const fs::path &original, const fs::path &encoded, unsigned threads)
{
    const Tools tools = Tools::locate({});
    const auto decode = [&](const fs::path &file) {
        FrameDecoder decoder(tools.ffmpeg, {file, 0, {}, {}, {"format=yuv420p10le", "extractplanes=y"}},
                             nullptr, {});
        std::vector<LumaFrame> result;
        while (auto frame = decoder.next())
            result.push_back(std::move(frame->luma));
        return result;
    };
    auto originals = decode(original), distorted = decode(encoded);
    WorkerPool pool(threads);
    const Stopwatch watch;
    FrameScorer scorer(1, pool);
    for (std::size_t i = 0; i < originals.size(); ++i)
        scorer.add(std::move(originals[i]), std::move(distorted[i]));
    const auto count = static_cast<double>(scorer.finish().size());
    return {{"wall", watch.wall() / count}, {"cpu", watch.cpu() / count}, {"frames", count}};
}

// Returns the most memory that this process needs while it scores the one film against the other.
ordered_json memory(const fs::path &original, const fs::path &encoded)
{
    const Tools tools = Tools::locate({});
    const auto side = [](const fs::path &file) {
        return FrameComparison::Side{{file, 0, {}, {}, {"format=yuv420p10le", "extractplanes=y"}}, {}};
    };
    const double before = residentMegabytes();
    FrameComparison::Request request;
    request.ffmpeg = tools.ffmpeg;
    request.reference = side(original);
    request.distorted = side(encoded);
    const auto result = FrameComparison::run(request, {});
    return {{"megabytes", bench::highestMegabytes() - before},
            {"frames", result.frames.size()},
            {"cores", WorkerPool::shared().size()}};
}

ordered_json run(std::span<const std::string_view> words)
{
    const std::string_view what = words.empty() ? "" : words[0];
    if (what == "tools")
        return tools();
    if ((what == "scan" || what == "rescan") && words.size() == 2)
        return scan(words[1], what == "scan");
    if (what == "stall" && words.size() == 3)
        return stall(words[1], words[2]);
    if (what == "status" && words.size() == 3) {
        AppModel::Options options = modelOptions(false);
        options.toolFolders = {words[2]};
        AppModel model(std::move(options));
        waitUntilIdle(model);
        waitUntilIdle(model, [&] { model.open(words[1]); });
        return bench::status(model);
    }
    if (what == "plan" && words.size() == 2)
        return plan(std::stoul(std::string(words[1])));
    if (what == "recompute" && words.size() == 2)
        return recompute(std::stoul(std::string(words[1])));
    if (what == "convert" && words.size() == 3)
        return convert(words[1], words[2]);
    if (what == "search" && words.size() == 4)
        return search(fs::path(words[1]), words[2], words[3] == "builtIn");
    if (what == "score" && words.size() == 6)
        return score(words[1], words[2], words[3],
                     {std::stod(std::string(words[4])), std::stod(std::string(words[5]))});
    if (what == "frames" && words.size() == 4)
        return frames(words[1], words[2], static_cast<unsigned>(std::stoul(std::string(words[3]))));
    if (what == "memory" && words.size() == 3)
        return memory(words[1], words[2]);
    if (what == "accuracy" && words.size() >= 3)
        return accuracy(words[1], words[2], words.subspan(3));
    throw std::invalid_argument(
        "tools | scan FOLDER | rescan FOLDER | plan COUNT | recompute COUNT | stall FOLDER TOOLS | "
        "status FOLDER TOOLS | "
        "convert FILE WORK | search FILE WORK builtIn|filter | score FILE ENCODED WORK START LENGTH | frames "
        "ORIGINAL ENCODED THREADS | memory ORIGINAL ENCODED | "
        "accuracy FILE WORK [CODEC]");
}

} // namespace

int main(int count, char **words)
{
    const QCoreApplication application(count, words);
    std::setlocale(LC_NUMERIC, "C");
    try {
        const std::vector<std::string_view> arguments(words + 1, words + count);
        fmt::print("{}\n", run(arguments).dump());
        return 0;
    } catch (const std::exception &error) {
        fmt::print(stderr, "{}\n", error.what());
        return 1;
    }
}
