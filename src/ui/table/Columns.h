#pragma once

#include <array>
#include <optional>

#include "platform/Enumeration.h"
#include "ui/table/RowText.h"

namespace kestrel {

class LibraryModel;

// The columns of the table. Each one is a row of `all`, and nothing else knows how it is called, how wide it
// is, what it is sorted by or what its cells say.
namespace Columns {

enum Id : int { include, name, duration, video, sizeBefore, sizeAfter, status };
inline constexpr int count = caseCount<Id>;

// In heights of the text: what a column has usually, at least, and at most of what would otherwise be left
// over.
struct Width {
    double usual, least, most;
};

struct Column {
    Id id;
    const char *title;      // the letter after "&" is its key in the menu that sorts
    const char *briefTitle; // where there is no room for the title
    const char *spoken;     // for screen readers; null: the title
    std::optional<RowComparator::Column> sortedBy;
    bool isNumeric; // stands on the right
    Qt::TextElideMode elide;
    Width width;
    std::optional<Width> widthWhileEmpty; // no row has a text in it
    int yields;                           // the lowest gives way first; 0: fixed, not the user's to choose
    bool hasChips;
    RowText::Cell (*cell)(const LibraryModel &rows, const TableNode &row);
};

extern const std::array<Column, count> all; // by Id

const Column &at(int section);
QString title(const Column &column);
QString spokenTitle(const Column &column);
// The column that sorts by it.
const Column &sorting(RowComparator::Column by);
// Those that may give way, the first to do so first.
std::vector<Id> yielding();

} // namespace Columns

} // namespace kestrel
