#pragma once

#include <array>
#include <optional>

#include "platform/Enumeration.h"
#include "ui/table/RowText.h"

namespace kestrel {

class LibraryModel;

// Defines the columns of the table. Each one is a row of `all`, the only place that has its name, its width,
// its sort order and the text of its cells.
namespace Columns {

enum Id : int { include, name, duration, video, sizeBefore, sizeAfter, status };
inline constexpr int count = caseCount<Id>;

// Widths in heights of the text: the usual one, the least, and the most that a column gets where there is
// more than enough.
struct Width {
    double usual, least, most;
};

struct Column {
    Id id;
    const char *title;      // the letter after "&" is its key in the menu that sorts
    const char *briefTitle; // where there is no room for the title
    const char *spoken;     // for screen readers; null: the title
    std::optional<RowComparator::Column> sortedBy;
    bool isNumeric; // aligned right
    Qt::TextElideMode elide;
    Width width;
    std::optional<Width> widthWhileEmpty; // used while no row has a text in it
    int yields;                           // the lowest shrinks first; 0: fixed, the user cannot change it
    bool hasChips;
    RowText::Cell (*cell)(const LibraryModel &rows, const TableNode &row);
};

extern const std::array<Column, count> all; // by Id

const Column &at(int section);
QString title(const Column &column);
QString spokenTitle(const Column &column);
// Returns the column that sorts by this key.
const Column &sorting(RowComparator::Column by);
// Returns those that may shrink, the first to do so first.
std::vector<Id> yielding();

} // namespace Columns

} // namespace kestrel
