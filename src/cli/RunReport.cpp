#include "cli/RunReport.h"

#include <array>
#include <cstdio>

#include <fmt/format.h>

#include "cli/Json.h"
#include "cli/Terminal.h"
#include "format/Fmt.h"

namespace kestrel {

namespace {

void printLine(const std::string &line)
{
    Terminal::print("{}\n", line);
    Terminal::flush(); // whoever reads along wants it now
}

class JsonReporter : public RunReporter {
public:
    void started(const RunFiles &files) override
    {
        m_files = files;
        printLine(Json::line({{"event", "started"}, {"total", files.size()}}));
    }

    void changed(const FileReport &report) override
    {
        const auto orNull = [](const auto &value) { return value ? Json::Value(*value) : Json::Value(); };
        printLine(Json::line({
            {"event", "file"},
            {"relativePath", Json::text(m_files[report.index]->relativePath)},
            {"status", id(report.status)},
            {"fraction", orNull(report.fraction)},
            {"fps", orNull(report.fps)},
            {"old", orNull(report.oldSize)},
            {"new", orNull(report.newSize)},
            {"finalURL", report.finalURL ? Json::text(*report.finalURL) : Json::Value()},
            {"text", orNull(report.text)},
        }));
    }

    void finished(const RunSummary &summary) override
    {
        printLine(Json::line({
            {"event", "finished"},
            {"converted", summary.converted},
            {"noSavings", summary.noSavings},
            {"failed", summary.failed},
            {"bytesBefore", summary.bytesBefore},
            {"bytesAfter", summary.bytesAfter},
        }));
    }

private:
    RunFiles m_files;
};

class LineReporter : public RunReporter {
public:
    void started(const RunFiles &files) override
    {
        m_files = files;
        m_last.assign(files.size(), FileStatus::idle);
    }

    void changed(const FileReport &report) override
    {
        if (m_last[report.index] == report.status && report.status != FileStatus::idle)
            return;
        m_last[report.index] = report.status;
        printLine(fmt::format("{}: {}", Terminal::shown(m_files[report.index]->relativePath.native()),
                              describeState(report)));
    }

    void finished(const RunSummary &summary) override
    {
        printLine(summary.finishedText());
        if (const auto text = summary.soFarText())
            printLine(*text);
    }

private:
    RunFiles m_files;
    std::vector<FileStatus> m_last;
};

} // namespace

std::string describeState(const FileReport &report)
{
    const auto size = [](const std::optional<std::int64_t> &bytes) { return Fmt::bytes(bytes.value_or(0)); };
    switch (report.status) {
    case FileStatus::idle:
        return "abgebrochen";
    case FileStatus::analyzing:
        return "Qualitätssuche";
    case FileStatus::running:
        return "wird konvertiert";
    case FileStatus::uploading:
        return "wird hochgeladen";
    case FileStatus::done:
        return fmt::format("fertig, {} → {} ({})", size(report.oldSize), size(report.newSize),
                           Fmt::change(static_cast<double>(report.oldSize.value_or(0)),
                                       static_cast<double>(report.newSize.value_or(0))));
    case FileStatus::noSavings:
        return "keine Ersparnis, bleibt unverändert";
    case FileStatus::failed:
        break;
    }
    return "gescheitert: " + Terminal::shown(report.text.value_or(""));
}

std::string_view id(FileStatus status)
{
    constexpr std::array<std::string_view, 7> names{"idle", "analyzing", "running", "uploading",
                                                    "done", "noSavings", "failed"};
    return names[static_cast<std::size_t>(status)];
}

std::string RunSummary::finishedText() const
{
    std::string text = fmt::format("Fertig: {} konvertiert", converted);
    if (noSavings > 0)
        text += fmt::format(" · {} ohne Ersparnis übersprungen", noSavings);
    if (failed > 0)
        text += fmt::format(" · {} mit Fehler", failed);
    if (processed() < total)
        text += fmt::format(" · {} abgebrochen", total - processed());
    return text + " – Dauer " + Fmt::duration(seconds);
}

std::optional<std::string> RunSummary::soFarText() const
{
    if (converted < 1)
        return std::nullopt;
    return fmt::format("Bisher: {} → {}, {} gespart ({})", Fmt::bytes(bytesBefore), Fmt::bytes(bytesAfter),
                       Fmt::bytes(bytesBefore - bytesAfter),
                       Fmt::change(static_cast<double>(bytesBefore), static_cast<double>(bytesAfter)));
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
