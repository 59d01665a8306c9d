#include <map>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "cli/Commands.h"
#include "cli/Json.h"
#include "cli/Session.h"
#include "cli/Table.h"
#include "cli/Terminal.h"
#include "format/Fmt.h"
#include "model/FileState.h"
#include "model/VideoText.h"
#include "platform/Text.h"

namespace kestrel {

namespace {

// Adds "Ton 1 von 3" where tracks are left out, and "Ton umwandeln" where some are converted.
template <typename Decision>
void describeTracks(std::vector<std::string> &parts, const char *name, const std::vector<Decision> &decisions)
{
    std::size_t kept = 0, converted = 0;
    for (const Decision &decision : decisions) {
        kept += decision.action == StreamAction::drop ? 0 : 1;
        converted += decision.action == StreamAction::convert ? 1 : 0;
    }
    if (kept != decisions.size())
        parts.push_back(fmt::format("{} {} von {}", name, kept, decisions.size()));
    if (converted > 0)
        parts.push_back(fmt::format("{} umwandeln", name));
}

std::string describe(const FileItem &file, const ConversionSettings &settings)
{
    const FileState state = FileState::of(file);
    if (state.kind != FileState::Kind::ready && state.kind != FileState::Kind::notChecked)
        return Terminal::line(state.sentence());
    const VideoText video = VideoText::of(*file.info, *file.plan, settings);
    std::vector<std::string> parts{video.whole()};
    if (!video.quality.empty())
        parts.push_back(video.quality);
    if (file.plan->deinterlace)
        parts.emplace_back("Vollbilder");
    describeTracks(parts, "Ton", file.plan->audio);
    describeTracks(parts, "Untertitel", file.plan->subtitles);
    return Terminal::shown(fmt::format("{}", fmt::join(parts, " · ")));
}

std::string renderTable(const Library &library, const ConversionSettings &settings)
{
    using Alignment = Table::Alignment;
    Table table({{"Datei", Alignment::left, true},
                 {"Größe", Alignment::right},
                 {"danach", Alignment::right},
                 {"", Alignment::right},
                 {"was geschieht", Alignment::left, true}});
    for (const auto &item : library.items()) {
        const FileItem &file = *item;
        std::vector<std::string> cells{Terminal::shown(file.relativePath.native()), "–", "–", "",
                                       describe(file, settings)};
        if (file.info)
            cells[1] = Fmt::bytes(file.info->fileSize);
        if (file.isActionable()) {
            const auto source = static_cast<double>(file.info->fileSize);
            cells[2] = Fmt::bytes(file.estimate->total());
            cells[3] = Fmt::change(source, file.estimate->total());
        }
        table.addRow(std::move(cells), file.probeError       ? Terminal::red
                                       : file.isActionable() ? Table::Style()
                                                             : Terminal::dim);
    }
    return table.render(Terminal::width());
}

// Returns every remark once, with the number of files that it concerns.
std::string renderNotes(const Library &library)
{
    std::map<std::string, std::size_t> notes;
    for (const auto &file : library.items()) {
        if (file->isActionable())
            for (const auto &note : file->plan->notes)
                ++notes[note];
        else if (file->isCounted() && file->plan && file->plan->leftAlone)
            ++notes[Terminal::line(*file->plan->leftAlone)];
    }
    std::string text;
    for (const auto &[note, files] : notes)
        text += fmt::format("{}: {}\n", Fmt::count(files), note);
    return text.empty() ? text : text + "\n";
}

std::string renderTotals(const Totals &totals)
{
    const auto source = static_cast<double>(totals.sourceBytes);
    std::string text = fmt::format("{}, davon {} zu konvertieren · Laufzeit {}\n", Fmt::count(totals.files),
                                   totals.actionable, Fmt::duration(totals.duration));
    if (totals.actionable > 0)
        text += fmt::format("{} → etwa {} ({}, {}) · Rechenzeit etwa {}\n", Fmt::bytes(source),
                            Fmt::bytes(totals.estimatedBytes), Fmt::change(source, totals.estimatedBytes),
                            totals.gradeText(), Fmt::duration(totals.encodeSeconds));
    else if (totals.files > 0)
        text += fmt::format("{} – es gibt nichts zu konvertieren.\n", Fmt::bytes(source));
    if (totals.errors > 0)
        text += Fmt::count(totals.errors, "Datei ist", "Dateien sind") + " nicht lesbar.\n";
    if (totals.incomplete > 0)
        text += Fmt::count(totals.incomplete, "Datei wird", "Dateien werden") +
                " evtl. noch kopiert – später neu analysieren.\n";
    return text;
}

// Writes file by file, so that memory never holds a huge library as one document.
void printJson(const AppModel &model)
{
    const auto &root = *model.rootURL();
    Terminal::print("{{\"folder\":{},\"storage\":{},\"settings\":{},\"files\":[",
                    Json::line(Json::text(root)), Json::line(Json::value(*model.storage())),
                    Json::line(model.settings().toJson()));
    const char *separator = "\n";
    for (const auto &file : model.library().items()) {
        Terminal::print("{}{}", separator, Json::line(Json::value(*file, model.settings(), root)));
        separator = ",\n";
    }
    Terminal::print("\n],\"totals\":{}}}\n", Json::line(Json::value(model.totals())));
}

} // namespace

int runPlan(const Arguments &arguments, Interrupt &interrupt)
{
    const auto folder = requireFolder(arguments.folder);
    Session session(arguments, interrupt, Session::Access::readOnly);
    session.open(folder);
    const AppModel &model = session.model();
    const auto &settings = model.settings();
    const int status = session.missing() > 0 ? ExitStatus::fileFailed : ExitStatus::done;
    if (arguments.json) {
        printJson(model);
        return status;
    }
    Terminal::print("{} ({})\n", Terminal::bold(Terminal::shown(folder.native())), model.storage()->title());
    if (session.library().items().empty()) {
        Terminal::print("{}\n", session.nothingFound());
        return status;
    }
    Terminal::print("{} · {} · {} · {}\n\n{}\n{}{}", title(settings.codec), title(settings.quality),
                    title(settings.container), title(settings.outputMode),
                    renderTable(session.library(), settings), renderNotes(session.library()),
                    renderTotals(model.totals()));
    if (const auto text = model.outputWarning())
        Terminal::print("{}\n", *text);
    return status;
}

} // namespace kestrel
