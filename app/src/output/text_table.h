// Tables for terminals.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "output/printable.h"

namespace orv::app {

/// A table with a rule under its header, and two blanks between columns; columns are as wide as their widest
/// cell, lines have no blanks at their end. Cells are printed as they are.
class TextTable {
  public:
    enum class Align { Left, Right };
    struct Column {
        std::string header;
        Align align = Align::Left;
    };

    explicit TextTable(std::vector<Column> columns);

    /// Missing cells at the end are empty. Throws std::invalid_argument if there are more cells than columns.
    void AddRow(std::vector<std::string> cells);

    /// Every line ends with a line feed.
    std::string ToString() const;

    /// The line of a row that is not added to the table; a cell wider than its column is not cut.
    std::string FormatRow(const std::vector<std::string>& cells) const;
    /// The table with lines of at most `line_width` characters. A wider table is transposed: the column names
    /// become the first column, and each row a column. If that is too wide, too, each row is its first cell
    /// and, below it, the others as "header: cell", as many per line as fit.
    std::string ToString(std::size_t line_width) const;

    /// Number of characters of the longest possible line.
    std::size_t GetWidth() const;

  private:
    TextTable MakeTurned() const;
    std::string MakeLists(std::size_t line_width) const;
    void AppendLine(std::string& text, const std::vector<std::string>& cells) const;

    std::vector<Column> columns_;
    std::vector<std::size_t> widths_;
    std::vector<std::vector<std::string>> rows_;
};

}  // namespace orv::app
