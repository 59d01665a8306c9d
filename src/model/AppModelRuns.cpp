// The activities that a person starts, and what is told about them.

#include <utility>

#include <fmt/format.h>

#include "media/Log.h"
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
    m_run = RunStats::of(files);
    m_isRunOfLibrary = true;
    setMessage(std::nullopt);
    m_isPaused = false;
    m_conversion = std::make_unique<ConversionRun>(
        ConversionRun::Request{files, m_settings, *m_tools, *m_rootURL}, m_library, *m_run);
    connect(m_conversion.get(), &ConversionRun::booked, this, [this] {
        recompute();
        updateBadge();
        emit runChanged();
    });
    connect(m_conversion.get(), &ConversionRun::progressed, this, [this] {
        updateBadge();
        emit runChanged();
    });
    connect(m_conversion.get(), &ConversionRun::ended, this, &AppModel::endConversion);
    setActivity({Activity::Kind::converting});
    setSleepReason("Videos werden konvertiert");
    Log::write(fmt::format("Konvertierung gestartet: {} Dateien in {}, {} {}", files.size(),
                           Text::shown(*m_rootURL), id(m_settings.codec), title(m_settings.quality)));
    updateBadge();
    m_conversion->start();
}

void AppModel::endConversion()
{
    retire(std::move(m_conversion));
    m_run->finished = RunStats::Clock::now();
    setPaused(false);
    setActivity({});
    setSleepReason(std::nullopt);
    updateBadge();
    emit attentionRequested();
    recompute();
    Log::write(fmt::format("Konvertierung beendet: {} konvertiert, {} ohne Ersparnis, {} Fehler, {} → {}",
                           m_run->converted, m_run->noSavings, m_run->failed, m_run->bytesBefore,
                           m_run->bytesAfter));
    emit runChanged();
}

void AppModel::togglePause()
{
    if (!m_conversion || m_conversion->isStopping())
        return;
    const auto now = RunStats::Clock::now();
    if (!m_isPaused) {
        m_run->pauseStarted = now;
    } else if (m_run->pauseStarted) {
        m_run->pausedTotal += now - *m_run->pauseStarted;
        m_run->pauseStarted.reset();
    }
    setPaused(!m_isPaused);
    m_conversion->setPaused(m_isPaused);
    emit runChanged();
}

void AppModel::stop()
{
    if (isBusy() && !m_isStopping) {
        m_isStopping = true;
        emit activityChanged();
    }
    if (m_scan)
        m_scan->stop();
    if (m_sampling)
        m_sampling->stop();
    if (m_clip)
        m_clip->stop();
    if (m_conversion) {
        setPaused(false);
        m_conversion->stop();
    }
}

void AppModel::suspend()
{
    if (m_isSuspended)
        return;
    m_isSuspended = true;
    if (m_sampling)
        m_sampling->suspend();
    if (m_clip)
        m_clip->suspend();
    if (m_conversion && !m_conversion->isStopping() && !m_isPaused) {
        m_pausesForSuspension = true;
        togglePause();
    }
}

void AppModel::resume()
{
    if (!m_isSuspended)
        return;
    m_isSuspended = false;
    if (m_sampling)
        m_sampling->resume();
    if (m_clip)
        m_clip->resume();
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
    m_sampling = std::make_unique<SamplingRun>(SamplingRun::Request{files, m_settings, *m_tools}, m_library);
    connect(m_sampling.get(), &SamplingRun::measuring, this, [this](const FileItem &item, double fraction) {
        setActivity({Activity::Kind::sampling, m_activity.done, m_activity.total, fraction});
        emit sampling(item, fraction);
    });
    connect(m_sampling.get(), &SamplingRun::failed, this,
            [this](const FileItem &item, const std::string &text) {
                setProblem(Sentences::sampleFailed(Text::repaired(item.name()), text));
                emit samplingFailed(item, text);
            });
    connect(m_sampling.get(), &SamplingRun::measured, this, [this](const FileItem &item, std::size_t done) {
        setActivity({Activity::Kind::sampling, done, m_activity.total});
        recompute();
        emit sampled(item);
    });
    connect(m_sampling.get(), &SamplingRun::ended, this, [this] {
        retire(std::move(m_sampling));
        setActivity({});
        setSleepReason(std::nullopt);
    });
    setActivity({Activity::Kind::sampling, 0, files.size()});
    setSleepReason("Stichproben werden gemessen");
    m_sampling->start();
}

void AppModel::makeProbeClip()
{
    const FileItem *item = m_library.selectedItem();
    if (isBusy() || !m_tools || item == nullptr || !item->info || !item->plan)
        return;
    setMessage(std::nullopt);
    m_clip = std::make_unique<ProbeClip>(ProbeClip::Request{*item->info, *item->plan, m_settings, *m_tools});
    connect(m_clip.get(), &ProbeClip::progressed, this, [this](double fraction) {
        setActivity({Activity::Kind::probeClip, 0, 0, fraction});
    });
    connect(m_clip.get(), &ProbeClip::made, this, [this](const std::filesystem::path &clip) {
        setMessage(fmt::format("Probeclip gespeichert: {} – auf das NAS kopieren und am Fernseher testen.",
                               Text::shown(clip.filename())));
        endClip();
        emit clipMade(clip);
    });
    connect(m_clip.get(), &ProbeClip::failed, this, [this](const std::string &text) {
        setProblem("Probeclip fehlgeschlagen: " + text);
        endClip();
        emit clipFailed();
    });
    connect(m_clip.get(), &ProbeClip::stopped, this, [this] { endClip(); });
    setActivity({Activity::Kind::probeClip});
    m_clip->start();
}

void AppModel::endClip()
{
    retire(std::move(m_clip));
    setActivity({});
}

const ConversionSettings &AppModel::settingsOf(const FileItem &item) const
{
    const bool isOfRun = isInWork(item.status) || is<Status::Queued>(item.status);
    return m_conversion && isOfRun ? m_conversion->settings() : m_settings;
}

std::vector<const FileItem *> AppModel::inWork() const
{
    if (!m_simulated.empty()) {
        std::vector<const FileItem *> files(m_simulated.begin(), m_simulated.end());
        std::erase_if(files, [](const FileItem *item) { return !isInWork(item->status); });
        return files;
    }
    if (m_conversion)
        return m_conversion->inWork();
    const FileItem *measured = m_sampling ? m_sampling->current() : nullptr;
    return measured != nullptr ? std::vector{measured} : std::vector<const FileItem *>();
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
    return std::chrono::system_clock::now() +
           m_run->secondsFor(items, inWork(), parallelGain(m_settings.codec, m_settings.parallelJobs));
}

std::vector<std::pair<const FileItem *, double>> AppModel::schedule() const
{
    if (!m_conversion)
        return {};
    return m_conversion->schedule(
        m_run->rate(inWork(), parallelGain(m_settings.codec, m_settings.parallelJobs)));
}

} // namespace kestrel
