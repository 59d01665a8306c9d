#include "encoding/FileConversion.h"

#include <algorithm>

#include <fmt/format.h>

#include "encoding/PlaceCheck.h"
#include "encoding/ResultCheck.h"
#include "encoding/Sampler.h"
#include "encoding/TargetName.h"
#include "encoding/UnfinishedSwaps.h"
#include "media/Log.h"
#include "media/Prober.h"
#include "planning/PlannedFile.h"
#include "platform/Cancelled.h"
#include "platform/ErrorText.h"
#include "platform/TemporaryFolder.h"
#include "platform/Text.h"

namespace kestrel {

namespace fs = std::filesystem;

namespace {

// Returns whether the target's picture is the one that the plan would make of this source.
bool isVideoAsPlanned(const MediaInfo &source, const MediaInfo &target, const Plan &plan,
                      const ConversionSettings &settings)
{
    if (!plan.hasVideo())
        return !target.video;
    const bool isCopy = !plan.encodesVideo();
    const FrameSize expected =
        isCopy ? source.video->seenSize() : FrameSize{plan.outputWidth, plan.outputHeight};
    if (!target.video || target.video->seenSize() != expected ||
        ResultCheck::pictureFault(source, target, ResultCheck::Expected::of(plan)))
        return false;
    return plan.encodesVideo() ? target.video->codec == outputCodec(settings.codec)
                               : target.video->codec == source.video->codec;
}

} // namespace

FileConversion::FileConversion(Request request) : m_request(std::move(request)) {}

FileConversion::Result FileConversion::run(const Callbacks &callbacks, std::stop_token stop)
{
    if (!Files::exists(m_request.info.url))
        throw ToolError::failed("Datei ist nicht mehr vorhanden.");
    refresh(stop);
    auto &[info, settings, tools, root, sample] = m_request;
    const Files::Attributes source = Files::attributes(info.url);
    if (auto outcome = findConverted(stop))
        return {*outcome, true, std::nullopt};
    if (auto outcome = finishEarlierSwap(stop)) {
        Result result = withNewInfo(*outcome);
        result.wasConvertedBefore = true;
        return result;
    }

    PlannedFile::Knowledge knowledge{.abilities = Planner::abilities(tools)};
    PlannedFile planned = PlannedFile::of(info, settings, knowledge);
    if (!planned.plan.isNoop)
        requirePlace(info.url, settings, root);
    if (planned.plan.encodesVideo()) {
        if (!sample || sample->isOutdated(tools.measuring()))
            sample = measure(planned.plan, callbacks, stop);
        knowledge.sample = &*sample;
        planned = PlannedFile::of(info, settings, knowledge);
    }

    waitWhilePaused(stop);
    if (planned.plan.isNoop) {
        const auto kind = ConversionOutcome::Kind::noSavings;
        Result result{{kind, info.fileSize, info.fileSize, std::nullopt}};
        result.wasEncoded = false;
        return result;
    }
    if (!ConversionJob::isUnchanged(info.url, Files::attributes(info.url), source))
        throw ToolError::failed("Die Datei wurde während der Messung verändert – bitte neu analysieren.");
    return withNewInfo(convert(planned, callbacks, stop));
}

FileConversion::Result FileConversion::withNewInfo(const ConversionOutcome &outcome) const
{
    Result result{outcome, false, std::nullopt};
    if (outcome.kind == ConversionOutcome::Kind::replaced) {
        try {
            result.newInfo = Prober::probe(*outcome.finalURL, m_request.tools.ffprobe, {});
        } catch (const std::exception &error) {
            Log::write(fmt::format("Neue Datei nicht analysiert: {} ({})", Text::shown(*outcome.finalURL),
                                   ErrorText::describe(error)));
        }
    }
    return result;
}

// Finishes the replacement whose result an earlier run left beside this film, if there is one.
std::optional<ConversionOutcome> FileConversion::finishEarlierSwap(const std::stop_token &stop) const
{
    if (m_request.settings.outputMode != OutputMode::replaceOriginal)
        return std::nullopt;
    return UnfinishedSwaps::finish(m_request.info.url, m_request.tools.ffprobe, stop);
}

// Probes the file again if it has changed since it was probed, which may be hours ago.
void FileConversion::refresh(const std::stop_token &stop)
{
    MediaInfo &info = m_request.info;
    const Files::Attributes now = Files::attributes(info.url);
    if (now.size == info.fileSize && Prober::asTime(now.modified) == info.modified)
        return;
    info = Prober::probe(info.url, m_request.tools.ffprobe, stop);
    m_request.sample.reset();
}

std::optional<ConversionOutcome> FileConversion::findConverted(const std::stop_token &stop) const
{
    const auto &[info, settings, tools, root, sample] = m_request;
    const auto attributes = Files::tryAttributes(info.url);
    if (settings.outputMode != OutputMode::separateFolder || !attributes || attributes->size != info.fileSize)
        return std::nullopt;
    const fs::path target = TargetName::claim(ConversionJob::targetDirectory(info.url, settings, root),
                                              info.url, attributes->modified, settings);
    if (!Files::exists(target))
        return std::nullopt;
    try {
        const MediaInfo found = Prober::probe(target, tools.ffprobe, stop);
        const Plan plan = Planner::plan(info, settings, std::nullopt, Planner::abilities(tools));
        if (!ResultCheck::isSameDuration(info.playTime(), found.duration) ||
            !isVideoAsPlanned(info, found, plan, settings))
            return std::nullopt;
        Log::write("Bereits konvertiert, übersprungen: " + Text::shown(info.url));
        return ConversionOutcome{ConversionOutcome::Kind::written, info.fileSize, found.fileSize, target};
    } catch (const Cancelled &) {
        throw;
    } catch (const std::exception &) {
        return std::nullopt; // the target is not readable and is made again
    }
}

SampleResult FileConversion::measure(const Plan &plan, const Callbacks &callbacks,
                                     const std::stop_token &stop)
{
    callbacks.analyzing(0);
    try {
        const TemporaryFolder folder;
        const SampleResult result = Sampler::search(
            {m_request.info, plan, m_request.settings, m_request.tools, folder.path(), &m_search},
            callbacks.analyzing, stop);
        const std::string score = result.vmafMean ? fmt::format(", VMAF {:.2f}", *result.vmafMean) : "";
        Log::write(fmt::format("Qualitätssuche {}: CRF {}{}, {:.2f} Mbit/s",
                               Text::shown(m_request.info.url.filename()), result.qualityValue, score,
                               result.videoBitrate / 1e6));
        callbacks.measured(result);
        return result;
    } catch (const Cancelled &) {
        throw;
    } catch (const std::exception &error) {
        throwIfStopped(stop);
        throw ToolError::failed("Qualitätssuche fehlgeschlagen: " + ErrorText::describe(error));
    }
}

void FileConversion::waitWhilePaused(const std::stop_token &stop)
{
    std::unique_lock guard(m_lock);
    m_resumed.wait(guard, stop, [this] { return !m_isPaused; });
    throwIfStopped(stop);
}

ConversionOutcome FileConversion::convert(const PlannedFile &planned, const Callbacks &callbacks,
                                          const std::stop_token &stop)
{
    const auto &[info, settings, tools, root, sample] = m_request;
    ConversionJob *job = nullptr;
    {
        const std::scoped_lock guard(m_lock);
        m_job = std::make_unique<ConversionJob>(info, planned.plan, settings, tools, root,
                                                planned.estimate.total());
        job = m_job.get();
        if (m_isPaused)
            job->suspend();
    }
    callbacks.running(0, 0);
    const double duration = info.playTime();
    return job->run({[&](const FFmpegRunner::Progress &progress) {
                         const double fraction = duration > 0 ? progress.seconds / duration : 0;
                         callbacks.running(std::clamp(fraction, 0.0, 1.0), progress.fps);
                     },
                     callbacks.uploading},
                    stop);
}

void FileConversion::suspend()
{
    const std::scoped_lock guard(m_lock);
    m_isPaused = true;
    m_search.suspend();
    if (m_job)
        m_job->suspend();
}

void FileConversion::resume()
{
    const std::scoped_lock guard(m_lock);
    m_isPaused = false;
    m_search.resume();
    if (m_job)
        m_job->resume();
    m_resumed.notify_all();
}

} // namespace kestrel
