#pragma once

#include <functional>
#include <string>
#include <vector>

namespace kestrel {

// Renders a table of text that fits a given number of columns: some of its columns keep their width, the
// others share the rest in proportion to their need and are shortened in the middle.
class Table {
public:
    enum class Alignment { left, right };
    struct Column {
        std::string title;
        Alignment alignment = Alignment::left;
        bool isFlexible = false;
    };
    using Style = std::function<std::string(std::string_view)>; // adds no width

    explicit Table(std::vector<Column> columns);

    void addRow(std::vector<std::string> cells, Style style = {});
    // Returns lines with their ends; no line is wider than `width`, as far as the fixed columns allow.
    std::string render(int width) const;

private:
    struct Row {
        std::vector<std::string> cells;
        Style style;
    };
    std::vector<int> widths(int width) const;
    std::string renderRow(const std::vector<std::string> &cells, const std::vector<int> &widths) const;

    std::vector<Column> m_columns;
    std::vector<Row> m_rows;
};

} // namespace kestrel
