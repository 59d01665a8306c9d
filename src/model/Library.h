#pragma once

#include <QObject>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <unordered_map>
#include <vector>

#include "model/FileItem.h"
#include "model/TableNode.h"
#include "model/Totals.h"
#include "planning/ConversionSettings.h"
#include "planning/Planner.h"

namespace kestrel {

// Holds the files below the opened folder, and the rows of the table that shows them. Items and rows keep
// their address until fill(). REQUIRES: the main thread.
class Library : public QObject {
    Q_OBJECT

public:
    using Items = std::vector<std::unique_ptr<FileItem>>;
    using Ids = std::set<std::filesystem::path>;

    // Holds one new item for each file, in this order, and their rows. Its construction takes a while, and
    // may run on any thread.
    struct Contents {
        Contents(const std::vector<std::filesystem::path> &files, const std::filesystem::path &root);

        Items items;
        std::unordered_map<std::string, FileItem *> byId;
        std::unique_ptr<TableNode> rows; // sorted by name
        Ids folders;
    };

    // Replaces everything and expands all folders.
    void fill(Contents contents);

    const Items &items() const { return m_contents.items; }
    FileItem *find(const std::filesystem::path &id) const;
    const TableNode &root() const { return *m_contents.rows; }
    // Returns the files in the order in which the table shows them, expanded or not.
    std::vector<FileItem *> filesInTableOrder() const { return m_contents.rows->folderItems(); }
    // Returns the given files, and all files below the given folders.
    Ids fileIds(const Ids &rows) const;

    // These are the only ways to write to an item; each notifies the observers. Info, samples and a run's
    // plan, on which plans and sums depend, have functions of their own.
    template <typename Edit>
    void change(FileItem &item, Edit edit)
    {
        const auto before = Totals::shareOf(item);
        edit(item);
        if (Totals::shareOf(item) != before)
            m_totals.reset();
        emit itemChanged(item);
    }
    void setInfo(FileItem &item, MediaInfo info);
    void setSample(FileItem &item, const std::string &videoKey, SampleResult sample);
    void setRunPlan(FileItem &item, FileItem::RunPlan plan);

    // Marks these files, and no others, as those of the run that begins.
    void setRunFiles(const std::vector<FileItem *> &files);

    // Sets the check mark of files and of all files below folders; without a value each is toggled.
    void setIncluded(const Ids &rows, std::optional<bool> value);

    // Plans and estimates every probed item; only what has new inputs is computed again.
    void recompute(const ConversionSettings &settings, const Planner::Abilities &abilities = {});
    // Returns the totals for the settings of the last recompute(). The reference is valid until the next
    // change.
    const Totals &totals() const;

    const SortOrder &sortOrder() const { return m_sortOrder; }
    void setSortOrder(SortOrder order);

    const Ids &expandedFolders() const { return m_expandedFolders; }
    Ids closedFolders() const;
    void toggleFolder(const std::filesystem::path &folder);
    // Expands these folders in addition.
    void expand(const Ids &folders);
    // Expands all folders but these.
    void expandAllBut(const Ids &folders);
    void expandAll(bool isExpanded);

    const Ids &selection() const { return m_selection; }
    void setSelection(Ids rows);
    // Returns the one selected file; absent when none, several or a folder is selected.
    FileItem *selectedItem() const;

    // Returns the file whose details are open.
    FileItem *detailItem() const { return m_detailItem; }
    void setDetailItem(FileItem *item);

signals:
    void aboutToBeFilled(); // all items and rows are about to be destroyed
    void filled();
    void itemChanged(const kestrel::FileItem &item);
    void recomputed(); // plans, estimates, sums, and the rows' order where it depends on them, were computed
    void aboutToBeSorted();
    void sorted();
    void expansionChanged();
    void selectionChanged();
    void detailItemChanged();

private:
    struct Factors { // learnt from all samples
        std::optional<double> content, speed;
        bool operator==(const Factors &) const = default;
    };
    Factors learn(const ConversionSettings &settings) const;
    void updateTable();

    Contents m_contents{{}, {}};
    SortOrder m_sortOrder = byName;
    Ids m_expandedFolders, m_selection;
    FileItem *m_detailItem = nullptr;

    // All items were last planned with these inputs.
    std::optional<ConversionSettings> m_settings;
    Planner::Abilities m_abilities;
    Factors m_factors;
    mutable std::optional<Totals> m_totals; // absent while they are outdated
};

} // namespace kestrel
