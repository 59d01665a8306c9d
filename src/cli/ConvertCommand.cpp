#include <algorithm>
#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include <fmt/format.h>

#include "cli/Commands.h"
#include "cli/RunReport.h"
#include "cli/Terminal.h"
#include "encoding/ConversionJob.h"
#include "encoding/FileConversion.h"
#include "encoding/SwapJournal.h"
#include "media/Log.h"
#include "media/Prober.h"
#include "platform/Cancelled.h"
#include "platform/ErrorText.h"
#include "platform/InstanceLock.h"
#include "platform/TemporaryFolder.h"
#include "platform/Text.h"

namespace kestrel {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds reportInterval{500}; // between two reports of one file's progress

// Converts the files of a run side by side and keeps its books.
class Run {
public:
    Run(const Prepared &prepared, RunFiles files, RunReporter &reporter)
        : m_prepared(prepared), m_files(std::move(files)), m_reporter(reporter), m_lastReport(m_files.size())
    {
        m_summary.total = m_files.size();
    }

    RunSummary run(const std::stop_token &stop)
    {
        const auto begun = Clock::now();
        m_reporter.started(m_files);
        {
            const std::int64_t jobs = m_prepared.settings.parallelJobs;
            const std::size_t width = jobs < 1 ? m_files.size() : std::min<std::size_t>(m_files.size(), jobs);
            std::vector<std::jthread> slots;
            for (std::size_t i = 0; i < width; ++i)
                slots.emplace_back([&] {
                    for (std::size_t next = 0; (next = m_next++) < m_files.size() && !stop.stop_requested();)
                        convert(next, stop);
                });
        }
        m_summary.seconds = std::chrono::duration<double>(Clock::now() - begun).count();
        m_reporter.finished(m_summary);
        return m_summary;
    }

private:
    void convert(std::size_t index, const std::stop_token &stop)
    {
        FileConversion conversion({*m_files[index]->info, m_prepared.settings, m_prepared.tools,
                                   m_prepared.plan.folder, std::nullopt});
        const FileConversion::Callbacks callbacks{
            [&](double fraction) {
                report({.index = index, .status = FileStatus::analyzing, .fraction = fraction});
            },
            [&](double fraction, double fps) {
                report({.index = index, .status = FileStatus::running, .fraction = fraction, .fps = fps});
            },
            [&] { report({.index = index, .status = FileStatus::uploading}); }};
        try {
            book(index, conversion.run(callbacks, stop).outcome);
        } catch (const Cancelled &) {
            report({.index = index, .status = FileStatus::idle});
        } catch (const std::exception &error) {
            if (stop.stop_requested())
                return report({.index = index, .status = FileStatus::idle});
            fail(index, ErrorText::describe(error));
        }
    }

    void book(std::size_t index, const ConversionOutcome &outcome)
    {
        FileReport result{.index = index, .oldSize = outcome.originalSize, .newSize = outcome.newSize};
        const std::scoped_lock guard(m_lock);
        if (outcome.kind == ConversionOutcome::Kind::noSavings) {
            result.status = FileStatus::noSavings;
            ++m_summary.noSavings;
        } else {
            result.status = FileStatus::done;
            result.finalURL = outcome.finalURL;
            ++m_summary.converted;
            m_summary.bytesBefore += outcome.originalSize;
            m_summary.bytesAfter += outcome.newSize;
        }
        m_reporter.changed(result);
    }

    void fail(std::size_t index, const std::string &text)
    {
        Log::write(fmt::format("Fehlgeschlagen: {}: {}", Text::repaired(m_files[index]->url.native()), text));
        const std::scoped_lock guard(m_lock);
        ++m_summary.failed;
        m_reporter.changed({.index = index, .status = FileStatus::failed, .text = text});
    }

    // Every change of state, but progress within a state only now and then.
    void report(const FileReport &report)
    {
        const std::scoped_lock guard(m_lock);
        auto &[status, time] = m_lastReport[report.index];
        if (status == report.status && report.status != FileStatus::idle &&
            Clock::now() - time < reportInterval)
            return;
        status = report.status;
        time = Clock::now();
        m_reporter.changed(report);
    }

    struct LastReport {
        FileStatus status = FileStatus::idle;
        Clock::time_point time;
    };

    const Prepared &m_prepared;
    const RunFiles m_files;
    RunReporter &m_reporter;
    std::atomic<std::size_t> m_next = 0;

    // Guarded by m_lock, under which the reporter is called.
    std::mutex m_lock;
    RunSummary m_summary;
    std::vector<LastReport> m_lastReport;
};

// What an earlier run left behind, unless it is another one's work in progress.
void clearUp(InstanceLock &lock, const std::filesystem::path &folder, const std::stop_token &stop)
{
    if (!lock.isAlone())
        return;
    ConversionJob::cleanLocalWork();
    TemporaryFolder::removeAbandoned();
    for (const auto &message : SwapJournal::recover())
        Terminal::complain(Terminal::shown(message));
    for (const auto &place : {folder, ConversionJob::outputRoot(folder)})
        Prober::removeLeftovers(place, stop);
    lock.share();
}

void tellWhatIsLeftOut(const FolderPlan &plan)
{
    for (const auto &file : plan.files) {
        const std::string name = Terminal::shown(file.relativePath.native());
        if (file.probeError)
            Terminal::complain(
                fmt::format("{}: nicht lesbar: {}", name, Terminal::shown(file.shortProbeError())));
        else if (file.mayBeIncomplete)
            Terminal::complain(fmt::format("{}: wird evtl. noch kopiert – später neu analysieren", name));
    }
}

std::unique_ptr<RunReporter> makeReporter(const Arguments &arguments)
{
    if (arguments.json)
        return makeJsonReporter();
    return Terminal::isOutputTerminal() ? makeLiveReporter() : makeLineReporter();
}

} // namespace

int runConvert(const Arguments &arguments, const Interrupt &interrupt)
{
    InstanceLock lock;
    clearUp(lock, requireFolder(arguments.folder), interrupt.token());
    const Prepared prepared = prepare(arguments, interrupt.token());
    tellWhatIsLeftOut(prepared.plan);
    if (const auto text = warning(prepared.plan.storage, prepared.settings))
        Terminal::complain(*text);

    RunFiles files;
    for (const auto &file : prepared.plan.files)
        if (file.isActionable())
            files.push_back(&file);
    if (files.empty() && !arguments.json) {
        Terminal::print("{}\n", prepared.plan.files.empty()
                                    ? "In diesem Ordner wurden keine Videodateien gefunden."
                                    : "Es gibt nichts zu konvertieren.");
        return ExitStatus::done;
    }

    const auto &settings = prepared.settings;
    Log::write(fmt::format("Konvertierung gestartet: {} Dateien in {}, {} {}", files.size(),
                           Text::repaired(prepared.plan.folder.native()), id(settings.codec),
                           title(settings.quality)));
    const auto reporter = makeReporter(arguments);
    const RunSummary summary = Run(prepared, std::move(files), *reporter).run(interrupt.token());
    Log::write(fmt::format("Konvertierung beendet: {} konvertiert, {} ohne Ersparnis, {} Fehler, {} → {}",
                           summary.converted, summary.noSavings, summary.failed, summary.bytesBefore,
                           summary.bytesAfter));
    if (interrupt.isRequested())
        return ExitStatus::interrupted;
    return summary.failed > 0 ? ExitStatus::fileFailed : ExitStatus::done;
}

} // namespace kestrel
