#include "output/text_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>
#include <stdexcept>

namespace orv::app {

namespace {
constexpr std::string_view kColumnGap = "  ";
}

TextTable::TextTable(std::vector<Column> columns) : columns_(std::move(columns)) {
    for (const Column& column : columns_) widths_.push_back(CountCodePoints(column.header));
}

void TextTable::AddRow(std::vector<std::string> cells) {
    if (cells.size() > columns_.size()) {
        throw std::invalid_argument(
            fmt::format("a row of {} cells for a table of {} columns", cells.size(), columns_.size()));
    }
    cells.resize(columns_.size());
    for (std::size_t i = 0; i < cells.size(); ++i) {
        widths_[i] = std::max(widths_[i], CountCodePoints(cells[i]));
    }
    rows_.push_back(std::move(cells));
}

void TextTable::AppendLine(std::string& text, const std::vector<std::string>& cells) const {
    for (std::size_t i = 0; i < cells.size(); ++i) {
        const std::size_t width = CountCodePoints(cells[i]);
        const std::string padding(std::max(widths_[i], width) - width, ' ');
        const bool right = columns_[i].align == Align::Right;
        if (i > 0) text += kColumnGap;
        text += right ? padding + cells[i] : cells[i] + padding;
    }
    text.erase(text.find_last_not_of(' ') + 1);
    text += '\n';
}

std::string TextTable::ToString() const {
    std::vector<std::string> headers;
    std::vector<std::string> rules;
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        headers.push_back(columns_[i].header);
        rules.emplace_back(widths_[i], '-');
    }
    std::string text;
    AppendLine(text, headers);
    AppendLine(text, rules);
    for (const auto& row : rows_) AppendLine(text, row);
    return text;
}

std::string TextTable::FormatRow(const std::vector<std::string>& cells) const {
    std::string text;
    AppendLine(text, cells);
    return text;
}

std::size_t TextTable::GetWidth() const {
    const std::size_t gaps = columns_.empty() ? 0 : (columns_.size() - 1) * kColumnGap.size();
    return std::accumulate(widths_.begin(), widths_.end(), gaps);
}

TextTable TextTable::MakeTurned() const {
    std::vector<Column> columns{{columns_.front().header, Align::Left}};
    for (const auto& row : rows_) columns.push_back({row.front(), Align::Right});
    TextTable turned(std::move(columns));
    for (std::size_t i = 1; i < columns_.size(); ++i) {
        std::vector<std::string> line{columns_[i].header};
        for (const auto& row : rows_) line.push_back(row[i]);
        turned.AddRow(std::move(line));
    }
    return turned;
}

/// As many words as fit; a word is never cut.
std::string TextTable::MakeLists(std::size_t line_width) const {
    std::string text;
    for (const auto& row : rows_) {
        text += row.front();
        std::size_t used = CountCodePoints(row.front());
        for (std::size_t i = 1; i < columns_.size(); ++i) {
            const std::string entry = columns_[i].header + ": " + row[i];
            const std::size_t size = CountCodePoints(entry);
            const bool fits = i > 1 && used + kColumnGap.size() + size <= line_width;
            text += fits ? std::string(kColumnGap) : "\n  ";
            used = fits ? used + kColumnGap.size() + size : kColumnGap.size() + size;
            text += entry;
        }
        text += '\n';
    }
    return text;
}

std::string TextTable::ToString(std::size_t line_width) const {
    if (GetWidth() <= line_width || rows_.empty() || columns_.size() < 2) return ToString();
    const TextTable turned = MakeTurned();
    return turned.GetWidth() <= line_width ? turned.ToString() : MakeLists(line_width);
}

}  // namespace orv::app
