#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <optional>
#include <thread>

#include <fmt/format.h>

#include "cli/RunReport.h"
#include "cli/Terminal.h"
#include "format/Fmt.h"
#include "model/ActivityText.h"
#include "platform/Text.h"

namespace kestrel {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds repaintInterval{250};
constexpr int barWidth = 20;
constexpr int widthForBar = 80;        // a narrower terminal gets no bar
constexpr int stateWidth = 51;         // width of the longest state, so that all names end in one column
constexpr double leastFraction = 0.01; // before that no remaining time is shown

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

// Holds a running file's last report, and since when it has been in this state.
struct Running {
    FileReport report;
    Clock::time_point since;
};

class LiveReporter : public RunReporter {
public:
    ~LiveReporter() override { stopPainting(); }

    void started(const RunStats &run) override
    {
        m_total = run.total;
        m_painter = std::jthread([this](const std::stop_token &stop) { paint(stop); });
    }

    void changed(const FileReport &report) override
    {
        const std::scoped_lock guard(m_lock);
        const auto found = m_running.find(report.item);
        const bool isNew = found == m_running.end() || found->second.report.state.kind != report.state.kind;
        if (report.state.isInWork()) {
            m_running.insert_or_assign(report.item,
                                       Running{report, isNew ? Clock::now() : found->second.since});
            return;
        }
        m_running.erase(report.item);
        ++m_ended;
        m_newLines += finalLine(report) + "\n";
    }

    void progressed(const AppModel &model) override
    {
        const std::scoped_lock guard(m_lock);
        m_fraction = model.runProgress();
        m_remaining = model.runRemaining();
        if (model.isPaused() && !m_pausedSince) {
            m_pausedSince = Clock::now();
            repaint(true);
            m_paintedLines = 0; // lines that the shell writes meanwhile must not be replaced
        }
        if (model.isPaused() || !m_pausedSince)
            return;
        for (auto &[item, running] : m_running) // a pause does not count as working time
            running.since += Clock::now() - *m_pausedSince;
        m_pausedSince.reset();
    }

    void finished(const RunStats &run) override
    {
        stopPainting();
        Terminal::print("\n{}{}\n",
                        run.isComplete() ? "" : Terminal::bold(headline(ActivityText::State::stopped)) + "\n",
                        Terminal::bold(run.finishedText()));
        if (const auto text = run.savedText())
            Terminal::print("{}\n", *text);
    }

private:
    static std::string name(const FileItem &item, int columns)
    {
        const std::string text = Text::elided(Terminal::shown(item.relativePath.native()), columns);
        return text + std::string(static_cast<std::size_t>(std::max(0, columns - Text::columns(text))), ' ');
    }

    static std::string finalLine(const FileReport &report)
    {
        const std::string state = describeState(report);
        const FileState::Kind kind = report.state.kind;
        const std::string mark = kind == FileState::Kind::done     ? Terminal::green("✓")
                                 : kind == FileState::Kind::failed ? Terminal::red("✗")
                                                                   : Terminal::dim("–");
        const std::string file = Terminal::shown(report.item->relativePath.native());
        return fmt::format("{} {}: {}", mark, file, state);
    }

    static std::string runningLine(const Running &running, int width)
    {
        const FileReport &report = running.report;
        const double fraction = report.state.fraction.value_or(0);
        std::string state = report.state.line();
        if (report.state.kind == FileState::Kind::analyzing)
            state = fmt::format("{} {:>5}", state, Fmt::percent(fraction));
        else if (report.state.kind == FileState::Kind::running)
            state = fmt::format("{}{:>5} {:>6} fps  noch {:>7}",
                                width + 1 < widthForBar ? "" : bar(fraction) + " ", Fmt::percent(fraction),
                                Fmt::number(report.state.fps, 1), remaining(fraction, since(running.since)));
        const int taken = width + 1 < widthForBar ? stateWidth - barWidth - 1 : stateWidth;
        const int room = std::max(8, width - taken - 3);
        return "  " + name(*report.item, std::min(room, 40)) + " " + state;
    }

    std::string totalLine() const
    {
        return fmt::format("  {} · {} · {}", Fmt::shareOfFiles(m_ended, m_total), Fmt::percent(m_fraction),
                           m_pausedSince ? "angehalten"
                                         : "noch " + (m_remaining ? Fmt::clock(*m_remaining) : "–"));
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
            if (!m_pausedSince)
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

    std::size_t m_total = 0; // set by started()

    // Guarded by m_lock.
    std::mutex m_lock;
    std::condition_variable_any m_wake;
    std::map<const FileItem *, Running> m_running;
    std::size_t m_ended = 0;
    double m_fraction = 0;
    std::optional<double> m_remaining; // seconds
    std::optional<Clock::time_point> m_pausedSince;
    std::string m_newLines; // ended files that are not on the screen yet
    int m_paintedLines = 0; // number of lines that the next repaint replaces

    std::jthread m_painter; // last, so that what it uses outlives it
};

} // namespace

std::unique_ptr<RunReporter> makeLiveReporter()
{
    return std::make_unique<LiveReporter>();
}

} // namespace kestrel
