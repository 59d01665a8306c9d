#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <map>
#include <mutex>
#include <thread>

#include <fmt/format.h>

#include "cli/RunReport.h"
#include "cli/Terminal.h"
#include "format/Fmt.h"
#include "platform/Text.h"

namespace kestrel {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds repaintInterval{250};
constexpr int barWidth = 20;
constexpr int widthForBar = 80;        // a narrower terminal gets no bar
constexpr int stateWidth = 51;         // of the longest state, so that all names end in one column
constexpr double leastFraction = 0.01; // before that no remaining time is told

double since(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

std::string bar(double fraction)
{
    const int full = std::clamp(static_cast<int>(fraction * barWidth), 0, barWidth);
    std::string text;
    for (int i = 0; i < barWidth; ++i)
        text += i < full ? "█" : "░";
    return text;
}

std::string remaining(double fraction, double elapsed)
{
    return fraction < leastFraction ? "–" : Fmt::clock(elapsed * (1 - fraction) / fraction);
}

// A running file: its last report, and since when it has been in this state.
struct Running {
    FileReport report;
    Clock::time_point since;
};

class LiveReporter : public RunReporter {
public:
    ~LiveReporter() override { stopPainting(); }

    void started(const RunFiles &files) override
    {
        m_files = files;
        for (const PlannedFile *file : files)
            m_totalWeight += weight(*file);
        m_painter = std::jthread([this](const std::stop_token &stop) { paint(stop); });
    }

    void changed(const FileReport &report) override
    {
        const std::scoped_lock guard(m_lock);
        const auto found = m_running.find(report.index);
        const bool isNew = found == m_running.end() || found->second.report.status != report.status;
        switch (report.status) {
        case FileStatus::analyzing:
        case FileStatus::running:
        case FileStatus::uploading:
            m_running.insert_or_assign(report.index,
                                       Running{report, isNew ? Clock::now() : found->second.since});
            return;
        default:
            m_running.erase(report.index);
            m_doneWeight += weight(*m_files[report.index]);
            ++m_ended;
            m_newLines += finalLine(report) + "\n";
        }
    }

    void finished(const RunSummary &summary) override
    {
        stopPainting();
        Terminal::print("\n{}\n", Terminal::bold(summary.finishedText()));
        if (const auto text = summary.soFarText())
            Terminal::print("{}\n", *text);
    }

private:
    static double weight(const PlannedFile &file)
    {
        return std::max(1.0, file.estimate ? file.estimate->encodeSeconds : 1.0);
    }

    std::string name(std::size_t index, int columns) const
    {
        const std::string text =
            Text::elided(Terminal::shown(m_files[index]->relativePath.native()), columns);
        return text + std::string(static_cast<std::size_t>(std::max(0, columns - Text::columns(text))), ' ');
    }

    std::string finalLine(const FileReport &report) const
    {
        const std::string state = describeState(report);
        const bool isGood = report.status == FileStatus::done;
        const std::string mark = isGood                                ? Terminal::green("✓")
                                 : report.status == FileStatus::failed ? Terminal::red("✗")
                                                                       : Terminal::dim("–");
        const std::string file = Terminal::shown(m_files[report.index]->relativePath.native());
        return fmt::format("{} {}: {}", mark, file, state);
    }

    std::string runningLine(const Running &running, int width) const
    {
        const FileReport &report = running.report;
        const double fraction = report.fraction.value_or(0);
        std::string state;
        if (report.status == FileStatus::uploading)
            state = "wird hochgeladen";
        else if (report.status == FileStatus::analyzing)
            state = fmt::format("Qualitätssuche {:>5}", Fmt::percent(fraction));
        else
            state = fmt::format("{}{:>5} {:>6} fps  noch {:>7}",
                                width + 1 < widthForBar ? "" : bar(fraction) + " ", Fmt::percent(fraction),
                                Fmt::number(report.fps.value_or(0), 1),
                                remaining(fraction, since(running.since)));
        const int taken = width + 1 < widthForBar ? stateWidth - barWidth - 1 : stateWidth;
        const int room = std::max(8, width - taken - 3);
        return "  " + name(report.index, std::min(room, 40)) + " " + state;
    }

    std::string totalLine() const
    {
        double done = m_doneWeight;
        for (const auto &[index, running] : m_running)
            if (running.report.status == FileStatus::running)
                done += weight(*m_files[index]) * running.report.fraction.value_or(0);
            else if (running.report.status == FileStatus::uploading)
                done += weight(*m_files[index]) * 0.99;
        const double fraction = m_totalWeight > 0 ? std::min(1.0, done / m_totalWeight) : 0;
        return fmt::format("  {} von {} Dateien · {} · noch {}", m_ended, m_files.size(),
                           Fmt::percent(fraction), remaining(fraction, since(m_begun)));
    }

    void repaint(bool withRunning)
    {
        const int width = Terminal::width() - 1; // a full line would wrap in some terminals
        std::string text = m_paintedLines > 0 ? fmt::format("\x1b[{}A\r\x1b[J", m_paintedLines) : "";
        text += m_newLines;
        m_newLines.clear();
        m_paintedLines = 0;
        if (withRunning) {
            for (const auto &[index, running] : m_running) {
                if (m_paintedLines + 3 > Terminal::height()) // the cursor cannot climb above the first row
                    break;
                text += Text::elided(runningLine(running, width), width) + "\n";
                ++m_paintedLines;
            }
            text += Text::elided(totalLine(), width) + "\n";
            ++m_paintedLines;
        }
        Terminal::write(text);
        Terminal::flush();
    }

    void paint(const std::stop_token &stop)
    {
        std::unique_lock guard(m_lock);
        while (!stop.stop_requested()) {
            repaint(true);
            m_wake.wait_for(guard, stop, repaintInterval, [] { return false; });
        }
    }

    void stopPainting()
    {
        if (!m_painter.joinable())
            return;
        m_painter.request_stop();
        m_painter.join();
        const std::scoped_lock guard(m_lock);
        repaint(false);
    }

    // Set by started().
    RunFiles m_files;
    double m_totalWeight = 0;
    const Clock::time_point m_begun = Clock::now();

    // Guarded by m_lock.
    std::mutex m_lock;
    std::condition_variable_any m_wake;
    std::map<std::size_t, Running> m_running;
    double m_doneWeight = 0;
    std::size_t m_ended = 0;
    std::string m_newLines; // ended files that are not on the screen yet
    int m_paintedLines = 0; // that the next repaint replaces

    std::jthread m_painter; // last: what it uses outlives it
};

} // namespace

std::unique_ptr<RunReporter> makeLiveReporter()
{
    return std::make_unique<LiveReporter>();
}

} // namespace kestrel
