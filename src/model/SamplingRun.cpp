#include "model/SamplingRun.h"

#include <algorithm>
#include <exception>
#include <system_error>

#include "encoding/Sampler.h"
#include "planning/PlannedFile.h"
#include "platform/Cancelled.h"
#include "platform/ErrorText.h"
#include "platform/TemporaryFolder.h"

namespace kestrel {

std::vector<FileItem *> SamplingRun::choose(const Library &library, const ConversionSettings &settings,
                                            Measuring measuring, std::optional<std::size_t> count,
                                            const std::optional<Library::Ids> &only)
{
    const std::string key = settings.videoKey();
    const Library::Ids wanted = only ? library.fileIds(*only) : Library::Ids();
    std::vector<FileItem *> candidates = library.filesInTableOrder();
    std::erase_if(candidates, [&](const FileItem *item) {
        const bool isMeasurable = item->isCounted() && item->plan && item->plan->encodesVideo();
        const SampleResult *sample = item->sample(key);
        const bool isMeasured = sample != nullptr && !sample->isOutdated(measuring);
        return !isMeasurable || isMeasured || (only && !wanted.contains(item->id));
    });
    const std::size_t total = candidates.size();
    const std::size_t chosen = std::min(count.value_or(total), total);
    std::vector<FileItem *> files;
    for (std::size_t i = 0; i < chosen; ++i)
        files.push_back(candidates[(2 * i + 1) * total / (2 * chosen)]);
    return files;
}

SamplingRun::SamplingRun(Request request, Library &library)
    : m_request(std::move(request)), m_library(library), m_outbox([this](const auto &reports) {
          for (const auto &[item, fraction] : reports) {
              m_library.change(*m_library.find(item->id),
                               [fraction = fraction](FileItem &file) { file.samplingFraction = fraction; });
              emit measuring(*item, fraction);
          }
      })
{
}

SamplingRun::~SamplingRun()
{
    m_worker.request_stop();
    m_ffmpeg.resume();
}

void SamplingRun::stop()
{
    m_isStopped = true;
    m_worker.request_stop();
    m_ffmpeg.resume(); // a frozen one would not act on the request
}

std::vector<const FileItem *> SamplingRun::inWork() const
{
    if (m_done == m_request.files.size())
        return {};
    return {m_request.files[m_done]};
}

void SamplingRun::next()
{
    while (!m_isStopped && m_done < m_request.files.size()) {
        FileItem &item = *m_request.files[m_done];
        if (!item.info || !item.plan) { // it was reset meanwhile
            ++m_done;
            continue;
        }
        m_library.change(item, [](FileItem &file) {
            file.isSampling = true;
            file.samplingFraction = 0;
        });
        const auto post = [this, &item](const Outcome &outcome) {
            m_mailbox.post([this, &item, outcome] { finish(item, outcome); });
        };
        try {
            m_worker = std::jthread([this, post, &item, info = *item.info](const std::stop_token &stop) {
                post(measure(&item, info, stop));
            });
        } catch (const std::system_error &error) { // the system has no more threads
            post({std::nullopt, ErrorText::describe(error)});
        }
        return;
    }
    emit ended();
}

// Runs on the worker's thread.
SamplingRun::Outcome SamplingRun::measure(const FileItem *item, const MediaInfo &info,
                                          const std::stop_token &stop)
{
    try {
        // The item's own plan may belong to other settings by now.
        const Plan plan =
            PlannedFile::of(info, m_request.settings, {.abilities = Planner::abilities(m_request.tools)})
                .plan;
        const TemporaryFolder folder;
        return {Sampler::search(
                    {info, plan, m_request.settings, m_request.tools, folder.path(), &m_ffmpeg},
                    [&](double fraction) { m_outbox.post(item, fraction); }, stop),
                {}};
    } catch (const Cancelled &) {
        return {};
    } catch (const std::exception &error) {
        return {std::nullopt, stop.stop_requested() ? "" : ErrorText::describe(error)};
    }
}

void SamplingRun::finish(FileItem &item, const Outcome &outcome)
{
    m_outbox.discard(&item);
    ++m_done;
    m_library.change(item, [](FileItem &file) { file.isSampling = false; });
    if (outcome.result)
        m_library.setSample(item, m_request.settings.videoKey(), *outcome.result);
    else if (!outcome.failure.empty())
        emit failed(item, outcome.failure);
    emit measured(item, m_done);
    next();
}

} // namespace kestrel
