#include "model/StatusReport.h"

#include <algorithm>
#include <chrono>
#include <unordered_map>

#include <fmt/format.h>

#include "format/Fmt.h"
#include "model/AppModel.h"
#include "platform/Network.h"
#include "platform/Text.h"

namespace kestrel {

namespace {

namespace fs = std::filesystem;
using Kind = Activity::Kind;

constexpr std::size_t mostRecent = 8;

// "Serien › Staffel 1"
std::string shownFolder(const fs::path &folder)
{
    std::string text;
    for (const auto &part : folder)
        text += (text.empty() ? "" : " › ") + Text::shown(part);
    return text;
}

// Episodes usually lie in a folder of the series' name, or in one below.
std::string shownName(const FileItem &item)
{
    const std::string name = Text::shown(item.name());
    std::string shortest = displayName(name, std::nullopt);
    for (const auto &part : item.folder()) {
        const std::string without = displayName(name, Text::shown(part));
        if (without.size() < shortest.size())
            shortest = without;
    }
    return shortest;
}

std::string ofTotal(std::size_t done, std::size_t total)
{
    return fmt::format("{} von {}", done, total);
}

void describeState(StatusSnapshot &snapshot, const AppModel &model)
{
    const Activity &activity = model.activity();
    const double share =
        activity.total > 0 ? static_cast<double>(activity.done) / static_cast<double>(activity.total) : 0;
    const auto set = [&](const char *state, std::string headline, std::optional<double> progress) {
        snapshot.state = state;
        snapshot.headline = std::move(headline);
        snapshot.progress = progress;
    };
    switch (activity.kind) {
    case Kind::scanning:
        set("scanning", "Suche Videodateien …", activity.total > 0 ? std::optional(share) : std::nullopt);
        if (activity.total > 0)
            snapshot.progressText = ofTotal(activity.done, activity.total) + " Dateien";
        return;
    case Kind::sampling:
        set("sampling", "Stichprobe " + ofTotal(std::min(activity.done + 1, activity.total), activity.total),
            share);
        return;
    case Kind::probeClip:
        return set("probeClip", "Probeclip wird erstellt", activity.progress);
    case Kind::converting:
    case Kind::idle:
        break;
    }
    if (!model.isRunOfLibrary())
        return set("idle", "Bereit", std::nullopt);
    const RunStats &run = *model.run();
    if (activity.kind == Kind::converting) {
        model.isPaused() ? set("paused", "Pausiert", model.runProgress())
                         : set("converting", "Konvertiert", model.runProgress());
        snapshot.note = run.soFarText();
    } else {
        run.isComplete() ? set("finished", "Fertig", model.runProgress())
                         : set("stopped", "Gestoppt", model.runProgress());
        snapshot.note = run.finishedText();
    }
    snapshot.progressText = ofTotal(run.processed(), run.total);
}

std::vector<StatusSnapshot::Tile> tiles(const AppModel &model)
{
    const Totals &totals = model.totals();
    if (totals.files == 0 || model.activity().kind == Kind::scanning)
        return {};
    const auto before = static_cast<double>(totals.sourceBytes);
    const double saved = before - totals.estimatedBytes;
    std::vector<StatusSnapshot::Tile> tiles{
        {"drive", "plain", Fmt::bytes(before), "Vorher"},
        {"compress", "plain", Fmt::bytes(totals.estimatedBytes), "Nachher (geschätzt)"}};
    if (saved > 0)
        tiles.push_back(
            {"save", "green", Fmt::bytes(saved), "Ersparnis ca. " + Fmt::percent(saved / before)});
    if (const auto remaining = model.runRemaining())
        tiles.push_back({"clock", "plain", Fmt::duration(*remaining), "Restdauer (geschätzt)"});
    else if (totals.encodeSeconds > 0)
        tiles.push_back({"clock", "plain", Fmt::duration(totals.encodeSeconds), "Dauer (geschätzt)"});
    return tiles;
}

std::optional<StatusSnapshot::Job> job(const FileItem &item)
{
    StatusSnapshot::Job job;
    if (const auto *analyzing = std::get_if<Status::Analyzing>(&item.status)) {
        job.state = "analyzing";
        job.text = "Qualitätsprüfung";
        job.progress = analyzing->fraction;
    } else if (const auto *running = std::get_if<Status::Running>(&item.status)) {
        job.state = "running";
        job.text = "kodiert " + Fmt::percent(running->fraction);
        if (item.fps > 0)
            job.text += " · " + Fmt::number(item.fps, 0) + " fps";
        job.progress = running->fraction;
    } else if (is<Status::Uploading>(item.status)) {
        job.state = "uploading";
        job.text = "wird hochgeladen";
    } else if (item.isSampling) {
        job.state = "analyzing";
        job.text = "Qualitätsprüfung";
    } else {
        return std::nullopt;
    }
    job.name = shownName(item);
    job.folder = shownFolder(item.folder());
    return job;
}

using Time = std::chrono::system_clock::time_point;

// When the last file of each folder row will be done, by the run's order.
std::unordered_map<const TableNode *, Time> ends(const AppModel &model)
{
    std::unordered_map<const TableNode *, Time> ends;
    const auto now = std::chrono::system_clock::now();
    const TableNode *folder = nullptr;
    Time *end = nullptr;
    for (const auto &[item, seconds] : model.schedule()) {
        if (item->row->parent != folder) { // a folder's files usually follow each other
            folder = item->row->parent;
            end = &ends[folder];
        }
        *end = now + std::chrono::duration_cast<Time::duration>(std::chrono::duration<double>(seconds));
    }
    return ends;
}

class FolderRows {
public:
    explicit FolderRows(const AppModel &model) : m_ends(ends(model)) { visit(model.library().root(), {}); }
    std::vector<StatusSnapshot::Folder> take() { return std::move(m_rows); }

private:
    void visit(const TableNode &node, const std::string &name)
    {
        add(node, name);
        for (const auto &child : node.children)
            if (child->isFolder())
                visit(*child, name.empty() ? Text::repaired(child->name)
                                           : name + " › " + Text::repaired(child->name));
    }

