// A run for pictures: its books and states are made up, no file is touched.

#include <algorithm>
#include <chrono>
#include <cmath>

#include "model/AppModel.h"

namespace kestrel {

namespace {

constexpr std::size_t atOnce = 4;

// What becomes of the file at this place of the order.
JobStatus ended(const FileItem &item, std::size_t place)
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

// As a computer that encodes three films at once has them.
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

void AppModel::simulateRun(double done)
{
    if (m_conversion || m_sampling || m_clip || m_scan)
        return;
    if (m_simulated.empty()) {
        m_simulated = m_library.filesInTableOrder();
        std::erase_if(m_simulated, [](const FileItem *item) { return !item->isActionable(); });
    }
    const std::size_t total = m_simulated.size();
    const auto processed =
        static_cast<std::size_t>(std::floor(std::clamp(done, 0.0, 1.0) * static_cast<double>(total)));
    for (FileItem *item : m_simulated)
        m_library.change(*item, [](FileItem &file) { file.status = Status::Queued{}; });
    m_run = RunStats::of(m_simulated);
    m_isRunOfLibrary = true;
    for (std::size_t place = 0; place < total; ++place) {
        FileItem &item = *m_simulated[place];
        if (place < processed) {
            const JobStatus status = ended(item, place);
            book(*m_run, item, status);
            m_library.change(item, [&](FileItem &file) { file.status = status; });
        } else if (place < processed + atOnce) {
            m_library.change(item, [&](FileItem &file) {
                file.status = working(place - processed, place);
                file.fps = framesPerSecond(file, place);
            });
        }
    }
    m_run->started -= std::chrono::seconds(static_cast<std::int64_t>(0.8 * m_run->doneWeight + 30));
    const bool isOver = processed == total;
    if (isOver)
        m_run->finished = RunStats::Clock::now();
    setActivity({isOver ? Activity::Kind::idle : Activity::Kind::converting});
    recompute();
    emit runChanged();
    if (isOver)
        m_simulated.clear();
}

} // namespace kestrel
