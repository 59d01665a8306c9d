#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "model/FileItem.h"

namespace kestrel {

// A row of the table: a folder with the rows below it, or one file. Rows keep their address until the
// library is filled anew.
struct TableNode {
    std::filesystem::path id; // path of the folder or file
    std::string name;
    std::string sortName; // sorts by plain comparison as people sort names
    TableNode *parent = nullptr;
    int position = 0;         // among its parent's children
    FileItem *item = nullptr; // absent for a folder
    std::vector<std::unique_ptr<TableNode>> children;

    // Sums over the files below; of a file its own. Library keeps them up to date.
    double durationValue = 0;   // seconds
    std::int64_t sizeValue = 0; // bytes, before what has been done to the file
    double estimateValue = 0;   // bytes, afterwards; of a folder with what is kept unchanged

    bool isFolder() const { return item == nullptr; }
    // The files below, in the rows' order; of a file itself.
    std::vector<FileItem *> folderItems() const;
};

// All folder rows below a row, each before those below it.
void forEachFolder(const TableNode &node, const std::function<void(const TableNode &)> &action);

// What the rows are sorted by; the first comparator decides, the next where it finds two rows equal.
struct RowComparator {
    enum class Column { name, duration, size, estimate };
    Column column = Column::name;
    bool isAscending = true;

    bool operator==(const RowComparator &) const = default;
};
// Names from A, figures from the largest.
inline RowComparator usual(RowComparator::Column column)
{
    return {column, column == RowComparator::Column::name};
}
using SortOrder = std::vector<RowComparator>;
// The same order, with this comparator before all others.
SortOrder sortedFirst(SortOrder order, RowComparator comparator);
inline const SortOrder byName{{RowComparator::Column::name, true}};

// How far the files of a folder row have come in the run that is under way, or else in the last one; before
// the first run they are those with something to do.
struct FolderProgress {
    std::size_t count = 0;     // files of the run; does not change while it lasts
    std::size_t processed = 0; // of them, those that have ended
    double fraction = 0;       // 0 … 1
    bool isActive = false;     // some wait for their turn or are in work
    bool isWorking = false;    // some are in work
    // Of all files, whatever the run took:
    std::size_t converted = 0, failed = 0;
    std::size_t open = 0; // there is something to do that no run has done yet

    // Something was converted, and nothing is left to do.
    bool isFinished() const { return converted > 0 && open == 0 && failed == 0; }
    // "1 von 4 konvertiert", "fertig"; German, empty before the first is converted.
    std::string outcome() const;
};
FolderProgress folderProgress(const std::vector<FileItem *> &files);

namespace TableTree {

// The rows of these files, each below the rows of its folders; the root itself is no row. Not sorted.
std::unique_ptr<TableNode> make(const std::vector<std::unique_ptr<FileItem>> &items,
                                const std::filesystem::path &root);
void updateSums(TableNode &node);
void sort(TableNode &node, const SortOrder &order);

} // namespace TableTree

} // namespace kestrel