    // Of the files that lie directly in the folder, and have or had something to be done.
    void add(const TableNode &node, const std::string &name)
    {
        StatusSnapshot::Folder row;
        bool isWorking = false;
        for (const auto &child : node.children) {
            const FileItem *item = child->item;
            if (item == nullptr || !(item->isActionable() || item->isFinished()))
                continue;
            ++row.count;
            const double fraction = item->runFraction();
            row.processed += fraction >= 1 ? 1 : 0;
            row.progress += fraction;
            isWorking = isWorking || isInWork(item->status);
        }
        if (row.count == 0 || name.empty())
            return;
        row.name = name;
        row.progress /= static_cast<double>(row.count);
        row.state = isWorking ? "working" : row.processed == row.count ? "done" : "open";
        if (const auto end = m_ends.find(&node); end != m_ends.end() && row.state != "done")
            row.eta = Fmt::dayTime(end->second);
        m_rows.push_back(std::move(row));
    }

    const std::unordered_map<const TableNode *, Time> m_ends;
    std::vector<StatusSnapshot::Folder> m_rows;
};

StatusSnapshot::Recent recent(const FileItem &item)
{
    if (const auto *done = std::get_if<Status::Done>(&item.status))
        return {shownName(item),
                fmt::format("{} → {} ({})", Fmt::bytes(done->before), Fmt::bytes(done->after),
                            Fmt::change(static_cast<double>(done->before), static_cast<double>(done->after))),
                "green"};
    if (is<Status::Failed>(item.status))
        return {shownName(item), "Fehler", "red"};
    return {shownName(item), "keine Ersparnis", "plain"};
}

} // namespace

StatusSnapshot statusSnapshot(const AppModel &model)
{
    StatusSnapshot snapshot;
    snapshot.computer = Text::repaired(Network::computerName());
    if (const auto &root = model.rootURL()) {
        snapshot.folder = Text::shown(root->has_filename() ? root->filename() : *root);
        if (model.storage())
            snapshot.location = model.storage()->title();
    }
    describeState(snapshot, model);
    snapshot.tiles = tiles(model);
    for (const FileItem *item : model.inWork())
        if (auto row = job(*item))
            snapshot.jobs.push_back(std::move(*row));
    snapshot.folders = FolderRows(model).take();
    if (model.isRunOfLibrary()) {
        const auto &ended = model.run()->finishedOrder;
        for (auto id = ended.rbegin(); id != ended.rend() && snapshot.recent.size() < mostRecent; ++id)
            if (const FileItem *item = model.library().find(*id))
                snapshot.recent.push_back(recent(*item));
    }
    return snapshot;
}

} // namespace kestrel
