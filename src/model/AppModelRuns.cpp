// This file starts the user's tasks and reports their progress and end.

#include <utility>

#include <fmt/format.h>

#include "model/AppModel.h"
#include "model/ConversionRun.h"
#include "model/FolderScan.h"
#include "model/ProbeClip.h"
#include "model/SamplingRun.h"
#include "model/Sentences.h"
#include "platform/Text.h"

namespace kestrel {

void AppModel::startConversion()
{
    if (isBusy() || !m_tools || !m_rootURL)
        return;
    std::vector<FileItem *> files = m_library.filesInTableOrder();
    std::erase_if(files, [](const FileItem *item) { return !item->isActionable(); });
    if (files.empty())
        return setMessage(std::string(Sentences::nothingToConvert));
    m_run = RunStats::of(files, m_settings);
    m_library.setRunFiles(files);
    m_runFiles = files;
    m_completions = {};
    setMessage(std::nullopt);
    m_isPaused = false;
    RunTask::Request request{files, m_settings, *m_tools, *m_rootURL};
    std::unique_ptr<RunTask> run =
        m_options.makeRun ? m_options.makeRun(std::move(request), m_library, *m_run)
                          : std::make_unique<ConversionRun>(std::move(request), m_library, *m_run);
    const auto report = [this] {
        updateBadge();
        emit runChanged();
    };
    const auto recomputeAndReport = [this, report] {
        recompute();
        report();
    };
    connect(run.get(), &RunTask::booked, this, recomputeAndReport);
    connect(run.get(), &RunTask::replanned, this, recomputeAndReport);
    connect(run.get(), &RunTask::progressed, this, report);
    const auto sleepReason = m_options.makeRun ? std::nullopt : std::optional("Videos werden konvertiert");
    begin(std::move(run), {Activity::Kind::converting}, sleepReason, [this](Task &) { endConversion(); });
    updateBadge();
}

void AppModel::endConversion()
{
    m_run->finished = RunStats::Clock::now();
    setPaused(false);
    setActivity({});
    updateBadge();
    emit attentionRequested();
    recompute();
    emit runChanged();
}

void AppModel::togglePause()
{
    if (m_activity.kind != Activity::Kind::converting || m_isStopping)
        return;
    m_isPaused ? m_run->resume() : m_run->pause();
    setPaused(!m_isPaused);
    m_completions = {};
    m_task->setFrozen(m_isPaused);
    emit runChanged();
}

void AppModel::stop()
{
    if (!m_task)
        return;
    if (!std::exchange(m_isStopping, true))
        emit activityChanged();
    setPaused(false);
    m_task->stop();
}

void AppModel::suspend()
{
    if (std::exchange(m_isSuspended, true) || !m_task)
        return;
    if (m_activity.kind != Activity::Kind::converting)
        return m_task->setFrozen(true);
    if (!m_isPaused && !m_isStopping) {
        m_pausesForSuspension = true;
        togglePause();
    }
}

void AppModel::resume()
{
    if (!std::exchange(m_isSuspended, false) || !m_task)
        return;
    if (m_activity.kind != Activity::Kind::converting)
        return m_task->setFrozen(false);
    if (std::exchange(m_pausesForSuspension, false) && m_isPaused)
        togglePause();
}

void AppModel::startSampling(std::optional<std::size_t> count, const std::optional<Library::Ids> &only)
{
    if (isBusy() || !m_tools)
        return;
    const auto files = SamplingRun::choose(m_library, m_settings, m_tools->measuring(), count, only);
    if (files.empty())
        return setMessage(
            only ? "Für diese Datei wird kein Video neu kodiert."
                 : "Für diese Einstellungen liegen schon Stichproben vor (oder es wird nichts neu "
                   "kodiert).");
    setMessage(std::nullopt);
    auto run = std::make_unique<SamplingRun>(SamplingRun::Request{files, m_settings, *m_tools}, m_library);
    connect(run.get(), &SamplingRun::measuring, this, [this](const FileItem &item, double fraction) {
        setActivity({Activity::Kind::sampling, m_activity.done, m_activity.total, fraction});
        emit sampling(item, fraction);
    });
    connect(run.get(), &SamplingRun::failed, this, [this](const FileItem &item, const std::string &text) {
        setProblem(Sentences::sampleFailed(Text::repaired(item.name()), text));
        emit samplingFailed(item, text);
    });
    connect(run.get(), &SamplingRun::measured, this, [this](const FileItem &item, std::size_t done) {
        setActivity({Activity::Kind::sampling, done, m_activity.total});
        recompute();
        emit sampled(item);
    });
    begin(std::move(run), {Activity::Kind::sampling, 0, files.size()}, std::string(Sentences::measuring),
          [this](Task &) { setActivity({}); });
}

void AppModel::makeProbeClip()
{
    const FileItem *item = m_library.selectedItem();
    if (isBusy() || !m_tools || item == nullptr || !item->info || !item->plan)
        return;
    setMessage(std::nullopt);
    auto clip =
        std::make_unique<ProbeClip>(ProbeClip::Request{*item->info, *item->plan, m_settings, *m_tools});
    connect(clip.get(), &ProbeClip::progressed, this, [this](double fraction) {
        setActivity({Activity::Kind::probeClip, 0, 0, fraction});
    });
    begin(std::move(clip), {Activity::Kind::probeClip}, std::nullopt,
          [this](Task &task) { endClip(static_cast<ProbeClip &>(task)); });
}

void AppModel::endClip(const ProbeClip &clip)
{
    if (clip.clip())
        setMessage(fmt::format("Probeclip gespeichert: {} – auf das NAS kopieren und am Fernseher testen.",
                               Text::shown(clip.clip()->filename())));
    else if (clip.failure())
        setProblem("Probeclip fehlgeschlagen: " + *clip.failure());
    setActivity({});
    if (clip.clip())
        emit clipMade(*clip.clip());
    else if (clip.failure())
        emit clipFailed();
}

double AppModel::runProgress() const
{
    return m_run ? m_run->progress(inWork()) : 0;
}

std::optional<double> AppModel::runRemaining() const
{
    return m_run ? m_run->remaining(inWork()) : std::nullopt;
}

std::optional<std::chrono::system_clock::time_point>
AppModel::estimatedCompletion(const std::vector<FileItem *> &items) const
{
    if (!m_run)
        return std::nullopt;
    return std::chrono::system_clock::now() + m_run->secondsFor(items, inWork());
}

std::optional<std::chrono::system_clock::time_point> AppModel::completionOf(const TableNode &folder) const
{
    using Time = std::chrono::system_clock::time_point;
    if (m_activity.kind != Activity::Kind::converting || m_isPaused || m_isStopping)
        return std::nullopt;
    const auto now = std::chrono::steady_clock::now();
    if (now >= m_completions.goodUntil) { // each folder calls this
        m_completions = {{}, now + std::chrono::seconds(1)};
        const double rate = m_run->rate(inWork());
        double left = 0; // weight
        for (const FileItem *item : m_runFiles) {
            const double rest = m_run->weight(item->id) * (1 - item->runFraction());
            left += rest;
            const auto end =
                std::chrono::system_clock::now() +
                std::chrono::duration_cast<Time::duration>(std::chrono::duration<double>(left / rate));
            for (const TableNode *row = item->row->parent; rest > 0 && row != nullptr; row = row->parent)
                m_completions.ends[row] = end;
        }
    }
    const auto found = m_completions.ends.find(&folder);
    return found != m_completions.ends.end() ? std::optional(found->second) : std::nullopt;
}

} // namespace kestrel
