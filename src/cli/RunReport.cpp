#include "cli/RunReport.h"

#include <chrono>
#include <map>
#include <utility>

#include <fmt/format.h>

#include "cli/Json.h"
#include "cli/Terminal.h"
#include "model/ActivityText.h"

namespace kestrel {

namespace {

void printLine(const std::string &line)
{
    Terminal::print("{}\n", line);
    Terminal::flush(); // a program that reads the output needs it now
}

class JsonReporter : public RunReporter {
public:
    void started(const RunStats &run) override
    {
        printLine(Json::line({{"event", "started"}, {"total", run.total}}));
    }

    // Prints every change of state, but progress within a state only now and then.
    void changed(const FileReport &report) override
    {
        const FileItem &item = *report.item;
        const FileState &state = report.state;
        auto &[kind, time] = m_last[&item];
        if (time && kind == state.kind && Clock::now() - *time < interval)
            return;
        kind = state.kind;
        time = Clock::now();
        using Kind = FileState::Kind;
        const bool isDone = kind == Kind::done;
        const auto where = [](bool isKnown, const Json::Value &value) {
            return isKnown ? value : Json::Value();
        };
        printLine(Json::line({
            {"event", "file"},
            {"relativePath", Json::text(item.relativePath)},
            {"status", state.id()},
            {"fraction", where(kind == Kind::analyzing || kind == Kind::running, state.fraction.value_or(0))},
            {"fps", where(kind == Kind::running, state.fps)},
            {"old", where(isDone || kind == Kind::noSavings, state.before)},
            {"new", where(isDone || kind == Kind::noSavings, state.after)},
            {"finalURL", isDone && item.resultURL ? Json::text(*item.resultURL) : Json::Value()},
            {"text", where((isDone || kind == Kind::failed) && !state.reason.empty(), state.reason)},
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
        FileState::Kind kind{};
        std::optional<Clock::time_point> time;
    };
    std::map<const FileItem *, Last> m_last;
};

class LineReporter : public RunReporter {
public:
    void started(const RunStats &) override {}

    void changed(const FileReport &report) override
    {
        const FileState::Kind kind = report.state.kind;
        const auto [last, isFirst] = m_last.emplace(report.item, kind);
        if (!isFirst && std::exchange(last->second, kind) == kind)
            return;
        printLine(fmt::format("{}: {}", Terminal::shown(report.item->relativePath.native()),
                              describeState(report)));
    }

    void finished(const RunStats &run) override
    {
        if (!run.isComplete())
            printLine(std::string(headline(ActivityText::State::stopped)));
        printLine(run.finishedText());
        if (const auto text = run.savedText())
            printLine(*text);
    }

private:
    std::map<const FileItem *, FileState::Kind> m_last;
};

} // namespace

std::string describeState(const FileReport &report)
{
    const bool isOfRun = report.state.isInWork() || report.state.hasEnded(); // otherwise it was stopped
    return isOfRun ? Terminal::line(report.state.line()) : "abgebrochen";
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
