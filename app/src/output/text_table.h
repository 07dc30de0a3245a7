// Tables for terminals.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace orv::app {

/// Code points of a UTF-8 text, which is what a terminal shows as one character most of the time.
std::size_t CountCodePoints(std::string_view text);

/// `text` with what would move a terminal's cursor or change its colours written as \n, \t or \x1b.
std::string MakePrintable(std::string_view text);

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

    /// Characters of the longest line that there can be.
    std::size_t GetWidth() const;

  private:
    void AppendLine(std::string& text, const std::vector<std::string>& cells) const;

    std::vector<Column> columns_;
    std::vector<std::size_t> widths_;
    std::vector<std::vector<std::string>> rows_;
};

}  // namespace orv::app
