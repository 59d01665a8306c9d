#include "cli/Table.h"

#include <algorithm>
#include <numeric>

#include "cli/Terminal.h"
#include "platform/Text.h"

namespace kestrel {

namespace {

constexpr int gap = 2;       // columns between two cells
constexpr int narrowest = 8; // least width of a flexible column

} // namespace

Table::Table(std::vector<Column> columns) : m_columns(std::move(columns)) {}

void Table::addRow(std::vector<std::string> cells, Style style)
{
    m_rows.push_back({std::move(cells), std::move(style)});
}

std::vector<int> Table::widths(int width) const
{
    std::vector<int> widths;
    long flexible = 0;
    int fixed = gap * (static_cast<int>(m_columns.size()) - 1);
    for (std::size_t i = 0; i < m_columns.size(); ++i) {
        int widest = Text::columns(m_columns[i].title);
        for (const Row &row : m_rows)
            widest = std::max(widest, Text::columns(row.cells[i]));
        widths.push_back(widest);
        if (m_columns[i].isFlexible)
            flexible += widest;
        else
            fixed += widest;
    }
    long room = std::max(0, width - fixed);
    if (flexible <= room)
        return widths;
    for (std::size_t i = 0; i < widths.size(); ++i) {
        if (!m_columns[i].isFlexible)
            continue;
        const long share = room * widths[i] / std::max(flexible, 1L);
        flexible -= widths[i];
        widths[i] = std::max(narrowest, static_cast<int>(share));
        room = std::max(0L, room - widths[i]);
    }
    return widths;
}

std::string Table::renderRow(const std::vector<std::string> &cells, const std::vector<int> &widths) const
{
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        const std::string cell = Text::elided(cells[i], widths[i]);
        const std::string padding(static_cast<std::size_t>(std::max(0, widths[i] - Text::columns(cell))),
                                  ' ');
        if (i > 0)
            line.append(gap, ' ');
        line += m_columns[i].alignment == Alignment::right ? padding + cell : cell + padding;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

std::string Table::render(int width) const
{
    const std::vector<int> fitted = widths(width);
    std::vector<std::string> titles;
    for (const Column &column : m_columns)
        titles.push_back(column.title);
    std::string text = Terminal::bold(renderRow(titles, fitted)) + "\n";
    for (const Row &row : m_rows) {
        const std::string line = renderRow(row.cells, fitted);
        text += (row.style ? row.style(line) : line) + "\n";
    }
    return text;
}

} // namespace kestrel
