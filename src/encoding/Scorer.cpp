#include "encoding/Scorer.h"

#include <algorithm>
#include <exception>
#include <system_error>
#include <thread>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "encoding/FFmpegRunner.h"
#include "encoding/FrameComparison.h"
#include "platform/Cancelled.h"
#include "platform/Files.h"
#include "platform/JsonText.h"
#include "platform/OnExit.h"
#include "platform/Text.h"
#include "platform/Uuid.h"
#include "quality/VmafModel.h"

namespace kestrel {

namespace {

namespace fs = std::filesystem;

ToolError failed(const std::string &reason)
{
    return ToolError::failed("VMAF-Messung fehlgeschlagen: " + reason);
}

// Scores with ffmpeg's libvmaf filter.
class FilterScorer : public Scorer {
public:
    explicit FilterScorer(const Sampler::Subject &subject) : m_subject(subject) {}

    Score score(const MediaInfo &encoded, const Segment &segment, int step,
                const std::stop_token &stop) const override
    {
        const fs::path log = m_subject.tempDir / fmt::format("vmaf-{}.json", freshUuid());
        const auto tidy = onExit([&] {
            std::error_code ignored;
            fs::remove(log, ignored);
        });
        FFmpegRunner runner(m_subject.tools.ffmpeg, arguments(encoded.url, segment, step, log), {});
        const int status =
            m_subject.current != nullptr ? m_subject.current->run(runner, stop) : runner.run(stop);
        throwIfStopped(stop);
        try {
            if (status == 0)
                return scoreIn(JsonText::parse(Files::readAll(log)));
        } catch (const std::exception &) { // NOLINT(bugprone-empty-catch): no usable log, reported below
        }
        throw failed(runner.errorTail());
    }

private:
    std::vector<std::string> arguments(const fs::path &encoded, const Segment &segment, int step,
                                       const fs::path &log) const
    {
        const std::string graph = fmt::format(
            "{}libvmaf=log_fmt=json:log_path={}:n_threads={}:n_subsample={}",
            Sampler::comparisonGraph(m_subject.info, m_subject.plan), CommandBuilder::filterValue(log),
            std::max(1U, std::thread::hardware_concurrency()), step);
        return {"-nostdin",  "-hide_banner",
                "-loglevel", "error",
                "-i",        encoded.native(),
                "-ss",       CommandBuilder::format(segment.start),
                "-t",        CommandBuilder::format(segment.length),
                "-i",        m_subject.info.url.native(),
                "-lavfi",    graph,
                "-f",        "null",
                "-"};
    }

    static Score scoreIn(const nlohmann::json &log)
    {
        std::string scorer(title(Measuring::filter));
        if (const auto version = log.find("version"); version != log.end() && version->is_string())
            scorer += fmt::format(" ({})", Text::repaired(version->get<std::string>()));
        return {log.at("pooled_metrics").at("vmaf").at("mean").get<double>(), scorer};
    }

    const Sampler::Subject &m_subject;
};

// Scores with this program's own scorer.
class BuiltInScorer : public Scorer {
public:
    explicit BuiltInScorer(const Sampler::Subject &subject) : m_subject(subject) {}

    Score score(const MediaInfo &encoded, const Segment &segment, int step,
                const std::stop_token &stop) const override
    {
        if (!m_subject.info.video || !encoded.video)
            throw failed("Es gibt kein Bild.");
        FrameComparison::Request request;
        request.ffmpeg = m_subject.tools.ffmpeg;
        request.reference.order = {m_subject.info.url, m_subject.info.video->index, segment.start,
                                   segment.length, Sampler::referenceFilters(m_subject.plan)};
        request.distorted.order = {encoded.url, encoded.video->index, {}, {}, {}};
        for (auto *order : {&request.reference.order, &request.distorted.order})
            for (const auto &filter : FrameComparison::lumaOf(*encoded.video))
                order->filters.push_back(filter);
        request.frameSeconds = 1 / m_subject.info.video->effectiveFps();
        request.step = step;
        request.current = m_subject.current;
        try {
            return {FrameComparison::run(request, stop).mean(),
                    fmt::format("{} ({}, Fassung {})", title(Measuring::builtIn), VmafModel::name,
                                FrameScorer::version)};
        } catch (const ToolError &error) {
            throw failed(error.what());
        } catch (const FrameComparison::Mismatch &error) {
            throw failed(error.what());
        }
    }

private:
    const Sampler::Subject &m_subject;
};

} // namespace

std::unique_ptr<Scorer> Scorer::of(const Sampler::Subject &subject)
{
    if (subject.tools.measuring() == Measuring::filter)
        return std::make_unique<FilterScorer>(subject);
    return std::make_unique<BuiltInScorer>(subject);
}

} // namespace kestrel
