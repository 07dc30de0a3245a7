#include "output/text_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>
#include <stdexcept>

namespace orv::app {

namespace {
constexpr std::string_view kGap = "  ";
}

std::size_t CountCodePoints(std::string_view text) {
    const auto begins_one = [](char c) { return (static_cast<unsigned char>(c) & 0xc0) != 0x80; };
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), begins_one));
}

std::string MakePrintable(std::string_view text) {
    std::string printable;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\n') {
            printable += "\\n";
        } else if (c == '\t') {
            printable += "\\t";
        } else if (byte < 0x20 || byte == 0x7f) {
            printable += fmt::format("\\x{:02x}", byte);
        } else {
            printable += c;
        }
    }
    return printable;
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
        if (i > 0) text += kGap;
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
    const std::size_t gaps = columns_.empty() ? 0 : (columns_.size() - 1) * kGap.size();
    return std::accumulate(widths_.begin(), widths_.end(), gaps);
}

}  // namespace orv::app
