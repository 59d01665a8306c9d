#include "ui/table/Columns.h"

#include <algorithm>

#include "format/Fmt.h"
#include "ui/look/Strings.h"
#include "ui/table/LibraryModel.h"

namespace kestrel::Columns {

namespace {

using RowText::Cell;
using By = RowComparator::Column;

Cell nameCell(const LibraryModel &rows, const TableNode &row)
{
    if (const FileItem *item = row.item)
        return {.text = shown(item->name()), .help = shown(item->folder() / item->name())};
    return {.text = shown(row.name), .detail = counted(rows.folder(row).files), .help = shown(row.id)};
}

Cell durationCell(const LibraryModel &, const TableNode &row)
{
    const double seconds = row.item != nullptr ? row.item->durationValue() : row.durationValue;
    return {.text = seconds > 0 ? qt(Fmt::clock(seconds)) : QStringLiteral("–")};
}

Cell videoCell(const LibraryModel &rows, const TableNode &row)
{
    return row.item != nullptr ? RowText::video(*row.item, rows.settings())
                               : RowText::video(rows.sources(row));
}

Cell sizeBeforeCell(const LibraryModel &, const TableNode &row)
{
    return row.item != nullptr ? RowText::size(*row.item) : RowText::size(row);
}

Cell sizeAfterCell(const LibraryModel &rows, const TableNode &row)
{
    return row.item != nullptr ? RowText::estimate(*row.item) : RowText::estimate(row, rows.folder(row));
}

Cell statusCell(const LibraryModel &rows, const TableNode &row)
{
    if (row.item != nullptr)
        return RowText::status(*row.item);
    const RowText::Folder &folder = rows.folder(row);
    return RowText::status(folder, folder.progress.isActive ? rows.completion(row) : std::nullopt);
}

Cell noCell(const LibraryModel &, const TableNode &)
{
    return {};
}

constexpr auto noSort = std::nullopt;
constexpr auto noWidth = std::nullopt;
constexpr auto middle = Qt::ElideMiddle, right = Qt::ElideRight;

} // namespace

// clang-format off
constexpr std::array<Column, count> all{{
    // id, title, brief title, spoken, sorted by, numeric, elided, width, while empty, yields, chips, cell
    {include,    "",                "",        "Konvertieren", noSort,       false, right,  {2.2, 2.2, 2.2},    noWidth,             0, false, noCell},
    {name,       "&Datei",          "Datei",   nullptr,        By::name,     false, middle, {19, 8.8, 19},      noWidth,             0, false, nameCell},
    {duration,   "D&auer",          "Dauer",   nullptr,        By::duration, true,  right,  {4.4, 3.5, 4.4},    noWidth,             5, false, durationCell},
    {video,      "Video",           "Video",   nullptr,        noSort,       false, right,  {13.5, 6.8, 19},    noWidth,             4, true,  videoCell},
    {sizeBefore, "Größe (&Vorher)",  "Vorher",  nullptr,        By::size,     true,  right,  {8.2, 5.2, 8.2},    noWidth,             1, false, sizeBeforeCell},
    {sizeAfter,  "Größe (&Nachher)", "Nachher", nullptr,        By::estimate, true,  right,  {10.8, 7.9, 10.8},  noWidth,             2, false, sizeAfterCell},
    {status,     "Status",          "Status",  nullptr,        noSort,       false, right,  {11, 6.4, 17},      Width{5.2, 4.4, 5.2}, 3, false, statusCell},
}};
// clang-format on
static_assert(coversEveryCase(all, &Column::id));

namespace {

constexpr std::size_t columnsSortedBy(By by)
{
    return static_cast<std::size_t>(
        std::count_if(all.begin(), all.end(), [by](const Column &column) { return column.sortedBy == by; }));
}
static_assert(
    [] {
        for (const By by : everyCase<By>())
            if (columnsSortedBy(by) != 1)
                return false;
        return true;
    }(),
    "every comparator has its column");

} // namespace

const Column &at(int section)
{
    return all[static_cast<std::size_t>(section)];
}

QString title(const Column &column)
{
    return QString::fromUtf8(column.title).remove(QLatin1Char('&'));
}

QString spokenTitle(const Column &column)
{
    return column.spoken != nullptr ? QString::fromUtf8(column.spoken) : title(column);
}

const Column &sorting(By by)
{
    return *std::find_if(all.begin(), all.end(),
                         [by](const Column &column) { return column.sortedBy == by; });
}

std::vector<Id> yielding()
{
    std::vector<Id> ids;
    for (const Column &column : all)
        if (column.yields > 0)
            ids.push_back(column.id);
    std::sort(ids.begin(), ids.end(), [](Id a, Id b) { return at(a).yields < at(b).yields; });
    return ids;
}

} // namespace kestrel::Columns
