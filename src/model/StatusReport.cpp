#include "model/StatusReport.h"

#include <utility>

#include "format/Fmt.h"
#include "model/ActivityText.h"
#include "model/AppModel.h"
#include "model/FileState.h"
#include "platform/Network.h"
#include "platform/Text.h"

namespace kestrel {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t mostRecent = 8;

// Returns "Serien › Staffel 1".
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

void describeState(StatusSnapshot &snapshot, const AppModel &model)
{
    const ActivityText text = ActivityText::of(model);
    snapshot.state = id(text.state);
    snapshot.headline = text.headline();
    snapshot.progress = text.progress;
    snapshot.note = text.note;
    if (text.total > 0 && text.state != ActivityText::State::sampling) // its headline contains the count
        snapshot.progressText = text.state == ActivityText::State::scanning ? text.fileCount() : text.count();
}

std::vector<StatusSnapshot::Tile> tiles(const AppModel &model)
{
    const Totals &totals = model.totals();
    if (totals.files == 0 || model.activity().kind == Activity::Kind::scanning)
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
    else if (const auto seconds = totals.shownSeconds())
        tiles.push_back({"clock", "plain", Fmt::duration(*seconds), "Dauer (geschätzt)"});
    return tiles;
}

StatusSnapshot::Job job(const FileItem &item, const FileState &state)
{
    const bool isUploading = state.kind == FileState::Kind::uploading; // its progress is unknown
    return {shownName(item), shownFolder(item.folder()), std::string(state.id()), state.brief(),
            isUploading ? std::nullopt : state.fraction};
}

class FolderRows {
public:
    explicit FolderRows(const AppModel &model) : m_model(model) { visit(model.library().root(), {}); }
    std::vector<StatusSnapshot::Folder> take() { return std::move(m_rows); }

private:
    void visit(const TableNode &node, const std::string &name)
    {
        if (!name.empty())
            add(node, name);
        for (const auto &child : node.children)
            if (child->isFolder())
                visit(*child, name.empty() ? Text::repaired(child->name)
                                           : name + " › " + Text::repaired(child->name));
    }

    void add(const TableNode &node, const std::string &name)
    {
        const FolderProgress progress = folderProgress(node.folderItems());
        if (progress.count == 0)
            return;
        const bool isDone = progress.processed == progress.count;
        std::optional<std::string> end;
        if (const auto time = isDone ? std::nullopt : m_model.completionOf(node))
            end = Fmt::dayTime(*time);
        m_rows.push_back({name, progress.processed, progress.count, progress.fraction,
                          progress.isWorking ? "working"
                          : isDone           ? "done"
                                             : "open",
                          end});
    }

    const AppModel &m_model;
    std::vector<StatusSnapshot::Folder> m_rows;
};

StatusSnapshot::Recent recent(const FileItem &item)
{
    const FileState state = FileState::of(item);
    return {shownName(item), state.brief(),
            state.kind == FileState::Kind::done     ? "green"
            : state.kind == FileState::Kind::failed ? "red"
                                                    : "plain"};
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
        if (const FileState state = FileState::of(*item); state.fraction)
            snapshot.jobs.push_back(job(*item, state));
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
