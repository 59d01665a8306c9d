#include "model/ConversionRun.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "media/Log.h"
#include "planning/PlannedFile.h"
#include "platform/Cancelled.h"
#include "platform/ErrorText.h"
#include "platform/Text.h"

namespace kestrel {

ConversionRun::ConversionRun(Request request, Library &library, RunStats &stats)
    : m_request(std::move(request)),
      m_settings(std::make_shared<const ConversionSettings>(m_request.settings)), m_library(library),
      m_stats(stats), m_outbox([this](const auto &reports) { apply(reports); })
{
}

ConversionRun::~ConversionRun()
{
    requestStop();
}

std::size_t ConversionRun::width() const
{
    const std::int64_t jobs = m_request.settings.parallelJobs;
    const std::size_t files = m_request.files.size();
    return jobs < 1 ? files : std::min(files, static_cast<std::size_t>(jobs));
}

void ConversionRun::start()
{
    Log::write(fmt::format("Konvertierung gestartet: {} Dateien in {}, {} {}", m_request.files.size(),
                           Text::shown(m_request.root), id(m_settings->codec), title(m_settings->quality)));
    for (FileItem *item : m_request.files)
        m_library.change(*item, [this](FileItem &file) {
            file.status = Status::Queued{};
            file.inRun = {m_settings, {*file.plan, *file.estimate}};
        });
    fillSlots();
}

void ConversionRun::fillSlots()
{
    while (!m_isPaused && !m_isStopped && m_jobs.size() < width() && m_next < m_request.files.size())
        startNext();
    if (m_jobs.empty() && (m_isStopped || m_next == m_request.files.size()))
        end();
}

void ConversionRun::startNext()
{
    const std::size_t number = m_next++;
    FileItem *item = m_request.files[number];
    const SampleResult *sample = item->sample(m_request.settings.videoKey());
    auto conversion = std::make_unique<FileConversion>(
        FileConversion::Request{*item->info, m_request.settings, m_request.tools, m_request.root,
                                sample != nullptr ? std::optional(*sample) : std::nullopt});
    FileConversion &work = *conversion;
    Job &job = m_jobs.emplace(item, Job{number, *item, std::move(conversion), {}}).first->second;
    try {
        job.worker = std::jthread([this, item, &work](const std::stop_token &stop) {
            m_mailbox.post([this, item, outcome = convert(work, item, stop)] { finish(*item, outcome); });
        });
    } catch (const std::system_error &error) { // the system has no more threads
        m_mailbox.post([this, item, text = ErrorText::describe(error)] {
            finish(*item, {std::nullopt, Status::Failed{text}});
        });
    }
}

// Runs on the file's own thread.
ConversionRun::Outcome ConversionRun::convert(FileConversion &conversion, FileItem *item,
                                              const std::stop_token &stop)
{
    std::optional<std::size_t> state;
    const auto report = [&](const Progress &progress) {
        if (std::exchange(state, progress.status.index()) == progress.status.index())
            return m_outbox.post(item, progress);
        m_outbox.discard(item); // every state change is delivered, in order
        m_mailbox.post([this, item, progress] { apply({{item, progress}}); });
    };
    const bool searches = m_request.tools.measuring() != Measuring::nothing;
    const FileConversion::Callbacks callbacks{
        [&](double fraction) {
            report({Status::Analyzing{fraction, searches}});
        },
        [&](const SampleResult &sample) { m_mailbox.post([this, item, sample] { take(*item, sample); }); },
        [&](double fraction, double fps) {
            report({Status::Running{fraction}, fps});
        },
        [&] { report({Status::Uploading{}}); }};
    try {
        return {conversion.run(callbacks, stop), std::nullopt};
    } catch (const Cancelled &) {
        return {};
    } catch (const std::exception &error) {
        if (stop.stop_requested())
            return {};
        const auto *tool = dynamic_cast<const ToolError *>(&error);
        return {std::nullopt,
                Status::Failed{ErrorText::describe(error), tool != nullptr && tool->isQuoted()}};
    }
}

void ConversionRun::take(FileItem &item, const SampleResult &sample)
{
    m_library.setSample(item, m_settings->videoKey(), sample);
    if (m_jobs.contains(&item))
        m_library.setRunPlan(
            item, {m_settings,
                   PlannedFile::of(*item.info, *m_settings,
                                   {.sample = &sample, .abilities = Planner::abilities(m_request.tools)})});
    emit replanned();
}

void ConversionRun::apply(const std::map<FileItem *, Progress> &reports)
{
    if (reports.empty())
        return;
    for (const auto &[item, progress] : reports)
        if (m_jobs.contains(item))
            m_library.change(*item, [&latest = progress](FileItem &file) {
                file.status = latest.status;
                file.fps = latest.fps;
            });
    emit progressed();
}

void ConversionRun::finish(FileItem &item, const Outcome &outcome)
{
    apply(m_outbox.take()); // progress must be booked before the end
    m_jobs.erase(&item);
    if (outcome.result) {
        book(item, *outcome.result);
    } else if (outcome.failure) {
        Log::write(fmt::format("Fehlgeschlagen: {}: {}", Text::shown(item.url), outcome.failure->text));
        m_library.change(item, [&](FileItem &file) {
            file.status = *outcome.failure;
            file.inRun.reset();
        });
        m_stats.finish(item.id, std::nullopt);
        emit booked();
    } else {
        release(item);
    }
    fillSlots();
}

void ConversionRun::book(FileItem &item, const FileConversion::Result &result)
{
    const ConversionOutcome &outcome = result.outcome;
    if (result.wasConvertedBefore)
        m_stats.resumedWeight += m_stats.weight(item.id);
    m_library.change(item, [&](FileItem &file) {
        file.fps = 0;
        if (outcome.kind == ConversionOutcome::Kind::noSavings) {
            file.status = Status::NoSavings{outcome.newSize, result.wasEncoded};
        } else {
            file.status = Status::Done{outcome.originalSize, outcome.newSize, outcome.note};
            file.converted = VideoText::of(*file.info, file.inRun->planned.plan, *m_settings);
        }
        file.inRun.reset();
        file.resultURL = outcome.finalURL;
        if (outcome.kind == ConversionOutcome::Kind::replaced && outcome.finalURL)
            file.url = *outcome.finalURL;
    });
    if (outcome.kind == ConversionOutcome::Kind::replaced && outcome.finalURL) {
        MediaInfo info = result.newInfo.value_or(*item.info);
        info.url = *outcome.finalURL;
        info.fileSize = outcome.newSize;
        m_library.setInfo(item, std::move(info));
    }
    m_stats.finish(item.id, outcome);
    emit booked();
}

// Resets a file that the run has not finished to its state before the run.
void ConversionRun::release(FileItem &item)
{
    m_library.change(item, [](FileItem &file) {
        file.status = Status::Idle{};
        file.inRun.reset();
    });
}

void ConversionRun::end()
{
    if (std::exchange(m_hasEnded, true))
        return;
    for (FileItem *item : m_request.files)
        if (is<Status::Queued>(item->status))
            release(*item);
    Log::write(fmt::format("Konvertierung beendet: {} konvertiert, {} ohne Ersparnis, {} Fehler, {} → {}",
                           m_stats.converted, m_stats.noSavings, m_stats.failed, m_stats.bytesBefore,
                           m_stats.bytesAfter));
    emit ended();
}

void ConversionRun::setFrozen(bool isFrozen)
{
    m_isPaused = isFrozen;
    for (auto &[item, job] : m_jobs)
        isFrozen ? job.conversion->suspend() : job.conversion->resume();
    if (!isFrozen)
        fillSlots();
}

void ConversionRun::stop()
{
    m_isStopped = true;
    m_isPaused = false;
    requestStop();
    fillSlots(); // ends the run at once where nothing is in work
}

void ConversionRun::requestStop()
{
    for (auto &[item, job] : m_jobs) {
        job.worker.request_stop();
        job.conversion->resume(); // a frozen ffmpeg would not act on the request to end
    }
}

std::vector<const FileItem *> ConversionRun::inWork() const
{
    std::map<std::size_t, const FileItem *> ordered;
    for (const auto &[item, job] : m_jobs)
        ordered.emplace(job.number, item);
    std::vector<const FileItem *> items;
    items.reserve(ordered.size());
    for (const auto &[number, item] : ordered)
        items.push_back(item);
    return items;
}

} // namespace kestrel
