#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "model/FileItem.h"

namespace kestrel {

// Describes a row of the table: a folder with the rows below it, or one file. Rows keep their address until
// the library is filled again.
struct TableNode {
    std::filesystem::path id; // path of the folder or file
    std::string name;
    std::string sortName; // sorts by plain comparison as people sort names
    TableNode *parent = nullptr;
    int position = 0;         // among its parent's children
    FileItem *item = nullptr; // absent for a folder
    std::vector<std::unique_ptr<TableNode>> children;

    // These are sums over the files below a folder, or a file's own values. Library keeps them up to date.
    double durationValue = 0;   // seconds
    std::int64_t sizeValue = 0; // bytes, before what has been done to the file
    double estimateValue = 0;   // bytes, afterwards; for a folder including what is kept unchanged

    bool isFolder() const { return item == nullptr; }
    // Returns the files below a folder, in the rows' order, or the file itself.
    std::vector<FileItem *> folderItems() const;
};

// Visits all folder rows below a row, each before those below it.
void forEachFolder(const TableNode &node, const std::function<void(const TableNode &)> &action);

// Rows are sorted by the first comparator, and by the next where it finds two rows equal.
struct RowComparator {
    enum class Column { name, duration, size, estimate };
    Column column = Column::name;
    bool isAscending = true;

    bool operator==(const RowComparator &) const = default;
};
// Sorts names from A, figures from the largest.
inline RowComparator usual(RowComparator::Column column)
{
    return {column, column == RowComparator::Column::name};
}
using SortOrder = std::vector<RowComparator>;
// Returns the same order with this comparator before all others.
SortOrder sortedFirst(SortOrder order, RowComparator comparator);
inline const SortOrder byName{{RowComparator::Column::name, true}};

// Holds how far the files of a folder row have come in the current run, or else in the last one; before the
// first run it counts those with something to do.
struct FolderProgress {
    std::size_t count = 0;     // files of the run; does not change while it lasts
    std::size_t processed = 0; // of them, those that have ended
    double fraction = 0;       // 0 … 1
    bool isActive = false;     // some wait for their turn or are in work
    bool isWorking = false;    // some are in work
    // These count all files, whatever the run includes.
    std::size_t converted = 0, failed = 0;
    std::size_t open = 0; // files with something to do that no run has done yet

    // Returns whether something was converted, and nothing is left to do.
    bool isFinished() const { return converted > 0 && open == 0 && failed == 0; }
    // Returns "1 von 4 konvertiert", "fertig"; German, empty before the first is converted.
    std::string outcome() const;
};
FolderProgress folderProgress(const std::vector<FileItem *> &files);

namespace TableTree {

// Returns the rows of these files, each below the rows of its folders; the root itself is no row. Not sorted.
std::unique_ptr<TableNode> make(const std::vector<std::unique_ptr<FileItem>> &items,
                                const std::filesystem::path &root);
void updateSums(TableNode &node);
void sort(TableNode &node, const SortOrder &order);

} // namespace TableTree

} // namespace kestrel
