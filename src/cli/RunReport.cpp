#include "cli/RunReport.h"

#include <array>
#include <chrono>
#include <map>
#include <utility>

#include <fmt/format.h>

#include "cli/Json.h"
#include "cli/Terminal.h"
#include "format/Fmt.h"
#include "platform/Enumeration.h"

namespace kestrel {

namespace {

void printLine(const std::string &line)
{
    Terminal::print("{}\n", line);
    Terminal::flush(); // whoever reads along wants it now
}

class JsonReporter : public RunReporter {
public:
    void started(const RunStats &run) override
    {
        printLine(Json::line({{"event", "started"}, {"total", run.total}}));
    }

    // Every change of state, but progress within a state only now and then.
    void changed(const FileReport &report) override
    {
        auto &[status, time] = m_last[report.item];
        if (time && status == report.status && Clock::now() - *time < interval)
            return;
        status = report.status;
        time = Clock::now();
        const auto orNull = [](const auto &value) { return value ? Json::Value(*value) : Json::Value(); };
        printLine(Json::line({
            {"event", "file"},
            {"relativePath", Json::text(report.item->relativePath)},
            {"status", id(report.status)},
            {"fraction", orNull(report.fraction)},
            {"fps", orNull(report.fps)},
            {"old", orNull(report.oldSize)},
            {"new", orNull(report.newSize)},
            {"finalURL", report.finalURL ? Json::text(*report.finalURL) : Json::Value()},
            {"text", orNull(report.text)},
        }));
    }

    void finished(const RunStats &run) override
    {
        printLine(Json::line({
            {"event", "finished"},
            {"converted", run.converted},
            {"noSavings", run.noSavings},
            {"failed", run.failed},
            {"bytesBefore", run.bytesBefore},
            {"bytesAfter", run.bytesAfter},
        }));
    }

private:
    using Clock = std::chrono::steady_clock;
    static constexpr std::chrono::milliseconds interval{500};
    struct Last {
        FileStatus status = FileStatus::idle;
        std::optional<Clock::time_point> time;
    };
    std::map<const FileItem *, Last> m_last;
};

class LineReporter : public RunReporter {
public:
    void started(const RunStats &) override {}

    void changed(const FileReport &report) override
    {
        const auto [last, isFirst] = m_last.emplace(report.item, report.status);
        if (!isFirst && std::exchange(last->second, report.status) == report.status)
            return;
        printLine(fmt::format("{}: {}", Terminal::shown(report.item->relativePath.native()),
                              describeState(report)));
    }

    void finished(const RunStats &run) override
    {
        if (!run.isComplete())
            printLine("Gestoppt");
        printLine(run.finishedText());
        if (const auto text = run.soFarText())
            printLine(*text);
    }

private:
    std::map<const FileItem *, FileStatus> m_last;
};

// What the search has found, behind what is done with it.
std::string foundQuality(const SampleResult *sample)
{
    if (sample == nullptr || !sample->vmafMean)
        return {};
    return fmt::format(" mit CRF {} (VMAF {})", sample->qualityValue, Fmt::number(*sample->vmafMean, 1));
}

} // namespace

std::string describeState(const FileReport &report)
{
    const auto size = [](const std::optional<std::int64_t> &bytes) { return Fmt::bytes(bytes.value_or(0)); };
    switch (report.status) {
    case FileStatus::idle:
        return "abgebrochen";
    case FileStatus::analyzing:
        return std::string(analysis(report.isSearch));
    case FileStatus::running:
        return "wird konvertiert" + foundQuality(report.sample);
    case FileStatus::uploading:
        return "wird hochgeladen";
    case FileStatus::done:
        return fmt::format("fertig, {} → {} ({}){}", size(report.oldSize), size(report.newSize),
                           Fmt::change(static_cast<double>(report.oldSize.value_or(0)),
                                       static_cast<double>(report.newSize.value_or(0))),
                           report.text ? ". " + Terminal::shown(*report.text) : "");
    case FileStatus::noSavings:
        return "keine Ersparnis, bleibt unverändert";
    case FileStatus::failed:
        break;
    }
    return "gescheitert: " + Terminal::line(explained({report.text.value_or(""), report.isQuoted}));
}

std::string_view analysis(bool isSearch)
{
    return isSearch ? "Qualitätssuche" : "Probekodierung";
}

std::string_view id(FileStatus status)
{
    constexpr std::array<std::string_view, 7> names{"idle", "analyzing", "running", "uploading",
                                                    "done", "noSavings", "failed"};
    static_assert(names.size() == caseCount<FileStatus>);
    return names[static_cast<std::size_t>(status)];
}

std::optional<FileReport> FileReport::of(const FileItem &item, const std::string &videoKey)
{
    FileReport report{.item = &item, .sample = item.sample(videoKey)};
    if (const auto *analyzing = std::get_if<Status::Analyzing>(&item.status)) {
        report.status = FileStatus::analyzing;
        report.fraction = analyzing->fraction;
        report.isSearch = analyzing->isSearch;
    } else if (const auto *running = std::get_if<Status::Running>(&item.status)) {
        report.status = FileStatus::running;
        report.fraction = running->fraction;
        report.fps = item.fps;
    } else if (is<Status::Uploading>(item.status)) {
        report.status = FileStatus::uploading;
    } else if (const auto *done = std::get_if<Status::Done>(&item.status)) {
        report.status = FileStatus::done;
        report.oldSize = done->before;
        report.newSize = done->after;
        report.finalURL = item.resultURL;
        report.text = done->note;
    } else if (const auto *kept = std::get_if<Status::NoSavings>(&item.status)) {
        report.status = FileStatus::noSavings;
        report.oldSize = item.sizeValue();
        report.newSize = kept->size;
    } else if (const auto *failed = std::get_if<Status::Failed>(&item.status)) {
        report.status = FileStatus::failed;
        report.text = failed->text;
        report.isQuoted = failed->isQuoted;
    } else if (is<Status::Queued>(item.status)) {
        return std::nullopt;
    }
    return report;
}

std::unique_ptr<RunReporter> makeJsonReporter()
{
    return std::make_unique<JsonReporter>();
}

std::unique_ptr<RunReporter> makeLineReporter()
{
    return std::make_unique<LineReporter>();
}

} // namespace kestrel
