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

    /// Cells that are left out at the end are empty. Throws std::invalid_argument when there are more cells
    /// than columns.
    void AddRow(std::vector<std::string> cells);

    /// Every line ends with a line feed.
    std::string ToString() const;

    /// A line for a row that is not added; a cell that is too wide for its column sticks out.
    std::string FormatRow(const std::vector<std::string>& cells) const;
    /// The same where its lines have at most `line_width` characters. A wider table is turned on its side:
    /// the names of its columns become the first column, and each row a column. Where that is too wide, too,
    /// each row is its first cell and, below it, the others as "header: cell", as many in a line as fit.
    std::string ToString(std::size_t line_width) const;

    /// Characters of the longest line that there can be.
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
