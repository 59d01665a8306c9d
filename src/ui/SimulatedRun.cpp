#include "ui/SimulatedRun.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>
#include <utility>

namespace kestrel {

namespace {

constexpr std::size_t atOnce = 4;

// Returns the outcome of the file at this position in the order.
JobStatus outcomeOf(const FileItem &item, std::size_t place)
{
    if (place % 11 == 7)
        return Status::Failed{
            "ffmpeg ist mit einem Fehler beendet worden: Invalid data found when processing input"};
    if (place % 7 == 4)
        return Status::NoSavings{item.sizeValue() - item.sizeValue() / 50};
    return Status::Done{item.sizeValue(), static_cast<std::int64_t>(item.estimateValue())};
}

JobStatus working(std::size_t slot, std::size_t place)
{
    if (slot == atOnce - 1)
        return Status::Analyzing{0.4};
    return Status::Running{slot == 0 ? 0.72 : 0.18 + 0.05 * static_cast<double>(place % 5)};
}

// Returns the rate of a computer that encodes three films at once.
double framesPerSecond(const FileItem &item, std::size_t place)
{
    if (!item.info || !item.info->video)
        return 0;
    const double megapixels = 1e-6 * item.info->video->width * item.info->video->height;
    return megapixels > 0 ? (52.0 + 3.0 * static_cast<double>(place % 4)) / megapixels : 0;
}

void book(RunStats &run, const FileItem &item, const JobStatus &status)
{
    if (is<Status::Failed>(status))
        return run.finish(item.id, std::nullopt);
    ConversionOutcome outcome;
    outcome.originalSize = item.sizeValue();
    if (const auto *done = std::get_if<Status::Done>(&status)) {
        outcome.kind = ConversionOutcome::Kind::replaced;
        outcome.newSize = done->after;
    }
    run.finish(item.id, outcome);
}

} // namespace

SimulatedRun::SimulatedRun(Request request, Library &library, RunStats &stats)
    : m_request(std::move(request)), m_library(library), m_stats(stats)
{
}

void SimulatedRun::start()
{
    const auto settings = std::make_shared<const ConversionSettings>(m_request.settings);
    for (FileItem *item : m_request.files)
        m_library.change(*item, [&](FileItem &file) {
            file.status = Status::Queued{};
            file.inRun = {settings, {*file.plan, *file.estimate}};
        });
}

std::vector<const FileItem *> SimulatedRun::inWork() const
{
    std::vector<const FileItem *> files(m_request.files.begin(), m_request.files.end());
    std::erase_if(files, [](const FileItem *item) { return !isInWork(item->status); });
    return files;
}

void SimulatedRun::show(double done)
{
    const std::size_t total = m_request.files.size();
    const auto processed =
        static_cast<std::size_t>(std::floor(std::clamp(done, 0.0, 1.0) * static_cast<double>(total)));
    for (; m_processed < processed; ++m_processed) {
        FileItem &item = *m_request.files[m_processed];
        const JobStatus status = outcomeOf(item, m_processed);
        book(m_stats, item, status);
        m_library.change(item, [&](FileItem &file) {
            file.status = status;
            if (file.isFinished() && file.info)
                file.converted = VideoText::of(*file.info, file.inRun->planned.plan, m_request.settings);
            file.inRun.reset();
        });
    }
    for (std::size_t place = processed; place < std::min(processed + atOnce, total); ++place)
        m_library.change(*m_request.files[place], [&](FileItem &file) {
            file.status = working(place - processed, place);
            file.fps = framesPerSecond(file, place);
        });
    m_stats.started = RunStats::Clock::now() -
                      std::chrono::seconds(static_cast<std::int64_t>(0.8 * m_stats.doneWeight + 30));
    emit booked();
    if (processed == total)
        emit ended();
}

} // namespace kestrel
